// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/elastic_regularizer.h"

#include <algorithm>
#include <utility>

namespace corvane::model {

template class squared_strength_regularizer<quadratic_term, smoothed_absolute_value>;

elastic_regularizer::elastic_regularizer(variable_mapping&& mapping,
                                         double smoothing_threshold)
    : squared_strength_regularizer{std::move(mapping), quadratic_term{},
                                   smoothed_absolute_value{smoothing_threshold}} {}

std::shared_ptr<const regularizer> elastic_regularizer::reordered(
    const_index_view weights, const_index_view groups) const {
  return std::make_shared<elastic_regularizer>(mapping().reordered(weights, groups),
                                               term<smoothed_absolute_value>().threshold());
}

void elastic_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 0.5);
}

std::vector<special_case> elastic_regularizer::special_cases() const {
  const index_t num_groups = num_hyperparameters() / 2;
  return {{0, num_groups, 1.0}, {num_groups, num_groups, 1.0}};
}

}  // namespace corvane::model
