// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"

#include <algorithm>
#include <utility>

namespace corvane::model {

template class squared_strength_regularizer<quadratic_term>;
template class squared_strength_regularizer<smoothed_absolute_value>;
template class squared_strength_regularizer<quadratic_term, smoothed_absolute_value>;

ridge_regularizer::ridge_regularizer(variable_mapping&& mapping)
    : squared_strength_regularizer{std::move(mapping), quadratic_term{}} {}

void ridge_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 1.0);
}

lasso_regularizer::lasso_regularizer(variable_mapping&& mapping, double smoothing_threshold)
    : squared_strength_regularizer{std::move(mapping),
                                   smoothed_absolute_value{smoothing_threshold}} {}

void lasso_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 1.0);
}

elastic_regularizer::elastic_regularizer(variable_mapping&& mapping,
                                         double smoothing_threshold)
    : squared_strength_regularizer{std::move(mapping), quadratic_term{},
                                   smoothed_absolute_value{smoothing_threshold}} {}

void elastic_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 0.5);
}

}  // namespace corvane::model
