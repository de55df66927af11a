// SPDX-License-Identifier: BSD-3-Clause
//
// lasso_regularizer: R = sum_k lambda_k^2 phi(w_k), one lambda per group of weights, with
// phi the absolute value, smoothed below a threshold s. As phi is flat at zero, a fit
// shrinks weights towards zero and does not set them to it.
#pragma once

#include "model/linear_linked_regression/penalty_terms.h"
#include "model/linear_linked_regression/squared_strength_regularizer.h"

namespace corvane::model {

// Instantiated in one place, beside the constructor.
extern template class squared_strength_regularizer<smoothed_absolute_value>;

class lasso_regularizer final
    : public squared_strength_regularizer<smoothed_absolute_value> {
 public:
  lasso_regularizer(variable_mapping&& mapping, double smoothing_threshold);

  // 1.0 for every lambda
  void initialize_hyperparameters(vector_view theta) const override;
};

}  // namespace corvane::model
