// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/factorization/tall_factorization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The last column is the first one and `share` of noise.
dense_matrix make_matrix(index_t rows, index_t cols, double share) {
  std::mt19937 generator(7);
  std::normal_distribution<double> normal;
  dense_matrix T(rows, cols);
  for (double& entry : T) entry = normal(generator);
  for (index_t i = 0; i < rows; ++i) T(i, cols - 1) = T(i, 0) + share * T(i, cols - 1);
  return T;
}

tall_factorization factor(const dense_matrix& T) {
  return tall_factorization({T.rows(), T.cols(), [&T](index_t first, matrix_block block) {
                               copy(const_matrix_block{T}.part_rows(first, block.rows()),
                                    block);
                             }});
}

dense_matrix make_q(const tall_factorization& qr, index_t rows) {
  const index_t c = qr.triangle().cols();
  dense_matrix identity(c, c);
  fill(identity, 0.0);
  for (index_t j = 0; j < c; ++j) identity(j, j) = 1.0;
  dense_matrix Q(rows, c);
  qr.multiply(identity, Q);
  return Q;
}

double largest_entry(const_matrix_view a) {
  double largest = 0.0;
  for (index_t k = 0; k < a.size(); ++k) largest = std::max(largest, std::abs(a.data()[k]));
  return largest;
}

// |T - Q R| relative to T
double residual(const dense_matrix& T, const tall_factorization& qr) {
  dense_matrix difference{T};
  gemm(-1.0, plain, make_q(qr, T.rows()), plain, qr.triangle(), 1.0, difference);
  return largest_entry(difference) / largest_entry(T);
}

// |Q'Q - I|
double departure_from_orthogonality(const dense_matrix& Q) {
  dense_matrix gram(Q.cols(), Q.cols());
  gemm(1.0, transposed, Q, plain, Q, 0.0, gram);
  for (index_t j = 0; j < Q.cols(); ++j) gram(j, j) -= 1.0;
  return largest_entry(gram);
}

void expect_exact(index_t rows, index_t cols, double share, tall_method method) {
  SCOPED_TRACE(share);
  const dense_matrix T = make_matrix(rows, cols, share);
  const tall_factorization qr = factor(T);
  EXPECT_EQ(qr.method(), method);
  EXPECT_LT(residual(T, qr), 2e-14);
  EXPECT_LT(departure_from_orthogonality(make_q(qr, rows)),
            method == tall_method::gram ? 1e-13 : 1e-14);
  for (index_t j = 0; j < cols; ++j)
    for (index_t i = j + 1; i < cols; ++i) EXPECT_EQ(qr.triangle()(i, j), 0.0);
}

TEST(tall_factorization, is_exact_whatever_the_condition) {
  for (const index_t rows : {9, 50, 30000}) {
    expect_exact(rows, 8, 1.0, tall_method::gram);
    expect_exact(rows, 8, 1e-4, tall_method::repeated_gram);
    expect_exact(rows, 8, 1e-6, tall_method::repeated_gram);
    expect_exact(rows, 8, 1e-11, tall_method::reflections);
  }
}

TEST(tall_factorization, takes_dependent_columns) {
  const dense_matrix T = make_matrix(3000, 60, 0.0);
  const tall_factorization qr = factor(T);
  EXPECT_EQ(qr.method(), tall_method::reflections);
  EXPECT_LT(residual(T, qr), 1e-14);
}

TEST(tall_factorization, factors_a_column_of_zeros) {
  dense_matrix T = make_matrix(500, 6, 1.0);
  const vector_view zeros = T.view().column(2);
  std::fill(zeros.begin(), zeros.end(), 0.0);
  const tall_factorization qr = factor(T);
  EXPECT_EQ(qr.method(), tall_method::gram);
  EXPECT_EQ(qr.triangle()(2, 2), 0.0);
  EXPECT_LT(residual(T, qr), 1e-14);
}

TEST(tall_factorization, does_not_depend_on_the_units_of_the_columns) {
  dense_matrix T = make_matrix(500, 6, 1.0);
  for (index_t j = 0; j < 6; ++j)
    for (double& entry : T.view().column(j))
      entry *= std::pow(10.0, 6 * static_cast<int>(j - 3));
  const tall_factorization qr = factor(T);
  EXPECT_EQ(qr.method(), tall_method::gram);
  EXPECT_LT(departure_from_orthogonality(make_q(qr, 500)), 1e-13);
}

}  // namespace

}  // namespace corvane::model::ridge_regression_detail
