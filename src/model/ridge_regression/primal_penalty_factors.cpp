// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/primal_penalty_factors.h"

#include <stdexcept>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The design is copied: it is a few words that look at the data.
tall_matrix augmented(const common_penalty_design& design) {
  const index_t free = design.has_free_bias() ? 1 : 0;
  return {design.observations(), free + design.penalized() + 1,
          [design](index_t first, matrix_block block) { design.read_rows(first, block); }};
}

}  // namespace

primal_penalty_factors::primal_penalty_factors(const common_penalty_design& design)
    : free_{design.has_free_bias() ? 1 : 0},
      qr_{augmented(design)},
      left_{design.penalized(), design.penalized()},
      right_{design.penalized(), design.penalized()} {
  const index_t k = design.penalized();
  const const_matrix_block R = qr_.triangle();
  const double residual = R(free_ + k, free_ + k);
  spectrum_ = {design.observations(), design.observations() - free_ - k,
               residual * residual, dense_vector{k}, dense_vector{k}};
  dense_matrix B{k, k};
  copy(R.part(free_, free_, k, k), B);
  if (gesdd(svd_job::thin, B, spectrum_.s, left_, right_) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
  gemv(1.0, transposed, left_, R.column(free_ + k).part(free_, k), 0.0, spectrum_.z);
}

// All from one product with Q: U, the column N, and the residual of y, d times the last
// column of Q. clearance = 1 - |row of N|^2 - |row of U|^2
penalty_rows primal_penalty_factors::rows() const {
  const index_t k = right_.rows();
  const index_t last = free_ + k;
  dense_matrix selection{last + 1, k + 2};
  fill(selection, 0.0);
  copy(left_, matrix_block{selection}.part(free_, 0, k, k));
  if (free_ > 0) selection(0, k) = 1.0;
  selection(last, k + 1) = qr_.triangle()(last, last);

  dense_matrix columns{spectrum_.observations, k + 2};
  qr_.multiply(selection, columns);
  const vector_view clearance = columns.view().column(k);
  for (double& entry : clearance) entry = 1.0 - entry * entry;
  for (index_t j = 0; j < k; ++j) {
    const const_vector_view u = columns.view().column(j);
    for (index_t i = 0; i < u.size(); ++i) clearance[i] -= u[i] * u[i];
  }
  return {std::move(columns)};
}

// V diag(s / (s^2 + t^2)) z, and for N what is left of v when X1 has taken its part.
void primal_penalty_factors::solve(double t, vector_view weights) const {
  scoped_allocator scope;
  const index_t k = right_.rows();
  const vector_view damped = scope.vector(k);
  for (index_t j = 0; j < k; ++j)
    damped[j] = spectrum_.z[j] * damped_inverse(spectrum_.s[j], t);
  gemv(1.0, transposed, right_, damped, 0.0, weights.part(0, k));
  if (free_ == 0) return;
  const const_matrix_block R = qr_.triangle();
  double rest = R(0, free_ + k);
  for (index_t j = 0; j < k; ++j) rest -= R(0, free_ + j) * weights[j];
  weights[k] = rest / R(0, 0);
}

}  // namespace corvane::model::ridge_regression_detail
