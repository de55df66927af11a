// SPDX-License-Identifier: BSD-3-Clause
//
// loocv_objective: the exact leave-one-out error of a ridge fit, the sum of the squared
// residuals of all observations, each predicted by the fit to the others.
#pragma once

#include "model/ridge_regression/scores/loocv_score.h"
#include "model/ridge_regression/scores/ridge_score_objective.h"

namespace corvane::model::ridge_regression_detail {

class loocv_objective final : public ridge_score_objective {
 public:
  // X, n by p, and y, n entries, both normalized.
  loocv_objective(dense_matrix&& design, dense_vector&& target,
                  interruption* interruption = nullptr);

  bool evaluate_groups(const_vector_view t, const penalty_groups& groups,
                       const ridge_outputs& wanted) override;

 private:
  loocv_score score_;
};

}  // namespace corvane::model::ridge_regression_detail
