// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/factorization/tall_factorization.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// A block that stays in the second-level cache, and is high enough for BLAS to be quick.
index_t block_rows(index_t cols) {
  constexpr index_t entries = 65536;
  return std::max<index_t>(256, entries / std::max<index_t>(cols, 1));
}

// One with rows enough to make stacking R on it cheap.
index_t stacked_rows(index_t cols) { return std::max(block_rows(cols), 2 * cols); }

// Up to this number of columns the loops of narrow_products are faster than a BLAS.
constexpr index_t narrow = 64;

// The lower triangle of G += T'T.
void add_gram(const_matrix_block block, matrix_block gram) {
  if (block.cols() <= narrow)
    add_narrow_gram(block, gram);
  else
    syrk(1.0, transposed, block, 1.0, gram);
}

// product = T F
void multiply_block(const_matrix_block block, const_matrix_block factor,
                    matrix_block product) {
  if (factor.cols() <= narrow)
    multiply_narrow(block, factor, product);
  else
    gemm(1.0, plain, block, plain, factor, 0.0, product);
}

// Calls visit(first, block) for all blocks of the matrix, from the top.
template <class Visit>
void for_each_block(const tall_matrix& matrix, const Visit& visit) {
  scoped_allocator scope;
  const index_t height = std::min(matrix.rows, block_rows(matrix.cols));
  const matrix_view room = scope.matrix(height, matrix.cols);
  for (index_t first = 0; first < matrix.rows; first += height) {
    const index_t count = std::min(height, matrix.rows - first);
    const matrix_block block{room.data(), count, matrix.cols, count};
    matrix.read(first, block);
    visit(first, block);
  }
}

// The lower triangle of T'T.
dense_matrix compute_gram(const tall_matrix& matrix) {
  dense_matrix gram{matrix.cols, matrix.cols};
  fill(gram, 0.0);
  for_each_block(
      matrix, [&](index_t /*first*/, const_matrix_block block) { add_gram(block, gram); });
  return gram;
}

// G = L L' with the columns brought to length 1 before: that leaves L as it is, up to
// rounding, and makes it independent of the columns' units. A column of zeros becomes one
// of the identity: it is orthogonal to all others. Returns the largest
// variance inflation factor, the largest diagonal entry of the inverse of the correlation
// matrix; infinity when G is not numerically positive definite, and when its squares have
// lost digits to underflow.
double factor_gram(matrix_block gram) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  constexpr double smallest =
      std::numeric_limits<double>::min() / std::numeric_limits<double>::epsilon();
  scoped_allocator scope;
  const index_t c = gram.cols();
  const vector_view length = scope.vector(c);
  for (index_t j = 0; j < c; ++j) {
    if (gram(j, j) == 0.0) gram(j, j) = 1.0;
    if (gram(j, j) < smallest) return infinite;
    length[j] = std::sqrt(gram(j, j));
  }
  for (index_t j = 0; j < c; ++j)
    for (index_t i = j; i < c; ++i) gram(i, j) = gram(i, j) / length[i] / length[j];
  if (potrf(gram) != 0) return infinite;

  const matrix_view inverse = scope.matrix(c, c);
  copy_lower(gram, inverse);
  potri(inverse);
  double inflation = 0.0;
  for (index_t j = 0; j < c; ++j) {
    if (!(inverse(j, j) < infinite)) return infinite;
    inflation = std::max(inflation, inverse(j, j));
  }
  for (index_t j = 0; j < c; ++j)
    for (index_t i = 0; i < c; ++i) gram(i, j) = i < j ? 0.0 : gram(i, j) * length[i];
  return inflation;
}

// The squared Frobenius norm of G - I, without the columns that are zero.
double squared_distance_from_identity(const_matrix_block gram) {
  double squares = 0.0;
  for (index_t j = 0; j < gram.cols(); ++j) {
    const double diagonal = gram(j, j) == 0.0 ? 0.0 : gram(j, j) - 1.0;
    squares += diagonal * diagonal;
    for (index_t i = j + 1; i < gram.cols(); ++i) squares += 2.0 * gram(i, j) * gram(i, j);
  }
  return squares;
}

