// SPDX-License-Identifier: BSD-3-Clause
//
// What the three scores of a ridge model share. The point t holds square roots of ridge
// strengths: the penalty on coefficient j is t_j^2. Columns behind the last t_j are not
// penalized.
#pragma once

#include "optimization/objective.h"

namespace corvane::model::ridge_regression_detail {

class ridge_regression_objective : public second_order_objective {
 public:
  // Writes the p coefficients of the normalized problem, (X'X + diag(t)^2)^-1 X'y. False
  // when the normal matrix is not positive definite.
  virtual bool compute_weights(const_vector_view t, vector_view weights) = 0;
};

}  // namespace corvane::model::ridge_regression_detail
