// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_gcv_objective: the generalized cross validation of one common penalty,
//   value = S / (E / n)^2,   S = S_0 + sum over k of (g_k z_k)^2,
//   E = n - trace H = E_0 + sum over k of g_k,
// after G. H. Golub, M. Heath, G. Wahba, Technometrics 21, 1979, (2.3). It is what
// gcv_objective is worth when all t are equal and the columns without penalty are
// orthogonal to the others: there the rotation gives all rows the same leverage. An
// evaluation is O(k).
#pragma once

#include "model/ridge_regression/common_penalty/common_penalty_objective.h"

namespace corvane::model::ridge_regression_detail {

class common_penalty_gcv_objective final : public common_penalty_objective {
 public:
  explicit common_penalty_gcv_objective(const common_penalty_design& design);

 private:
  std::optional<penalty_jet> evaluate(double t) const override;
};

}  // namespace corvane::model::ridge_regression_detail
