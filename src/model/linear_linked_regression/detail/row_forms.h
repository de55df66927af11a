// SPDX-License-Identifier: BSD-3-Clause
//
// Forms of the rows x_i of a block of the design, one number per row. A row's transform
// a_i = M x_i by a lower triangular M is summed up where it is made, in registers: BLAS
// would write it to memory and read it again.
#pragma once

#include "common/matrix_block.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// M is p by p, and holds zeros above its diagonal.
//
// out_i = |M x_i|^2
void squared_lengths(const_matrix_block X, const_matrix_view M, vector_view out);

// out_i = x_i' M x_i
void triangular_forms(const_matrix_block X, const_matrix_view M, vector_view out);

}  // namespace corvane::model::linear_linked_regression_detail
