// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/lasso_regularizer.h"

#include <algorithm>
#include <utility>

namespace corvane::model {

template class squared_strength_regularizer<smoothed_absolute_value>;

lasso_regularizer::lasso_regularizer(variable_mapping&& mapping, double smoothing_threshold)
    : squared_strength_regularizer{std::move(mapping),
                                   smoothed_absolute_value{smoothing_threshold}} {}

void lasso_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 1.0);
}

}  // namespace corvane::model
