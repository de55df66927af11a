// SPDX-License-Identifier: BSD-3-Clause
#include "common/narrow_products.h"

#include <algorithm>
#include <cstring>

#include "common/vector_dispatch.h"

namespace corvane {

namespace {

template <int Width>
struct vector_register;  // spelled out: the attributes take no template argument
template <>
struct vector_register<2> {
  using lanes = double __attribute__((vector_size(16)));
};
template <>
struct vector_register<4> {
  using lanes = double __attribute__((vector_size(32)));
};
template <>
struct vector_register<8> {
  using lanes = double __attribute__((vector_size(64)));
};

// With one register for the column of B, the tile fills the 16 registers of AVX2.
constexpr index_t tile_rows = 3;
constexpr index_t tile_cols = 4;

// The products of `Rows` columns of A with `Cols` columns of B.
template <int Width, int Rows, int Cols>
void add_tile(const_matrix_block a, const_matrix_block b, matrix_block c) {
  using lanes = typename vector_register<Width>::lanes;
  lanes sums[Rows][Cols] = {};  // NOLINT(modernize-avoid-c-arrays): std::array<lanes> drops
                                // the attribute of the element type
  const index_t rows = a.rows();
  const index_t whole = rows - rows % Width;
  const double* const from_a = a.data();
  const double* const from_b = b.data();
  const index_t stride_a = a.stride();
  const index_t stride_b = b.stride();
  // Copied bytes become loads that need no alignment.
  for (index_t i = 0; i < whole; i += Width)
    for (int col = 0; col < Cols; ++col) {
      lanes right;
      std::memcpy(&right, from_b + col * stride_b + i, sizeof right);
      for (int row = 0; row < Rows; ++row) {
        lanes left;
        std::memcpy(&left, from_a + row * stride_a + i, sizeof left);
        sums[row][col] += left * right;
      }
    }
  for (int row = 0; row < Rows; ++row)
    for (int col = 0; col < Cols; ++col) {
      lanes parts = sums[row][col];
      for (int half = Width / 2; half > 0; half /= 2)
        for (int lane = 0; lane < half; ++lane) parts[lane] += parts[lane + half];
      double total = parts[0];
      for (index_t i = whole; i < rows; ++i) total += a(i, row) * b(i, col);
      c(row, col) += total;
    }
}

template <int Width, int Rows>
void add_strip(const_matrix_block a, const_matrix_block b, matrix_block c) {
  for (index_t col = 0; col < b.cols(); col += tile_cols) {
    const index_t count = std::min(tile_cols, b.cols() - col);
    const const_matrix_block right = b.part_columns(col, count);
    const matrix_block out = c.part_columns(col, count);
    switch (count) {
      case 1:
        add_tile<Width, Rows, 1>(a, right, out);
        break;
      case 2:
        add_tile<Width, Rows, 2>(a, right, out);
        break;
      case 3:
        add_tile<Width, Rows, 3>(a, right, out);
        break;
      default:
        add_tile<Width, Rows, 4>(a, right, out);
    }
  }
}

template <int Width>
void add_all(const_matrix_block a, const_matrix_block b, matrix_block c) {
  for (index_t row = 0; row < a.cols(); row += tile_rows) {
    const index_t count = std::min(tile_rows, a.cols() - row);
    const const_matrix_block left = a.part_columns(row, count);
    const matrix_block out = c.part_rows(row, count);
    switch (count) {
      case 1:
        add_strip<Width, 1>(left, b, out);
        break;
      case 2:
        add_strip<Width, 2>(left, b, out);
        break;
      default:
        add_strip<Width, 3>(left, b, out);
    }
  }
}

}  // namespace

void add_narrow_products(const_matrix_block a, const_matrix_block b, matrix_block c) {
  run_vectorized([=](auto width) { add_all<width>(a, b, c); });
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
