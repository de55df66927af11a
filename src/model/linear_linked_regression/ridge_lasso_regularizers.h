// SPDX-License-Identifier: BSD-3-Clause
//
// The penalties made of a quadratic term and an absolute value, with one strength of each
// per group of weights. The absolute value phi is smoothed below a threshold s: it is flat
// at zero, and a fit shrinks weights towards zero and does not set them to it.
#pragma once

#include "model/linear_linked_regression/penalty_terms.h"
#include "model/linear_linked_regression/squared_strength_regularizer.h"

namespace corvane::model {

// Instantiated in one place, beside the constructors.
extern template class squared_strength_regularizer<quadratic_term>;
extern template class squared_strength_regularizer<smoothed_absolute_value>;
extern template class squared_strength_regularizer<quadratic_term, smoothed_absolute_value>;

// R = sum_k (lambda_k w_k)^2 / 2, whose derivatives in w end with the second.
class ridge_regularizer final : public squared_strength_regularizer<quadratic_term> {
 public:
  explicit ridge_regularizer(variable_mapping&& mapping);

  // 1.0 for every lambda
  void initialize_hyperparameters(vector_view theta) const override;
};

// R = sum_k lambda_k^2 phi(w_k)
class lasso_regularizer final
    : public squared_strength_regularizer<smoothed_absolute_value> {
 public:
  lasso_regularizer(variable_mapping&& mapping, double smoothing_threshold);

  // 1.0 for every lambda
  void initialize_hyperparameters(vector_view theta) const override;
};

// R = sum_k [(a_k w_k)^2 / 2 + b_k^2 phi(w_k)]. Theta holds the a of every group, then the
// b of every group.
class elastic_regularizer final
    : public squared_strength_regularizer<quadratic_term, smoothed_absolute_value> {
 public:
  elastic_regularizer(variable_mapping&& mapping, double smoothing_threshold);

  // 0.5 for every a and every b
  void initialize_hyperparameters(vector_view theta) const override;
};

}  // namespace corvane::model
