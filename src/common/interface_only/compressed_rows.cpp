// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/compressed_rows.h"

#include <algorithm>
#include <memory>

namespace corvane::compressed_rows {

namespace {

bool offsets_are_valid(const object& a) {
  const const_index_view offsets = a.row_pointers;
  return a.rows >= 0 && offsets.size() == a.rows + 1 && offsets[0] == 0 &&
         offsets[a.rows] == a.values.size() &&
         std::is_sorted(offsets.begin(), offsets.end());
}

bool columns_are_inside(const object& a) {
  return a.column_indices.size() == a.values.size() &&
         std::all_of(a.column_indices.begin(), a.column_indices.end(),
                     [&a](index_t j) { return j >= 0 && j < a.columns; });
}

// Only the descriptor's triangle is read.
bool is_in_triangle(descriptor how, index_t row, index_t column) {
  if (how.type == structure::general) return true;
  return how.fill == stored_triangle::lower ? row >= column : row <= column;
}

// Calls visit(i, j, a_ij) for every non-zero of the matrix that the descriptor makes of the
// stored entries, in the order of storage.
template <class Visit>
void for_each_entry(const object& a, descriptor how, Visit visit) {
  const bool has_unit_diagonal = how.diagonal == stored_diagonal::unit;
  for (index_t i = 0; i < a.rows; ++i) {
    for (index_t k = a.row_pointers[i]; k < a.row_pointers[i + 1]; ++k) {
      const index_t j = a.column_indices[k];
      if (!is_in_triangle(how, i, j) || (has_unit_diagonal && i == j)) continue;
      visit(i, j, a.values[k]);
      if (how.type == structure::symmetric && i != j) visit(j, i, a.values[k]);
    }
    if (has_unit_diagonal) visit(i, i, 1.0);
  }
}

// With beta 0 the old Y is overwritten, also a NaN.
void scale(double beta, matrix_block y) {
  if (beta == 0.0) {
    fill(y, 0.0);
    return;
  }
  for (index_t j = 0; j < y.cols(); ++j)
    for (double& entry : y.column(j)) entry *= beta;
}

// Y has the rows of op(A) and the columns of X; a symmetric or triangular A is square.
bool shapes_agree(transposition op, const object& a, descriptor how, const_matrix_block x,
                  matrix_block y) {
  if (how.type != structure::general && a.rows != a.columns) return false;
  const index_t op_rows = op == transposition::none ? a.rows : a.columns;
  const index_t op_columns = op == transposition::none ? a.columns : a.rows;
  return y.rows() == op_rows && x.rows() == op_columns && x.cols() == y.cols() &&
         x.stride() >= x.rows() && y.stride() >= y.rows();
}

}  // namespace

status create(object*& made, const object& parts) {
  if (parts.columns < 0 || !offsets_are_valid(parts) || !columns_are_inside(parts))
    return status::invalid_value;
  auto owned = std::make_unique<object>(parts);
  owned->is_live = true;
  made = owned.release();
  return status::success;
}

status destroy(object* made) {
  if (made == nullptr) return status::not_initialized;
  if (!made->is_live) return status::invalid_value;
  made->is_live = false;
  const std::unique_ptr<object> releases{made};
  return status::success;
}

status multiply(transposition op, double alpha, const object* a, descriptor how,
                const_matrix_block x, double beta, matrix_block y) {
  if (a == nullptr) return status::not_initialized;
  if (!a->is_live || !shapes_agree(op, *a, how, x, y)) return status::invalid_value;
  scale(beta, y);
  // Of real numbers the conjugate transpose is the transpose.
  const bool swaps = op != transposition::none;
  // One column at a time, so that X is read by columns.
  for (index_t column = 0; column < x.cols(); ++column) {
    const const_vector_view from = x.column(column);
    const vector_view to = y.column(column);
    for_each_entry(*a, how, [=](index_t i, index_t j, double value) {
      if (swaps)
        to[j] += alpha * value * from[i];
      else
        to[i] += alpha * value * from[j];
    });
  }
  return status::success;
}

}  // namespace corvane::compressed_rows
