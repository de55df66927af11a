// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/leave_one_out_block.h"

#include <algorithm>
#include <cmath>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Blocks are long enough for the speed of level 3 and, where that allows it, so short that
// three tables leave room in the arena for M and C. The length depends on the shape alone,
// so that every evaluation rounds in the same way.
index_t observations_per_block(const leave_one_out_rows& rows) {
  constexpr index_t fewest_rows = 64;
  constexpr index_t most_rows = 256;
  constexpr index_t doubles_of_tables = 160000;
  const index_t p = std::max<index_t>(rows.design.cols(), 1);
  const index_t height = std::clamp(doubles_of_tables / (3 * p), fewest_rows, most_rows);
  return std::min(height / rows.parts, rows.count);
}

// sums_k += the sum over the parts of a_kj^2, for one column j
void add_squares(const block_tables& block, index_t column, double* sums) {
  for (index_t r = 0; r < block.parts; ++r) {
    const double* const entries = block.part_of_column(block.a, r, column);
    for (index_t k = 0; k < block.count; ++k) sums[k] += entries[k] * entries[k];
  }
}

}  // namespace

block_tables block_tables::narrowed(index_t first_observation, index_t new_count) const {
  block_tables block = *this;
  block.first = first_observation;
  block.count = new_count;
  block.a = a.part_rows(0, parts * new_count);
  block.squares = squares.part_rows(0, new_count);
  block.scaled = scaled.part_rows(0, parts * new_count);
  block.s = s.part(0, parts * new_count);
  block.omega_u = omega_u.part(0, parts * new_count);
  for (vector_view* vector : {&block.d, &block.omega, &block.s_squared, &block.phi})
    *vector = vector->part(0, new_count);
  return block;
}

block_tables take_block_tables(scoped_allocator& scope, const leave_one_out_rows& rows,
                               index_t penalized, const ridge_outputs& wanted) {
  const index_t count = observations_per_block(rows);
  const index_t height = count * rows.parts;
  return {.count = count,
          .parts = rows.parts,
          .a = scope.matrix(height, rows.design.cols()),
          .squares = scope.matrix(count, wanted.derivatives_wanted() ? penalized : 0),
          .scaled = scope.matrix(height, wanted.hessian ? penalized : 0),
          .s = scope.vector(height),
          .omega_u = scope.vector(height),
          .d = scope.vector(count),
          .omega = scope.vector(count),
          .s_squared = scope.vector(count),
          .phi = scope.vector(count)};
}

void predict_block(const leave_one_out_rows& rows, const solved_point& point,
                   const block_tables& block) {
  const const_matrix_block design{rows.design};
  for (index_t r = 0; r < block.parts; ++r)
    divide_columns(point.t, design.part_rows(r * rows.count + block.first, block.count),
                   block.a.part_rows(r * block.count, block.count));
  // Rows are observations here: inverse(L) from the left is inverse(L)' from the right.
  trsm(side::right, triangle::lower, transposed, point.cholesky, block.a);
  // The predictions, of which the loop below makes s.
  gemv(1.0, plain, block.a, point.z, 0.0, block.s);

  // The leverages h, then d = 1 - h.
  std::fill(block.d.begin(), block.d.end(), 0.0);
  for (index_t j = 0; j < block.a.cols(); ++j) add_squares(block, j, block.d.data());
  for (index_t k = 0; k < block.count; ++k) {
    block.d[k] = 1.0 - block.d[k];
    block.omega[k] = 2.0 * rows.multiplicity(block.first + k);
    block.s_squared[k] = 0.0;
    for (index_t r = 0; r < block.parts; ++r) {
      double& s = block.s[r * block.count + k];
      s = (rows.target[r * rows.count + block.first + k] - s) / block.d[k];
      block.s_squared[k] += s * s;
      block.omega_u[r * block.count + k] = block.omega[k] * s / block.d[k];
    }
    block.phi[k] = block.omega[k] * block.s_squared[k] / block.d[k];
  }
}

void differentiate_block(const solved_point& point, const block_tables& block) {
  trsm(side::right, triangle::lower, plain, point.cholesky, block.a);
  fill(block.squares, 0.0);
  for (index_t j = 0; j < block.squares.cols(); ++j)
    add_squares(block, j, block.squares.column(j).data());
}

// u = s / d: the common factor is sqrt(omega) / d.
void form_e(const solved_point& point, const block_tables& block) {
  scoped_allocator scope;
  const vector_view factor = scope.vector(block.count);
  for (index_t k = 0; k < block.count; ++k)
    factor[k] = std::sqrt(block.omega[k]) / block.d[k];
  for (index_t j = 0; j < block.scaled.cols(); ++j) {
    const double w = point.w[j];
    const double* const q = block.squares.column(j).data();
    for (index_t r = 0; r < block.parts; ++r) {
      const double* const a = block.part_of_column(block.a, r, j);
      const double* const s = block.s.data() + r * block.count;
      double* const e = block.part_of_column(block.scaled, r, j);
      for (index_t k = 0; k < block.count; ++k)
        e[k] = factor[k] * (a[k] * w - 2.0 * s[k] * q[k]);
    }
  }
}

void form_f(const block_tables& block) {
  scoped_allocator scope;
  const vector_view factor = scope.vector(block.count);
  for (index_t k = 0; k < block.count; ++k)
    factor[k] = std::sqrt(block.omega[k] * block.s_squared[k]) / block.d[k];
  for (index_t j = 0; j < block.squares.cols(); ++j) {
    double* const q = block.squares.column(j).data();
    for (index_t k = 0; k < block.count; ++k) q[k] *= factor[k];
  }
}

void form_phi_a(const block_tables& block) {
  for (index_t j = 0; j < block.scaled.cols(); ++j)
    for (index_t r = 0; r < block.parts; ++r) {
      const double* const a = block.part_of_column(block.a, r, j);
      double* const phi_a = block.part_of_column(block.scaled, r, j);
      for (index_t k = 0; k < block.count; ++k) phi_a[k] = block.phi[k] * a[k];
    }
}

}  // namespace corvane::model::ridge_regression_detail
