// SPDX-License-Identifier: BSD-3-Clause
//
// One block of observations on its way through a leave-one-out evaluation. With
// z = inverse(L) inverse(D) b, w = inverse(L') z, and for row i, part r of observation k,
//   W_i = inverse(L) inverse(D) x_i,   prediction_i = W_i' z,   h_k = sum over r of
//   |W_i|^2, a_i = inverse(L') W_i = inverse(M) inverse(D) x_i, d = 1 - h,   s = (y -
//   prediction) / d,   u = s / d,   q_j = sum over r of a_j^2,
// the prediction and the leverage have the derivatives P_j = -2 a_j w_j / t_j and
// Q_j = -2 q_j / t_j. Blocks keep scratch independent of n and tables in the cache.
#pragma once

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/leave_one_out_score.h"

namespace corvane::model::ridge_regression_detail {

// The fit at the point: all that a row of the design has to meet.
struct solved_point {
  const_vector_view t;          // q entries
  const_matrix_block cholesky;  // L, p by p
  const_vector_view z;          // p entries
  const_vector_view w;          // p entries
};

// Room for a block of `count` observations as parts * count rows: part r of the observation
// at position k is row r * count + k. Tables that are not wanted have no columns.
struct block_tables {
  index_t first = 0;  // the block's first observation
  index_t count = 0;
  index_t parts = 1;
  matrix_block a;         // X inverse(D), then W, then a; rows by p
  matrix_block squares;   // q_j, then f_j; count by q
  matrix_block scaled;    // e_j, then phi a_j; rows by q
  vector_view s;          // the prediction, then s; one entry per row
  vector_view omega_u;    // one entry per row
  vector_view d;          // count entries, as the following
  vector_view omega;      // twice the multiplicity
  vector_view s_squared;  // sum over the parts of s^2
  vector_view phi;        // omega s_squared / d

  index_t height() const { return parts * count; }
  double* part_of_column(matrix_block table, index_t part, index_t column) const {
    return table.data() + column * table.stride() + part * count;
  }
  // The same room for a block that is not longer.
  block_tables narrowed(index_t first_observation, index_t new_count) const;
};

// As many observations as make a block of this design.
block_tables take_block_tables(scoped_allocator& scope, const leave_one_out_rows& rows,
                               index_t penalized, const ridge_outputs& wanted);

// Fills W, s, d, omega, s_squared, phi and omega_u.
void predict_block(const leave_one_out_rows& rows, const solved_point& point,
                   const block_tables& block);

// W becomes a; fills q_j.
void differentiate_block(const solved_point& point, const block_tables& block);

// scaled_ij = e_ij = sqrt(omega) (a_ij w_j / d - 2 u q_j)
void form_e(const solved_point& point, const block_tables& block);

// squares_kj = f_kj = sqrt(omega sum over r of u^2) q_j: the parts share q_j, and so one
// row stands for all of them.
void form_f(const block_tables& block);

// scaled_ij = phi_k a_ij
void form_phi_a(const block_tables& block);

}  // namespace corvane::model::ridge_regression_detail
