// SPDX-License-Identifier: BSD-3-Clause
//
// The compressed-sparse-row kernel: a matrix object over the caller's arrays, and its
// product with a dense matrix. Every routine returns a status.
//
// Row i of the matrix holds the entries k with row_pointers[i] <= k < row_pointers[i + 1],
// entry k being values[k] in column column_indices[k]; all indices count from zero. Columns
// need not ascend within a row; entries of equal position add up.
#pragma once

#include <cstdint>

#include "common/blas_arguments.h"
#include "common/matrix_block.h"

namespace corvane::compressed_rows {

enum class status : std::int32_t { success = 0, not_initialized = 1, invalid_value = 3 };

// Which stored entries are read, as enumerations of the kernel.
enum class structure : std::int32_t { general = 20, symmetric = 21, triangular = 23 };
enum class stored_triangle : std::int32_t { lower = 40, upper = 41 };
enum class stored_diagonal : std::int32_t { non_unit = 50, unit = 51 };

// A general matrix has zeros in the other two fields.
struct descriptor {
  structure type = structure::general;
  stored_triangle fill{};
  stored_diagonal diagonal{};
};

// It does not own the arrays: they must outlive it.
struct object {
  index_t rows = 0;
  index_t columns = 0;
  const_vector_view values;
  const_index_view column_indices;
  const_index_view row_pointers;  // rows + 1 offsets
  bool is_live = false;           // from `create` until `destroy`
};

// Makes a live object of `parts` in `made`. Arrays of the wrong length, decreasing offsets
// and a column outside of the matrix are invalid values: no later product reads outside of
// the arrays.
status create(object*& made, const object& parts);

// Releases what `create` made, not the arrays. An object that is not live is an invalid
// value.
status destroy(object* made);

// Y = alpha op(A) X + beta Y. With beta 0 the old Y is not read.
status multiply(transposition op, double alpha, const object* a, descriptor how,
                const_matrix_block x, double beta, matrix_block y);

}  // namespace corvane::compressed_rows
