// SPDX-License-Identifier: BSD-3-Clause
//
// Products of the design matrix X, n observations by p features, that are p by p or of
// length n. They walk X in blocks of rows: scratch memory grows with p alone, and a block
// stays in the cache while it is worked on. K and L are p by p, their lower triangles.
#pragma once

#include <algorithm>

#include "common/interruption.h"
#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// Long enough to spread what a product costs besides its rows, short enough for a block and
// its scaled copy to stay in the second-level cache.
inline constexpr index_t rows_per_block = 512;

// Calls use(rows, first) for one block of rows after the other, `first` being the row of X
// that it begins with. Checks `interrupt` before each block.
template <class Function>
void for_each_row_block(const_matrix_view X, interruption* interrupt, Function use) {
  for (index_t first = 0; first < X.rows(); first += rows_per_block) {
    check(interrupt);
    use(const_matrix_block{X}.part_rows(first, std::min(rows_per_block, X.rows() - first)),
        first);
  }
}

// For one block of rows: the lower triangle of gram += X' diag(t) X. Weights may have
// either sign. Entries above the diagonal are left unspecified.
void add_weighted_gram(const_matrix_block rows, const_vector_view t, matrix_block gram);
// For one block: product += X' u
void add_product(const_matrix_block rows, const_vector_view u, vector_view product);

// The lower triangle of gram = X' diag(t) X
void weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram,
                   interruption* interrupt = nullptr);

// T with x'Tx = x'Kx for each x and zeros above its diagonal, which is half the work.
matrix_view triangular_form(scoped_allocator& scratch, const_matrix_block K);

// out_i = x_i' K x_i, K symmetric
void quadratic_forms(const_matrix_view X, const_matrix_block K, vector_view out,
                     interruption* interrupt = nullptr);

// out_i = x_i' (L L')^-1 x_i
void inverse_quadratic_forms(const_matrix_view X, const_matrix_block L, vector_view out,
                             interruption* interrupt = nullptr);

}  // namespace corvane::model::linear_linked_regression_detail
