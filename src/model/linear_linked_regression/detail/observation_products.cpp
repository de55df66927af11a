// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/observation_products.h"

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/vector_dispatch.h"
#include "model/linear_linked_regression/detail/row_forms.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// Wider blocks leave the cache, and are worth a BLAS's packing and its threads.
constexpr index_t widest_in_cache = 256;

// Row i of `scaled` becomes t_i x_i.
void scale_rows(const_matrix_block X, const_vector_view t, matrix_block scaled) {
  run_vectorized([=](auto /*width*/) {
    for (index_t j = 0; j < X.cols(); ++j) {
      const double* const from = X.column(j).data();
      double* const to = scaled.column(j).data();
      for (index_t i = 0; i < X.rows(); ++i) to[i] = t[i] * from[i];
    }
  });
}

template <class T>
basic_matrix_block<T> as_column(n_array_view<T, 1, general_structure> vector) {
  return {vector.data(), vector.size(), 1, vector.size()};
}

// A lower triangle with zeros above it.
matrix_view full_lower(scoped_allocator& scratch, const_matrix_block triangle) {
  const matrix_view full = scratch.matrix(triangle.rows(), triangle.cols());
  fill(full, 0.0);
  copy_lower(triangle, full);
  return full;
}

}  // namespace

void add_weighted_gram(const_matrix_block rows, const_vector_view t, matrix_block gram) {
  scoped_allocator scratch;
  const matrix_block scaled = scratch.matrix(rows.rows(), rows.cols());
  scale_rows(rows, t, scaled);
  if (rows.cols() <= widest_in_cache)
    add_narrow_lower_products(scaled, rows, gram);
  else
    gemmt(1.0, transposed, scaled, plain, rows, 1.0, gram);
}

void add_product(const_matrix_block rows, const_vector_view u, vector_view product) {
  add_narrow_products(rows, as_column(u), as_column(product));
}

void weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram,
                   interruption* interrupt) {
  fill_lower(gram, 0.0);
  for_each_row_block(X, interrupt, [=](const_matrix_block rows, index_t first) {
    add_weighted_gram(rows, t.part(first, rows.rows()), gram);
  });
}

matrix_view triangular_form(scoped_allocator& scratch, const_matrix_block K) {
  const matrix_view T = full_lower(scratch, K);
  for (index_t j = 0; j < T.cols(); ++j)
    for (index_t i = j + 1; i < T.rows(); ++i) T(i, j) *= 2.0;
  return T;
}

void quadratic_forms(const_matrix_view X, const_matrix_block K, vector_view out,
                     interruption* interrupt) {
  scoped_allocator scratch;
  const matrix_view T = triangular_form(scratch, K);
  for_each_row_block(X, interrupt, [=](const_matrix_block rows, index_t first) {
    triangular_forms(rows, T, out.part(first, rows.rows()));
  });
}

// The squared length of L^-1 x_i, which cannot become negative.
void inverse_quadratic_forms(const_matrix_view X, const_matrix_block L, vector_view out,
                             interruption* interrupt) {
  scoped_allocator scratch;
  const matrix_view inverse = full_lower(scratch, L);
  trtri(triangle::lower, inverse);
  for_each_row_block(X, interrupt, [=](const_matrix_block rows, index_t first) {
    squared_lengths(rows, inverse, out.part(first, rows.rows()));
  });
}

}  // namespace corvane::model::linear_linked_regression_detail
