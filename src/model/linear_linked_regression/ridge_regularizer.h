// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regularizer: R = sum_k (lambda_k w_k)^2 / 2, one lambda per group of weights. Its
// derivatives in w end with the second.
#pragma once

#include "model/linear_linked_regression/penalty_terms.h"
#include "model/linear_linked_regression/squared_strength_regularizer.h"

namespace corvane::model {

// Instantiated in one place, beside the constructor.
extern template class squared_strength_regularizer<quadratic_term>;

class ridge_regularizer final : public squared_strength_regularizer<quadratic_term> {
 public:
  explicit ridge_regularizer(variable_mapping&& mapping);

  // 1.0 for every lambda
  void initialize_hyperparameters(vector_view theta) const override;
};

}  // namespace corvane::model
