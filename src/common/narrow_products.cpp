// SPDX-License-Identifier: BSD-3-Clause
#include "common/narrow_products.h"

#include <algorithm>

#include "common/vector_dispatch.h"

namespace corvane {

namespace {

constexpr index_t num_lanes = 4;
using lanes = double __attribute__((vector_size(32)));
using unaligned_lanes = double __attribute__((vector_size(32), aligned(8), may_alias));

// With one register for the column of B, the tile fills the 16 registers of AVX2.
constexpr index_t tile_rows = 3;
constexpr index_t tile_cols = 4;

// The products of `Rows` columns of A with `Cols` columns of B.
template <int Rows, int Cols>
void add_tile(const_matrix_block a, const_matrix_block b, matrix_block c) {
  lanes sums[Rows][Cols] = {};  // NOLINT(modernize-avoid-c-arrays): std::array<lanes> drops
                                // the attribute of the element type
  const index_t rows = a.rows();
  const index_t whole = rows - rows % num_lanes;
  const double* const from_a = a.data();
  const double* const from_b = b.data();
  const index_t stride_a = a.stride();
  const index_t stride_b = b.stride();
  for (index_t i = 0; i < whole; i += num_lanes)
    for (int col = 0; col < Cols; ++col) {
      const lanes right =
          *reinterpret_cast<const unaligned_lanes*>(from_b + col * stride_b + i);
      for (int row = 0; row < Rows; ++row)
        sums[row][col] +=
            *reinterpret_cast<const unaligned_lanes*>(from_a + row * stride_a + i) * right;
    }
  for (int row = 0; row < Rows; ++row)
    for (int col = 0; col < Cols; ++col) {
      const lanes sum = sums[row][col];
      double total = (sum[0] + sum[1]) + (sum[2] + sum[3]);
      for (index_t i = whole; i < rows; ++i) total += a(i, row) * b(i, col);
      c(row, col) += total;
    }
}

template <int Rows>
void add_strip(const_matrix_block a, const_matrix_block b, matrix_block c) {
  for (index_t col = 0; col < b.cols(); col += tile_cols) {
    const index_t count = std::min(tile_cols, b.cols() - col);
    const const_matrix_block right = b.part_columns(col, count);
    const matrix_block out = c.part_columns(col, count);
    switch (count) {
      case 1:
        add_tile<Rows, 1>(a, right, out);
        break;
      case 2:
        add_tile<Rows, 2>(a, right, out);
        break;
      case 3:
        add_tile<Rows, 3>(a, right, out);
        break;
      default:
        add_tile<Rows, 4>(a, right, out);
    }
  }
}

void add_all(const_matrix_block a, const_matrix_block b, matrix_block c) {
  for (index_t row = 0; row < a.cols(); row += tile_rows) {
    const index_t count = std::min(tile_rows, a.cols() - row);
    const const_matrix_block left = a.part_columns(row, count);
    const matrix_block out = c.part_rows(row, count);
    switch (count) {
      case 1:
        add_strip<1>(left, b, out);
        break;
      case 2:
        add_strip<2>(left, b, out);
        break;
      default:
        add_strip<3>(left, b, out);
    }
  }
}

}  // namespace

void add_narrow_products(const_matrix_block a, const_matrix_block b, matrix_block c) {
  run_vectorized([=] { add_all(a, b, c); });
}

void add_narrow_gram(const_matrix_block a, matrix_block c) {
  for (index_t col = 0; col < a.cols(); col += tile_cols) {
    const index_t below = a.cols() - col;
    const index_t count = std::min(tile_cols, below);
    add_narrow_products(a.part_columns(col, below), a.part_columns(col, count),
                        c.part(col, col, below, count));
  }
}

}  // namespace corvane
