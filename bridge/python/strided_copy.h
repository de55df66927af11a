// SPDX-License-Identifier: BSD-3-Clause
//
// The copy by which doubles of any layout come into column-major storage: element (i, j) is
// read at data + i row_stride + j column_stride, strides in bytes. They may be negative, as
// in a reversed array, zero, as in a broadcast one, or no multiple of 8, as in the field of
// a packed record.
#pragma once

#include <cstddef>

#include "n_array/n_array_view.h"

namespace corvane::python_bridge {

struct strided_doubles {
  const std::byte* data = nullptr;
  index_t rows = 0;
  index_t columns = 0;
  index_t row_stride = 0;
  index_t column_stride = 0;
};

// The transpose, as elements to read: row j of it is column j of the matrix.
strided_doubles transpose(const_matrix_view matrix);

// to = from; the shapes are equal.
void copy_strided(const strided_doubles& from, matrix_view to);

}  // namespace corvane::python_bridge
