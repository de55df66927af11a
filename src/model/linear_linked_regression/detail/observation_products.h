// SPDX-License-Identifier: BSD-3-Clause
//
// Products of the design matrix X, n observations by p features, that are p by p or of
// length n. They walk X in blocks of rows: scratch memory grows with p alone, and a block
// stays in the cache while the level 3 kernels work on it. K and L are p by p, their lower
// triangles.
#pragma once

#include "common/matrix_block.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// The lower triangle of gram += X' diag(t) X. Weights may have either sign.
void add_weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram);

// The lower triangle of gram = X' diag(t) X
void weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram);

// out_i = x_i' K x_i, K symmetric
void quadratic_forms(const_matrix_view X, const_matrix_block K, vector_view out);

// out_i = x_i' (L L')^-1 x_i
void inverse_quadratic_forms(const_matrix_view X, const_matrix_block L, vector_view out);

}  // namespace corvane::model::linear_linked_regression_detail
