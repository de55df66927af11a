// SPDX-License-Identifier: BSD-3-Clause
//
// primal_penalty_factors: the factors of a design with more rows than columns, from
//   [N X1 y] = Q R,   R = [1 r' v ; 0 B c ; 0 0 d],   B = W diag(s) V'.
// N is the first column, so that B is X1 with N projected out. U = Q2 W, z = W'c, and d is
// the length of the residual of y.
#include <algorithm>
#include <stdexcept>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/factorization/tall_factorization.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The design is copied: it holds references to the data only.
tall_matrix augmented(const common_penalty_design& design) {
  const index_t free = design.has_free_bias() ? 1 : 0;
  return {design.observations(), free + design.penalized() + 1,
          [design](index_t first, matrix_block block) { design.read_rows(first, block); }};
}

// 1 - |row of N|^2 - |row of U|^2, in place of the column N. By blocks that stay in the
// first-level cache over all columns of U.
void subtract_squared_rows(const_matrix_block U, vector_view N) {
  constexpr index_t block_rows = 1024;
  for (index_t first = 0; first < N.size(); first += block_rows) {
    const index_t count = std::min(block_rows, N.size() - first);
    double* const entries = N.data() + first;
    run_vectorized([=](auto... /*width*/) {
      for (index_t i = 0; i < count; ++i) entries[i] = 1.0 - entries[i] * entries[i];
      for (index_t j = 0; j < U.cols(); ++j) {
        const double* const u = U.data() + j * U.stride() + first;
        for (index_t i = 0; i < count; ++i) entries[i] -= u[i] * u[i];
      }
    });
  }
}

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
// column of Q. one_minus_leverage = 1 - |row of N|^2 - |row of U|^2
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
  subtract_squared_rows(matrix_block{columns}.part_columns(0, k), columns.view().column(k));
  return {std::move(columns)};
}

// sum over k of f_k V_jk^2
void primal_penalty_factors::column_dof(double t, vector_view dof) const {
  std::fill(dof.begin(), dof.end(), 0.0);
  for (index_t k = 0; k < spectrum_.s.size(); ++k) {
    const double f = filter_of(spectrum_.s[k], t).filter_factor;
    for (index_t j = 0; j < dof.size(); ++j) dof[j] += f * right_(k, j) * right_(k, j);
  }
}

// V diag(s / (s^2 + t^2)) z, and for N the quotient (v - r'weights) / R_00.
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

}  // namespace

std::unique_ptr<const common_penalty_factors> make_primal_factors(
    const common_penalty_design& design) {
  return std::make_unique<primal_penalty_factors>(design);
}

}  // namespace corvane::model::ridge_regression_detail