// The blocks of the third method. Each but the first has R of those before it stacked on
// top.
struct stacked_blocks {
  index_t rows;    // m
  index_t cols;    // c
  index_t height;  // of a block, at least c in the first

  explicit stacked_blocks(const tall_matrix& matrix)
      : rows{matrix.rows},
        cols{matrix.cols},
        height{std::min(matrix.rows, stacked_rows(matrix.cols))} {}
  index_t count() const { return (rows + height - 1) / height; }
  index_t first(index_t k) const { return k * height; }
  index_t size(index_t k) const { return std::min(height, rows - first(k)); }
  index_t above(index_t k) const { return k > 0 ? cols : 0; }
  matrix_block stack(matrix_view room, index_t k) const {
    const index_t total = above(k) + size(k);
    return {room.data(), total, room.cols(), total};
  }
};

// Calls visit(k, reflectors, tau) after each block, and returns R. The reflectors that turn
// R of the rows above into R of these rows too keep the zeros below its diagonal, so that
// they are stored in the rows of the block.
template <class Visit>
dense_matrix reflect_blocks(const tall_matrix& matrix, const Visit& visit) {
  const stacked_blocks blocks{matrix};
  const index_t c = matrix.cols;
  scoped_allocator scope;
  const matrix_view room = scope.matrix(c + blocks.height, c);
  const vector_view tau = scope.vector(c);
  dense_matrix r{c, c};
  fill(r, 0.0);
  for (index_t k = 0; k < blocks.count(); ++k) {
    const matrix_block stack = blocks.stack(room, k);
    const matrix_block block = stack.part_rows(blocks.above(k), blocks.size(k));
    copy(const_matrix_block{r}.part_rows(0, blocks.above(k)),
         stack.part_rows(0, blocks.above(k)));
    matrix.read(blocks.first(k), block);
    geqrf(stack, tau);
    for (index_t j = 0; j < c; ++j)
      for (index_t i = 0; i <= j; ++i) r(i, j) = stack(i, j);
    visit(k, const_matrix_block{block}, const_vector_view{tau});
  }
  return r;
}

// Q C by the reflectors of all blocks, the last block first: each maps C, with zeros below,
// to the factor for the blocks above it and to its own rows of the product. Until then its
// reflectors are stored in these rows.
void multiply_reflections(const tall_matrix& matrix, const_matrix_block C,
                          matrix_block product) {
  const stacked_blocks blocks{matrix};
  const index_t c = matrix.cols;
  const auto rows_of = [&](index_t k) {
    return product.part_rows(blocks.first(k), blocks.size(k));
  };
  dense_matrix scalars{c, blocks.count()};
  reflect_blocks(matrix,
                 [&](index_t k, const_matrix_block reflectors, const_vector_view tau) {
                   copy(reflectors, rows_of(k).part_columns(0, c));
                   std::copy(tau.begin(), tau.end(), scalars.view().column(k).begin());
                 });

  scoped_allocator scope;
  const matrix_view stack_room = scope.matrix(c + blocks.height, c);
  const matrix_view room = scope.matrix(c + blocks.height, C.cols());
  dense_matrix above{C.rows(), C.cols()};
  copy(C, above);
  for (index_t k = blocks.count() - 1; k >= 0; --k) {
    const matrix_block stack = blocks.stack(stack_room, k);
    const matrix_block turned = blocks.stack(room, k);
    fill(stack.part_rows(0, blocks.above(k)), 0.0);
    copy(rows_of(k).part_columns(0, c), stack.part_rows(blocks.above(k), blocks.size(k)));
    fill(turned, 0.0);
    copy(above, turned.part_rows(0, c));
    ormqr(plain, stack, scalars.view().column(k), turned);
    copy(turned.part_rows(0, c), above);
    copy(turned.part_rows(blocks.above(k), blocks.size(k)), rows_of(k));
  }
}

}  // namespace

