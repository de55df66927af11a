// SPDX-License-Identifier: BSD-3-Clause
//
// dual_penalty_factors: the factors of a design with at least as many columns as rows. A
// reflection P takes N to the first axis; what lies below it, A = (P X1) without its first
// row, is X1 with N projected out, in a basis of the complement of N. Of A = U diag(s) V'
// only s and U are needed:
//   weights = A' U diag(1 / (s^2 + t^2)) U'y.
// They are the eigenvalues and eigenvectors of A A' where these are far from zero, and
// otherwise the singular ones of T' in A' = Q T (tall), which has not been squared.
#pragma once

#include "model/ridge_regression/common_penalty/common_penalty_factors.h"

namespace corvane::model::ridge_regression_detail {

class dual_penalty_factors final : public common_penalty_factors {
 public:
  explicit dual_penalty_factors(const common_penalty_design& design);

  const penalty_spectrum& spectrum() const override { return spectrum_; }
  penalty_rows rows() const override;
  void column_dof(double t, vector_view dof) const override;
  void solve(double t, vector_view weights) const override;

 private:
  dense_matrix compute_gram() const;  // A A', lower triangle
  bool decompose_gram(const dense_matrix& gram);
  void decompose_triangle(dense_matrix&& gram);
  // Columns of A, read into as many columns of `room`, which has a row for each
  // observation.
  const_matrix_block read_columns(index_t first, matrix_block room) const;
  // Each column x of the observations' space becomes P x.
  void reflect(matrix_block columns) const;
  index_t rank() const { return left_.rows(); }

  common_penalty_design design_;
  index_t free_;       // columns of N: 1 or 0
  dense_matrix left_;  // U
  penalty_spectrum spectrum_;
};

}  // namespace corvane::model::ridge_regression_detail
