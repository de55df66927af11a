// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_loocv_objective: the leave-one-out error of one common penalty,
//   value = sum over i of s_i^2,   s_i = e_i / d_i,
// with the residual e_i and d_i = 1 - leverage_i as sums over k of g_k(t) (penalty_rows).
// An evaluation reads U once.
#pragma once

#include "model/ridge_regression/common_penalty/common_penalty_objective.h"

namespace corvane::model::ridge_regression_detail {

class common_penalty_loocv_objective final : public common_penalty_objective {
 public:
  explicit common_penalty_loocv_objective(const common_penalty_design& design);

  ridge_influence influence(double t) const override {
    return measure_influence(rows_, spectrum(), t);
  }

 private:
  std::optional<penalty_jet> evaluate(double t) const override;

  penalty_rows rows_;
};

}  // namespace corvane::model::ridge_regression_detail
