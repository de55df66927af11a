// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/observation_products.h"

#include <algorithm>
#include <cmath>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// Long enough for the kernels to run at speed, short enough for the second-level cache.
constexpr index_t rows_per_block = 1024;

// Calls use(first row, number of rows) for one block after the other.
template <class Function>
void for_each_row_block(index_t n, Function use) {
  for (index_t first = 0; first < n; first += rows_per_block)
    use(first, std::min(rows_per_block, n - first));
}

index_t rows_of_scratch(const_matrix_view X) { return std::min(rows_per_block, X.rows()); }

// Row k of `scaled` becomes |t_i|^1/2 x_i, i being the k-th of the rows listed.
void gather_scaled_rows(const_matrix_view X, const_index_view rows, const_vector_view roots,
                        matrix_block scaled) {
  for (index_t j = 0; j < X.cols(); ++j) {
    const const_vector_view from = X.column(j);
    const vector_view to = scaled.column(j);
    for (index_t k = 0; k < rows.size(); ++k) to[k] = roots[k] * from[rows[k]];
  }
}

// Rows of one block whose weights share a sign, with the roots of their magnitudes.
class signed_rows {
 public:
  signed_rows(scoped_allocator& scratch, index_t capacity, double sign)
      : rows_{scratch.take<index_t>(capacity)},
        roots_{scratch.vector(capacity)},
        sign_{sign} {}

  void clear() { count_ = 0; }
  void add(index_t row, double weight) {
    rows_[count_] = row;
    roots_[count_] = std::sqrt(sign_ * weight);
    ++count_;
  }
  // gram += sign times the sum of |t_i| x_i x_i' over the rows
  void add_to(matrix_block gram, const_matrix_view X, matrix_block scratch) const {
    if (count_ == 0) return;
    const matrix_block scaled = scratch.part_rows(0, count_);
    gather_scaled_rows(X, {rows_, count_}, roots_.part(0, count_), scaled);
    syrk(sign_, transposed, scaled, 1.0, gram);
  }

 private:
  index_t* rows_;
  vector_view roots_;
  double sign_;
  index_t count_ = 0;
};

// out_i = a_i . b_i over the rows of two matrices
void row_dots(const_matrix_block a, const_matrix_block b, vector_view out) {
  std::fill(out.begin(), out.end(), 0.0);
  for (index_t j = 0; j < a.cols(); ++j)
    for (index_t i = 0; i < a.rows(); ++i) out[i] += a(i, j) * b(i, j);
}

}  // namespace

// X' diag(t) X is the difference of two Gram matrices, one per sign of the weights, and a
// Gram matrix costs half of a general product.
void add_weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram) {
  scoped_allocator scratch;
  const index_t capacity = rows_of_scratch(X);
  const matrix_block scaled = scratch.matrix(capacity, X.cols());
  signed_rows positive{scratch, capacity, 1.0};
  signed_rows negative{scratch, capacity, -1.0};
  for_each_row_block(X.rows(), [&](index_t first, index_t count) {
    positive.clear();
    negative.clear();
    for (index_t i = first; i < first + count; ++i)
      // A NaN counts as positive, so that it reaches the result.
      (t[i] < 0.0 ? negative : positive).add(i, t[i]);
    positive.add_to(gram, X, scaled);
    negative.add_to(gram, X, scaled);
  });
}

void weighted_gram(const_matrix_view X, const_vector_view t, matrix_block gram) {
  fill_lower(gram, 0.0);
  add_weighted_gram(X, t, gram);
}

// x'Kx = 2 x'Tx with T the lower triangle of K, its diagonal halved: a triangular product
// is half the work of the symmetric one.
void quadratic_forms(const_matrix_view X, const_matrix_block K, vector_view out) {
  scoped_allocator scratch;
  const index_t p = X.cols();
  const matrix_view T = scratch.matrix(p, p);
  copy_lower(K, T);
  for (index_t j = 0; j < p; ++j) T(j, j) *= 0.5;
  const matrix_block product = scratch.matrix(rows_of_scratch(X), p);
  for_each_row_block(X.rows(), [&](index_t first, index_t count) {
    const const_matrix_block rows = const_matrix_block{X}.part_rows(first, count);
    const matrix_block XT = product.part_rows(0, count);
    copy(rows, XT);
    trmm(side::right, triangle::lower, plain, T, XT);
    const vector_view forms = out.part(first, count);
    row_dots(XT, rows, forms);
    for (double& form : forms) form *= 2.0;
  });
}

// The squared length of L^-1 x_i, which cannot become negative.
void inverse_quadratic_forms(const_matrix_view X, const_matrix_block L, vector_view out) {
  scoped_allocator scratch;
  const matrix_block product = scratch.matrix(rows_of_scratch(X), X.cols());
  for_each_row_block(X.rows(), [&](index_t first, index_t count) {
    const matrix_block whitened = product.part_rows(0, count);
    copy(const_matrix_block{X}.part_rows(first, count), whitened);
    trsm(side::right, triangle::lower, transposed, L, whitened);
    row_dots(whitened, whitened, out.part(first, count));
  });
}

}  // namespace corvane::model::linear_linked_regression_detail
