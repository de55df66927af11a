// SPDX-License-Identifier: BSD-3-Clause
//
// Products with a sparse matrix. The enumerations are mapped here to those of the kernel. A
// value without a counterpart, or a status other than success, is a broken invariant and
// panics.
#pragma once

#include <cstdint>

#include "common/blas_arguments.h"
#include "common/interface_only/diagonal_kind.h"
#include "common/interface_only/sparse_matrix_handle.h"
#include "common/matrix_block.h"

namespace corvane {

enum class sparse_matrix_type : std::int32_t { general = 0, symmetric = 1, triangular = 2 };

// How the stored entries are to be read. Of a symmetric or triangular matrix only the named
// triangle is read. A unit diagonal replaces whatever is stored there. For a general matrix
// `fill` and `diagonal` are ignored.
struct sparse_matrix_form {
  sparse_matrix_type type = sparse_matrix_type::general;
  triangle fill = triangle::lower;
  diagonal_kind diagonal = diagonal_kind::general;
};

compressed_rows::descriptor make_descriptor(sparse_matrix_form form);

// Y = alpha op(A) X + beta Y, X and Y dense. With beta 0 the old Y is not read.
void sparse_matrix_matrix_multiply(transposition op, double alpha,
                                   const sparse_matrix_handle& a, sparse_matrix_form form,
                                   const_matrix_block x, double beta, matrix_block y);

}  // namespace corvane
