// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/dual_penalty_factors.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/tall_factorization.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// to = from', by tiles whose rows and columns both stay in the cache.
void transpose_into(const_matrix_block from, matrix_block to) {
  constexpr index_t tile = 16;
  for (index_t i0 = 0; i0 < from.rows(); i0 += tile)
    for (index_t j0 = 0; j0 < from.cols(); j0 += tile)
      for (index_t i = i0; i < std::min(i0 + tile, from.rows()); ++i)
        for (index_t j = j0; j < std::min(j0 + tile, from.cols()); ++j)
          to(j, i) = from(i, j);
}

}  // namespace

dual_penalty_factors::dual_penalty_factors(const common_penalty_design& design)
    : design_{design},
      free_{design.has_free_bias() ? 1 : 0},
      right_{design.observations() - free_, design.observations() - free_} {
  const index_t n = design.observations();
  const index_t k = n - free_;
  spectrum_ = {n, 0, 0.0, dense_vector{k}, dense_vector{k}};
  if (k == 0) return;

  const tall_factorization qr{
      {design.penalized(), k, [this, n, k](index_t first, matrix_block block) {
         scoped_allocator scope;
         const matrix_view columns = scope.matrix(n, block.rows());
         design_.read_columns(first, columns);
         for (index_t j = 0; j < columns.cols(); ++j) reflect(columns.column(j));
         transpose_into(const_matrix_block{columns}.part_rows(free_, k), block);
       }}};
  dense_matrix T{qr.triangle()};
  dense_matrix left{k, k};
  if (gesdd(svd_job::thin, T, spectrum_.s, left, right_) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
  scoped_allocator scope;
  const vector_view target = scope.vector(n);
  design_.read_target(target);
  reflect(target);
  gemv(1.0, plain, right_, target.part(free_, k), 0.0, spectrum_.z);
}

// P = I - v v' / v_0 with v = N + e_0, of which all entries but the first are alike.
void dual_penalty_factors::reflect(vector_view x) const {
  if (free_ == 0) return;
  const double entry = design_.bias_entry();
  const double first = entry + 1.0;
  double sum = 0.0;
  for (index_t i = 1; i < x.size(); ++i) sum += x[i];
  const double multiple = (entry * sum + first * x[0]) / first;
  x[0] -= first * multiple;
  for (index_t i = 1; i < x.size(); ++i) x[i] -= entry * multiple;
}

// P [0; U]. N and U reach all of the space: clearance and residual are zero without a
// penalty.
penalty_rows dual_penalty_factors::rows() const {
  const index_t k = rank();
  dense_matrix columns{spectrum_.observations, k + 2};
  fill(columns, 0.0);
  transpose_into(right_, matrix_block{columns}.part(free_, 0, k, k));
  for (index_t j = 0; j < k; ++j) reflect(columns.view().column(j));
  return {std::move(columns)};
}

// With the residuals' direction c = P [0; U diag(1 / (s^2 + t^2)) z]: weights = X1'c, since
// c is orthogonal to N, and the weight of N is N'y - (X1'N)'weights.
void dual_penalty_factors::solve(double t, vector_view weights) const {
  constexpr index_t block_columns = 64;
  scoped_allocator scope;
  const index_t n = spectrum_.observations;
  const index_t k = rank();
  const vector_view damped = scope.vector(k);
  for (index_t j = 0; j < k; ++j)
    damped[j] = spectrum_.z[j] * damped_inverse_square(spectrum_.s[j], t);
  const vector_view direction = scope.vector(n);
  std::fill(direction.begin(), direction.end(), 0.0);
  gemv(1.0, transposed, right_, damped, 0.0, direction.part(free_, k));
  reflect(direction);

  const vector_view fitted = scope.vector(n);
  std::fill(fitted.begin(), fitted.end(), 0.0);
  const matrix_view room = scope.matrix(n, std::min(block_columns, design_.penalized()));
  for (index_t first = 0; first < design_.penalized(); first += block_columns) {
    const index_t count = std::min(block_columns, design_.penalized() - first);
    const matrix_block columns{room.data(), n, count, n};
    const vector_view part = weights.part(first, count);
    design_.read_columns(first, columns);
    gemv(1.0, transposed, columns, direction, 0.0, part);
    gemv(1.0, plain, columns, part, 1.0, fitted);
  }
  if (free_ == 0) return;
  const vector_view target = scope.vector(n);
  design_.read_target(target);
  double rest = 0.0;
  for (index_t i = 0; i < n; ++i) rest += target[i] - fitted[i];
  weights[design_.penalized()] = rest * design_.bias_entry();
}

}  // namespace corvane::model::ridge_regression_detail
