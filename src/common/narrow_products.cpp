// SPDX-License-Identifier: BSD-3-Clause
//
// Tiles of the result are held in vector registers. The columns of the operands are read as
// they are: the elements of a register are entries of neighbouring rows.
#include "common/narrow_products.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "common/vector_dispatch.h"
#include "common/vector_register.h"

namespace corvane {

namespace {

template <int Width>
using lanes_of = typename vector_register<Width>::lanes;

// With one column of A and one entry of B the tiles of inner products fill the 32 registers
// of AVX-512 or the 16 of AVX2; likewise those of A T, of so many registers by columns.
template <int Width>
constexpr int tile_rows = Width == 8 ? 4 : 3;
template <int Width>
constexpr int tile_cols = Width == 8 ? 6 : 4;
constexpr int tile_registers = 3;
template <int Width>
constexpr int tile_targets = Width == 8 ? 8 : 4;

// Entry k of the result is the sum of the entries of from[k]. Pairs of registers are added
// into one until one is left, which takes fewer instructions than a sum for each.
template <int Width>
void sum_each(const lanes_of<Width>* from, lanes_of<Width>& totals) {
  using lanes = lanes_of<Width>;
  if constexpr (Width == 2) {
    totals = __builtin_shufflevector(from[0], from[1], 0, 2) +
             __builtin_shufflevector(from[0], from[1], 1, 3);
  } else if constexpr (Width == 4) {
    lanes pairs[2];  // NOLINT(modernize-avoid-c-arrays): as in add_tile, also below
    for (index_t k = 0; k < 2; ++k)
      pairs[k] = __builtin_shufflevector(from[2 * k], from[2 * k + 1], 0, 4, 2, 6) +
                 __builtin_shufflevector(from[2 * k], from[2 * k + 1], 1, 5, 3, 7);
    totals = __builtin_shufflevector(pairs[0], pairs[1], 0, 1, 4, 5) +
             __builtin_shufflevector(pairs[0], pairs[1], 2, 3, 6, 7);
  } else {
    lanes pairs[4];  // NOLINT(modernize-avoid-c-arrays)
    for (index_t k = 0; k < 4; ++k)
      pairs[k] =
          __builtin_shufflevector(from[2 * k], from[2 * k + 1], 0, 8, 2, 10, 4, 12, 6, 14) +
          __builtin_shufflevector(from[2 * k], from[2 * k + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    lanes fours[2];  // NOLINT(modernize-avoid-c-arrays)
    for (index_t k = 0; k < 2; ++k)
      fours[k] = __builtin_shufflevector(pairs[2 * k], pairs[2 * k + 1], 0, 1, 8, 9, 4, 5,
                                         12, 13) +
                 __builtin_shufflevector(pairs[2 * k], pairs[2 * k + 1], 2, 3, 10, 11, 6, 7,
                                         14, 15);
    totals = __builtin_shufflevector(fours[0], fours[1], 0, 1, 2, 3, 8, 9, 10, 11) +
             __builtin_shufflevector(fours[0], fours[1], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

// One step of add_tile, over as many rows as a register holds or fewer.
template <int Width, int Rows, int Cols>
void add_step(const double* a, index_t stride_a, const double* b, index_t stride_b,
              index_t rows,
              lanes_of<Width> (&sums)[Rows][Cols]) {  // NOLINT: as in add_tile
  for (int col = 0; col < Cols; ++col) {
    lanes_of<Width> right{};
    std::memcpy(&right, b + col * stride_b,
                static_cast<std::size_t>(rows) * sizeof(double));
    for (int row = 0; row < Rows; ++row) {
      lanes_of<Width> left{};
      std::memcpy(&left, a + row * stride_a,
                  static_cast<std::size_t>(rows) * sizeof(double));
      sums[row][col] += left * right;
    }
  }
}

// The products of `Rows` columns of A with `Cols` columns of B.
template <int Width, int Rows, int Cols>
void add_tile(const_matrix_block a, const_matrix_block b, matrix_block c) {
  lanes_of<Width> sums[Rows][Cols] = {};  // NOLINT(modernize-avoid-c-arrays): std::array
                                          // drops the attribute of the element type
  const index_t whole = a.rows() - a.rows() % Width;
  for (index_t i = 0; i < whole; i += Width)
    add_step<Width>(a.data() + i, a.stride(), b.data() + i, b.stride(), Width, sums);
  if (whole < a.rows())
    add_step<Width>(a.data() + whole, a.stride(), b.data() + whole, b.stride(),
                    a.rows() - whole, sums);
  constexpr int tile_size = Rows * Cols;
  for (int first = 0; first < tile_size; first += Width) {
    lanes_of<Width> group[Width] = {};  // NOLINT(modernize-avoid-c-arrays)
    for (int k = 0; k < Width && first + k < tile_size; ++k)
      group[k] = sums[(first + k) % Rows][(first + k) / Rows];
    lanes_of<Width> totals;
    sum_each<Width>(group, totals);
    for (int k = 0; k < Width && first + k < tile_size; ++k)
      c((first + k) % Rows, (first + k) / Rows) += totals[k];
  }
}

// Of at most `Rows` by at most `Cols` columns.
template <int Width, int Rows, int Cols>
void add_tile_of_any_size(const_matrix_block a, const_matrix_block b, matrix_block c) {
  if constexpr (Rows > 1)
    if (a.cols() < Rows) return add_tile_of_any_size<Width, Rows - 1, Cols>(a, b, c);
  if constexpr (Cols > 1)
    if (b.cols() < Cols) return add_tile_of_any_size<Width, Rows, Cols - 1>(a, b, c);
  add_tile<Width, Rows, Cols>(a, b, c);
}

// All products, or only those in tiles that intersect the lower triangle, cut off above the
// diagonal. A strip of B stays in the first-level cache during the loop over A.
template <int Width>
void add_all(const_matrix_block a, const_matrix_block b, bool lower_alone, matrix_block c) {
  for (index_t col = 0; col < b.cols(); col += tile_cols<Width>) {
    const index_t width = std::min<index_t>(tile_cols<Width>, b.cols() - col);
    for (index_t row = lower_alone ? col : 0; row < a.cols(); row += tile_rows<Width>) {
      const index_t rows = std::min<index_t>(tile_rows<Width>, a.cols() - row);
      const index_t cols = lower_alone ? std::min(width, row + rows - col) : width;
      add_tile_of_any_size<Width, tile_rows<Width>, tile_cols<Width>>(
          a.part_columns(row, rows), b.part_columns(col, cols),
          c.part(row, col, rows, cols));
    }
  }
}

// The rows of a strip of T in which all columns, those of its first half alone or those of
// its second half alone may differ from 0.
struct row_span {
  index_t from;
  index_t to;
};
struct strip_shape {
  row_span first_half;
  row_span all;
  row_span second_half;
};

strip_shape shape_of_strip(std::optional<triangle> which, index_t rows, index_t col,
                           index_t cols) {
  const index_t middle = col + cols / 2;
  if (which == triangle::upper) return {{0, 0}, {0, middle}, {middle, col + cols}};
  if (which == triangle::lower) return {{col, middle}, {middle, rows}, {0, 0}};
  return {{0, 0}, {0, rows}, {0, 0}};
}

// Adds the terms of some rows of T to columns First .. Last - 1 of a tile.
template <int Width, int First, int Last, int Registers, int Cols>
void add_terms(const_matrix_block a, const_matrix_block t, row_span rows,
               lanes_of<Width> (&sums)[Registers][Cols]) {  // NOLINT: as in add_tile
  const double* const from_a = a.data();
  const double* const from_t = t.data();
  const index_t stride_a = a.stride();
  const index_t stride_t = t.stride();
  for (index_t k = rows.from; k < rows.to; ++k)
    for (int col = First; col < Last; ++col) {
      const double factor = from_t[col * stride_t + k];
      for (index_t part = 0; part < Registers; ++part) {
        lanes_of<Width> left;
        load_lanes(from_a + k * stride_a + part * Width, left);
        sums[part][col] += left * factor;
      }
    }
}

// B = A T for `Registers` registers of rows and `Cols` columns of T.
template <int Width, int Registers, int Cols>
void multiply_tile(const_matrix_block a, const_matrix_block t, const strip_shape& shape,
                   matrix_block b) {
  lanes_of<Width> sums[Registers][Cols] = {};  // NOLINT(modernize-avoid-c-arrays): above
  add_terms<Width, 0, Cols / 2>(a, t, shape.first_half, sums);
  add_terms<Width, 0, Cols>(a, t, shape.all, sums);
  add_terms<Width, Cols / 2, Cols>(a, t, shape.second_half, sums);
  for (int col = 0; col < Cols; ++col)
    for (index_t part = 0; part < Registers; ++part)
      store_lanes(sums[part][col], &b(part * Width, col));
}

// The zeros of T are multiplied as well.
void multiply_row(const_matrix_block a, const_matrix_block t, index_t row, matrix_block b) {
  for (index_t col = 0; col < b.cols(); ++col) {
    double sum = 0.0;
    for (index_t k = 0; k < t.rows(); ++k) sum += a(row, k) * t(k, col);
    b(row, col) = sum;
  }
}

// A tile that would end behind the last row begins earlier instead, and writes some rows
// twice with the same numbers.
template <int Width, int Registers, int Cols>
void multiply_rows(const_matrix_block a, const_matrix_block t, const strip_shape& shape,
                   matrix_block b) {
  constexpr index_t height = index_t{Registers} * Width;
  const index_t rows = a.rows();
  if (rows < height) {
    if constexpr (Registers > 1)
      return multiply_rows<Width, 1, Cols>(a, t, shape, b);
    else
      for (index_t row = 0; row < rows; ++row) multiply_row(a, t, row, b);
    return;
  }
  for (index_t first = 0; first < rows; first += height) {
    const index_t row = std::min(first, rows - height);
    multiply_tile<Width, Registers, Cols>(a.part_rows(row, height), t, shape,
                                          b.part_rows(row, height));
  }
}

// One strip of columns of T, at most `Cols`.
template <int Width, int Cols>
void multiply_strip(const_matrix_block a, const_matrix_block t, const strip_shape& shape,
                    matrix_block b) {
  if constexpr (Cols > 1)
    if (b.cols() < Cols) return multiply_strip<Width, Cols - 1>(a, t, shape, b);
  multiply_rows<Width, tile_registers, Cols>(a, t, shape, b);
}

// T is triangular, or full if `which` is empty.
template <int Width>
void multiply_all(const_matrix_block a, std::optional<triangle> which, const_matrix_block t,
                  matrix_block b) {
  for (index_t col = 0; col < b.cols(); col += tile_targets<Width>) {
    const index_t cols = std::min<index_t>(tile_targets<Width>, b.cols() - col);
    const strip_shape shape = shape_of_strip(which, t.rows(), col, cols);
    multiply_strip<Width, tile_targets<Width>>(a, t.part_columns(col, cols), shape,
                                               b.part_columns(col, cols));
  }
}

}  // namespace

void add_narrow_products(const_matrix_block a, const_matrix_block b, matrix_block c) {
  run_vectorized([=](auto width) { add_all<width>(a, b, false, c); });
}

void add_narrow_lower_products(const_matrix_block a, const_matrix_block b, matrix_block c) {
  run_vectorized([=](auto width) { add_all<width>(a, b, true, c); });
}

void add_narrow_gram(const_matrix_block a, matrix_block c) {
  add_narrow_lower_products(a, a, c);
}

void multiply_narrow(const_matrix_block a, triangle which, const_matrix_block t,
                     matrix_block b) {
  run_vectorized([=](auto width) { multiply_all<width>(a, which, t, b); });
}

void multiply_narrow(const_matrix_block a, const_matrix_block t, matrix_block b) {
  run_vectorized([=](auto width) { multiply_all<width>(a, std::nullopt, t, b); });
}

}  // namespace corvane
