// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/report/ridge_influence.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// [R; diag(t)] with columns of length 1, and those lengths; 1 for a column of zeros.
struct stacked_columns {
  dense_matrix columns;  // 2 p by p
  dense_vector lengths;
};

stacked_columns stack_columns(const_matrix_block R, const_vector_view t) {
  const index_t p = R.cols();
  stacked_columns stack{dense_matrix{2 * p, p}, dense_vector{p}};
  fill(stack.columns, 0.0);
  copy(R, matrix_block{stack.columns}.part_rows(0, p));
  for (index_t j = 0; j < p; ++j) {
    stack.columns(p + j, j) = t[j];
    const vector_view column = stack.columns.view().column(j);
    const double length = norm(column);
    stack.lengths[j] = length == 0.0 ? 1.0 : length;
    for (double& entry : column) entry /= stack.lengths[j];
  }
  return stack;
}

dense_matrix upper_triangle(const_matrix_block packed) {
  const index_t p = packed.cols();
  dense_matrix R{p, p};
  for (index_t j = 0; j < p; ++j)
    for (index_t i = 0; i < p; ++i) R(i, j) = i <= j ? packed(i, j) : 0.0;
  return R;
}

// A pivot is the distance of its column from the span of those before it.
bool is_well_conditioned(const_matrix_block R) {
  constexpr double near_dependence = 1e-7;
  for (index_t j = 0; j < R.cols(); ++j)
    if (!(std::abs(R(j, j)) > near_dependence)) return false;
  return true;
}

void divide_rows(const_vector_view lengths, matrix_block columns) {
  for (index_t k = 0; k < columns.cols(); ++k)
    for (index_t j = 0; j < columns.rows(); ++j) columns(j, k) /= lengths[j];
}

// inverse(R), R triangular with independent columns.
inverse_root invert_triangle(dense_matrix&& R) {
  inverse_root root{std::move(R), dense_vector{0}};
  trtri(triangle::upper, root.columns);
  root.determined = dense_vector{root.columns.rows()};
  std::fill(root.determined.begin(), root.determined.end(), 1.0);
  return root;
}

// V inverse(diag(s)) of R = U diag(s) V', without the singular values at rounding level.
inverse_root invert_singular_values(dense_matrix&& R) {
  const index_t p = R.cols();
  dense_matrix u{p, p};
  dense_matrix vt{p, p};
  dense_vector s{p};
  if (gesdd(svd_job::thin, R, s, u, vt) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
  const double negligible = 8.0 * static_cast<double>(p) * double_epsilon * s[0];
  const index_t rank = std::find_if(s.begin(), s.end(),
                                    [&](double value) { return !(value > negligible); }) -
                       s.begin();
  inverse_root root{dense_matrix{p, rank}, dense_vector{p}};
  std::fill(root.determined.begin(), root.determined.end(), 0.0);
  for (index_t k = 0; k < rank; ++k)
    for (index_t j = 0; j < p; ++j) {
      root.columns(j, k) = vt(k, j) / s[k];
      root.determined[j] += vt(k, j) * vt(k, j);
    }
  return root;
}

// h_i += sum over k of (T G)_ik^2
void add_squared_rows(const_matrix_block T, const_matrix_block G, matrix_block room,
                      vector_view h) {
  constexpr index_t narrow = 64;
  const matrix_block product = room.part_columns(0, G.cols());
  if (G.cols() <= narrow)
    multiply_narrow(T, G, product);
  else
    gemm(1.0, plain, T, plain, G, 0.0, product);
  for (index_t k = 0; k < product.cols(); ++k) {
    const vector_view column = product.column(k);
    for (index_t i = 0; i < h.size(); ++i) h[i] += column[i] * column[i];
  }
}

}  // namespace

inverse_root invert_root(const_matrix_block R, const_vector_view t) {
  scoped_allocator scope;
  stacked_columns stack = stack_columns(R, t);
  geqrf(stack.columns, scope.vector(t.size()));
  dense_matrix triangle = upper_triangle(stack.columns);
  inverse_root root = is_well_conditioned(triangle)
                          ? invert_triangle(std::move(triangle))
                          : invert_singular_values(std::move(triangle));
  divide_rows(stack.lengths, root.columns);
  return root;
}

dense_vector column_dof(const inverse_root& root, const_vector_view t) {
  dense_vector dof{root.determined};
  for (index_t k = 0; k < root.columns.cols(); ++k)
    for (index_t j = 0; j < t.size(); ++j) {
      const double entry = t[j] * root.columns(j, k);
      dof[j] -= entry * entry;
    }
  return dof;
}

ridge_influence measure_influence(const common_penalty_design& design,
                                  const inverse_root& root, const_vector_view weights) {
  constexpr index_t entries = 65536;
  const index_t n = design.observations();
  const index_t p = design.penalized();
  const index_t free = design.has_free_bias() ? 1 : 0;
  const double bias = free == 0 ? 0.0 : design.bias_entry();
  const double bias_fit = free == 0 ? 0.0 : bias * weights[p];
  ridge_influence influence{dense_vector{n}, dense_vector{n}};
  scoped_allocator scope;
  const index_t height = std::min(n, std::max<index_t>(256, entries / (p + 2)));
  const matrix_view room = scope.matrix(height, free + p + 1);
  const matrix_view product_room = scope.matrix(height, p);
  for (index_t first = 0; first < n; first += height) {
    const index_t count = std::min(height, n - first);
    const matrix_block rows{room.data(), count, room.cols(), count};
    design.read_rows(first, rows);
    const const_matrix_block X1 = rows.part_columns(free, p);

    const vector_view residuals = influence.residuals.view().part(first, count);
    const vector_view target = rows.column(free + p);
    for (index_t i = 0; i < count; ++i) residuals[i] = target[i] - bias_fit;
    gemv(-1.0, plain, X1, weights.part(0, p), 1.0, residuals);

    const vector_view one_minus_leverage =
        influence.one_minus_leverage.view().part(first, count);
    std::fill(one_minus_leverage.begin(), one_minus_leverage.end(), bias * bias);
    add_squared_rows(X1, root.columns, {product_room.data(), count, p, count},
                     one_minus_leverage);
    for (double& entry : one_minus_leverage) entry = 1.0 - entry;
  }
  return influence;
}

ridge_influence measure_influence(const penalty_rows& rows,
                                  const penalty_spectrum& spectrum, double t) {
  ridge_influence influence{dense_vector{rows.residual()},
                            dense_vector{rows.one_minus_leverage()}};
  for (index_t k = 0; k < rows.rank(); ++k) {
    const double g = filter_of(spectrum.s[k], t).complement;
    const double gz = g * spectrum.z[k];
    const const_vector_view u = rows.basis().column(k);
    for (index_t i = 0; i < u.size(); ++i) {
      influence.one_minus_leverage[i] += g * u[i] * u[i];
      influence.residuals[i] += gz * u[i];
    }
  }
  return influence;
}

}  // namespace corvane::model::ridge_regression_detail