tall_factorization::tall_factorization(const tall_matrix& matrix)
    : tall_factorization{matrix, compute_gram(matrix)} {}

tall_factorization::tall_factorization(tall_matrix matrix, dense_matrix&& gram)
    : matrix_{std::move(matrix)}, triangle_{matrix_.cols, matrix_.cols} {
  if (matrix_.cols == 0) return;
  if (!factor_by_gram(std::move(gram))) factor_by_reflections();
}

// The rounding of a Gram matrix costs R as many digits as the inflation has: two at most.
bool tall_factorization::factor_by_gram(dense_matrix&& gram) {
  constexpr double harmless_inflation = 100.0;
  first_ = std::move(gram);
  for (index_t j = 0; j < first_.cols(); ++j)
    if (first_(j, j) == 0.0) zero_columns_.push_back(j);
  const double inflation = factor_gram(first_);
  if (inflation <= harmless_inflation) {
    method_ = tall_method::gram;
    set_triangle(first_);
    return true;
  }
  return inflation < std::numeric_limits<double>::infinity() && repeat_gram();
}

// W = T inverse(L'), and K from the Gram matrix of W. When that is near I, W has a
// condition near 1, K is as exact as the arithmetic, and Q = W inverse(K') is orthogonal to
// rounding.
bool tall_factorization::repeat_gram() {
  constexpr double nearness = 0.25;
  const index_t c = matrix_.cols;
  second_ = dense_matrix{c, c};
  fill(second_, 0.0);
  for_each_block(matrix_, [&](index_t /*first*/, matrix_block block) {
    trsm(side::right, triangle::lower, transposed, first_, block);
    add_gram(block, second_);
  });
  if (!(squared_distance_from_identity(second_) < nearness)) return false;
  if (factor_gram(second_) == std::numeric_limits<double>::infinity()) return false;
  method_ = tall_method::repeated_gram;
  dense_matrix product{first_};
  trmm(side::right, triangle::lower, plain, second_, product);
  set_triangle(product);
  return true;
}

// R = lower', with the zero on the diagonal of a column of zeros restored.
void tall_factorization::set_triangle(const_matrix_block lower) {
  for (index_t j = 0; j < lower.cols(); ++j)
    for (index_t i = 0; i < lower.cols(); ++i) triangle_(i, j) = i <= j ? lower(j, i) : 0.0;
  for (const index_t j : zero_columns_) triangle_(j, j) = 0.0;
}

void tall_factorization::factor_by_reflections() {
  method_ = tall_method::reflections;
  triangle_ =
      reflect_blocks(matrix_, [](index_t, const_matrix_block, const_vector_view) {});
}

void tall_factorization::multiply(const_matrix_block C, matrix_block product) const {
  if (method_ == tall_method::reflections)
    multiply_reflections(matrix_, C, product);
  else
    multiply_by_inverses(C, product);
}

// Q C = T inverse(L') (inverse(K') C), from left to right: T inverse(L') has to be the very
// matrix that K was computed from. Without K the order T (inverse(L') C) is as exact.
void tall_factorization::multiply_by_inverses(const_matrix_block C,
                                              matrix_block product) const {
  const bool repeated = method_ == tall_method::repeated_gram;
  scoped_allocator scope;
  const matrix_view factor = scope.matrix(C.rows(), C.cols());
  copy(C, factor);
  trsm(side::left, triangle::lower, transposed, repeated ? second_ : first_, factor);
  for_each_block(matrix_, [&](index_t first, matrix_block block) {
    if (repeated) trsm(side::right, triangle::lower, transposed, first_, block);
    multiply_block(block, factor, product.part_rows(first, block.rows()));
  });
}

}  // namespace corvane::model::ridge_regression_detail
