// SPDX-License-Identifier: BSD-3-Clause
#include "python/strided_copy.h"

#include <algorithm>
#include <cstring>

namespace corvane::python_bridge {

namespace {

constexpr index_t element_bytes = sizeof(double);

// A tile of 16 by 16 is 2 KiB on either side. Its cache lines, 16 rows of two and 16
// columns of two, survive until each is used up also where strides are powers of two and
// the lines compete for the same few places of the cache.
constexpr index_t tile_extent = 16;

const std::byte* address(const strided_doubles& from, index_t i, index_t j) {
  return from.data + i * from.row_stride + j * from.column_stride;
}

// The rows [row, row_end) of column j. Elements may lie at any address: memcpy reads them.
void copy_part_of_column(const strided_doubles& from, index_t row, index_t row_end,
                         index_t j, matrix_view to) {
  const std::byte* source = address(from, row, j);
  double* const destination = &to(row, j);
  for (index_t i = 0; i < row_end - row; ++i)
    std::memcpy(destination + i, source + i * from.row_stride, sizeof(double));
}

void copy_tiles(const strided_doubles& from, matrix_view to) {
  for (index_t row = 0; row < from.rows; row += tile_extent) {
    const index_t row_end = std::min(row + tile_extent, from.rows);
    for (index_t column = 0; column < from.columns; column += tile_extent) {
      const index_t column_end = std::min(column + tile_extent, from.columns);
      for (index_t j = column; j < column_end; ++j)
        copy_part_of_column(from, row, row_end, j, to);
    }
  }
}

}  // namespace

strided_doubles transpose(const_matrix_view matrix) {
  return {.data = reinterpret_cast<const std::byte*>(matrix.data()),
          .rows = matrix.cols(),
          .columns = matrix.rows(),
          .row_stride = matrix.rows() * element_bytes,
          .column_stride = element_bytes};
}

void copy_strided(const strided_doubles& from, matrix_view to) {
  if (to.size() == 0) return;
  if (from.row_stride != element_bytes) {
    copy_tiles(from, to);
    return;
  }
  const auto column_bytes = static_cast<std::size_t>(from.rows * element_bytes);
  for (index_t j = 0; j < from.columns; ++j)
    std::memcpy(to.column(j).data(), address(from, 0, j), column_bytes);
}

}  // namespace corvane::python_bridge
