// SPDX-License-Identifier: BSD-3-Clause
//
// primal_penalty_factors: the factors of a design with more rows than columns, from
//   [N X1 y] = Q R,   R = [1 r' v ; 0 B c ; 0 0 d],   B = W diag(s) V'.
// N is the first column, so that B is X1 with N projected out. U = Q2 W, z = W'c, and d is
// the length of what is left of y.
#pragma once

#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/factorization/tall_factorization.h"

namespace corvane::model::ridge_regression_detail {

class primal_penalty_factors final : public common_penalty_factors {
 public:
  explicit primal_penalty_factors(const common_penalty_design& design);

  const penalty_spectrum& spectrum() const override { return spectrum_; }
  penalty_rows rows() const override;
  void column_dof(double t, vector_view dof) const override;
  void solve(double t, vector_view weights) const override;

 private:
  index_t free_;  // columns of N: 1 or 0
  tall_factorization qr_;
  dense_matrix left_;   // W
  dense_matrix right_;  // V'
  penalty_spectrum spectrum_;
};

}  // namespace corvane::model::ridge_regression_detail
