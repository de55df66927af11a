// SPDX-License-Identifier: BSD-3-Clause
//
// tall_factorization: T = Q R of a tall matrix that is read by blocks of rows and never
// held as a whole. R comes from the Gram matrix where the columns are far from dependent;
// from the Gram matrix of T R^-1 once more where they are not so far (CholeskyQR2: Y.
// Yamamoto et al., "Roundoff error analysis of the CholeskyQR2 algorithm", ETNA 44, 2015);
// and from Householder reflections of R stacked on each block where they may be dependent
// (J. Demmel et al., "Communication-optimal parallel and sequential QR and LU
// factorizations", SIAM J. Sci. Comput. 34, 2012, section 3). All three are as exact as one
// QR of the whole.
#pragma once

#include <functional>
#include <vector>

#include "common/matrix_block.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

// m by c, m at least c.
struct tall_matrix {
  index_t rows = 0;
  index_t cols = 0;
  // Writes the rows from `first` on into the block, as many as it has.
  std::function<void(index_t first, matrix_block block)> read;
};

enum class tall_method { gram, repeated_gram, reflections };

class tall_factorization {
 public:
  explicit tall_factorization(const tall_matrix& matrix);
  // With the lower triangle of T'T, where the caller has it.
  tall_factorization(tall_matrix matrix, dense_matrix&& gram);

  const dense_matrix& triangle() const { return triangle_; }  // R, zeros below the diagonal
  tall_method method() const { return method_; }

  // Q C into `product`, m by the columns of C, which are at least c. Where a column of T
  // depends on those before it, R has a zero row, and the column of Q there may be short.
  void multiply(const_matrix_block C, matrix_block product) const;

 private:
  bool factor_by_gram(dense_matrix&& gram);
  bool repeat_gram();
  void factor_by_reflections();
  void set_triangle(const_matrix_block lower);
  void multiply_by_inverses(const_matrix_block C, matrix_block product) const;

  tall_matrix matrix_;
  tall_method method_ = tall_method::gram;
  dense_matrix triangle_;
  // L and K of T = W L', W = Q K', for the two methods that end in Gram matrices.
  dense_matrix first_;
  dense_matrix second_;
  std::vector<index_t> zero_columns_;
};

}  // namespace corvane::model::ridge_regression_detail
