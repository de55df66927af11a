// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/row_forms.h"

#include <algorithm>

#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "common/vector_register.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

enum class form { squared_length, bilinear };

// Entries of a_i that are made together, and the registers of rows that share them: with
// those for x and M they fill the registers of the processor, of which AVX-512 has more.
constexpr int tile_entries = 4;
template <int Width>
constexpr int registers_of_rows = Width == 8 ? 4 : 2;

// Adds the part that entries `first` to `first + Entries - 1` of a_i have in the forms of
// one strip of rows. `x` is the strip's corner of X.
template <int Width, int Entries, form Form>
void add_entries(const double* x, index_t stride, const_matrix_view M, index_t first,
                 double* out) {
  using lanes = typename vector_register<Width>::lanes;
  constexpr int num_registers = registers_of_rows<Width>;
  lanes a[Entries][num_registers] = {};  // NOLINT(modernize-avoid-c-arrays): std::array
                                         // drops the attribute of the element type
  for (index_t k = 0; k < first + Entries; ++k) {
    const double* const column = x + k * stride;
    const double* const factors = M.data() + k * M.rows() + first;
    for (index_t r = 0; r < num_registers; ++r) {
      lanes xk;
      load_lanes(column + r * Width, xk);
      for (int e = 0; e < Entries; ++e) a[e][r] += factors[e] * xk;
    }
  }
  for (index_t r = 0; r < num_registers; ++r) {
    lanes sum;
    load_lanes(out + r * Width, sum);
    for (int e = 0; e < Entries; ++e) {
      lanes partner = a[e][r];
      if constexpr (Form == form::bilinear)
        load_lanes(x + (first + e) * stride + r * Width, partner);
      sum += a[e][r] * partner;
    }
    store_lanes(sum, out + r * Width);
  }
}

template <int Width, form Form>
void add_strip(const double* x, index_t stride, const_matrix_view M, double* out) {
  const index_t p = M.rows();
  index_t first = 0;
  for (; first + tile_entries <= p; first += tile_entries)
    add_entries<Width, tile_entries, Form>(x, stride, M, first, out);
  for (; first < p; ++first) add_entries<Width, 1, Form>(x, stride, M, first, out);
}

// The rows that do not fill a strip go through one of their own, filled up with zeros.
template <int Width, form Form>
void write_forms(const_matrix_block X, const_matrix_view M, vector_view out,
                 matrix_view last_strip, vector_view last_out) {
  constexpr index_t strip = index_t{Width} * registers_of_rows<Width>;
  std::fill(out.begin(), out.end(), 0.0);
  index_t row = 0;
  for (; row + strip <= X.rows(); row += strip)
    add_strip<Width, Form>(X.data() + row, X.stride(), M, out.data() + row);
  const index_t rest = X.rows() - row;
  if (rest == 0) return;
  fill(last_strip, 0.0);
  copy(const_matrix_block{X}.part_rows(row, rest),
       matrix_block{last_strip}.part_rows(0, rest));
  std::fill(last_out.begin(), last_out.end(), 0.0);
  add_strip<Width, Form>(last_strip.data(), last_strip.rows(), M, last_out.data());
  std::copy_n(last_out.begin(), rest, out.begin() + row);
}

template <form Form>
void write_forms(const_matrix_block X, const_matrix_view M, vector_view out) {
  constexpr index_t longest_strip = index_t{8} * registers_of_rows<8>;
  scoped_allocator scratch;
  const matrix_view last_strip = scratch.matrix(longest_strip, X.cols());
  const vector_view last_out = scratch.vector(longest_strip);
  run_vectorized(
      [=](auto width) { write_forms<width, Form>(X, M, out, last_strip, last_out); });
}

}  // namespace

void squared_lengths(const_matrix_block X, const_matrix_view M, vector_view out) {
  write_forms<form::squared_length>(X, M, out);
}

void triangular_forms(const_matrix_block X, const_matrix_view M, vector_view out) {
  write_forms<form::bilinear>(X, M, out);
}

}  // namespace corvane::model::linear_linked_regression_detail
