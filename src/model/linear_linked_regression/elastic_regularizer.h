// SPDX-License-Identifier: BSD-3-Clause
//
// elastic_regularizer: R = sum_k [(a_k w_k)^2 / 2 + b_k^2 phi(w_k)], the ridge and the
// lasso penalty together; phi is the absolute value, smoothed below a threshold s. Theta
// holds the a of every group, then the b of every group.
#pragma once

#include "model/linear_linked_regression/penalty_terms.h"
#include "model/linear_linked_regression/squared_strength_regularizer.h"

namespace corvane::model {

// Instantiated in one place, beside the constructor.
extern template class squared_strength_regularizer<quadratic_term, smoothed_absolute_value>;

class elastic_regularizer final
    : public squared_strength_regularizer<quadratic_term, smoothed_absolute_value> {
 public:
  elastic_regularizer(variable_mapping&& mapping, double smoothing_threshold);

  // 0.5 for every a and every b
  void initialize_hyperparameters(vector_view theta) const override;
};

}  // namespace corvane::model
