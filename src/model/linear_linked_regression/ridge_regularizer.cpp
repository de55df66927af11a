// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/ridge_regularizer.h"

#include <algorithm>
#include <utility>

namespace corvane::model {

template class squared_strength_regularizer<quadratic_term>;

ridge_regularizer::ridge_regularizer(variable_mapping&& mapping)
    : squared_strength_regularizer{std::move(mapping), quadratic_term{}} {}

void ridge_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 1.0);
}

}  // namespace corvane::model
