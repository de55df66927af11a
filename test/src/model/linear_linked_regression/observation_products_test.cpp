// SPDX-License-Identifier: BSD-3-Clause
//
// Products of the design that walk it by blocks of rows and by tiles, against plain sums:
// shapes on either side of a block, a strip and a tile.
#include "model/linear_linked_regression/detail/observation_products.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "common/linear_algebra.h"
#include "model/linear_linked_regression/detail/row_forms.h"
#include "n_array/n_array.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

dense_matrix normal_matrix(index_t rows, index_t cols, std::uint64_t seed) {
  std::mt19937_64 generator{seed};
  std::normal_distribution<double> normal;
  dense_matrix made{rows, cols};
  for (double& entry : made) entry = normal(generator);
  return made;
}

struct shape {
  index_t n, p;
};

constexpr shape shapes[] = {  // NOLINT(modernize-avoid-c-arrays)
    {1, 1}, {3, 2}, {31, 5}, {33, 4}, {70, 9}, {511, 3}, {512, 7}, {1030, 6}};

// Weights of both signs.
TEST(observation_products, sum_the_weighted_gram_matrix_of_each_shape) {
  for (const auto [n, p] : shapes) {
    const dense_matrix X = normal_matrix(n, p, 1);
    const dense_matrix t = normal_matrix(n, 1, 2);
    symmetric_matrix gram{p, p};
    weighted_gram(X, t.view().column(0), gram);
    for (index_t j = 0; j < p; ++j)
      for (index_t k = j; k < p; ++k) {
        double sum = 0.0;
        for (index_t i = 0; i < n; ++i) sum += X(i, j) * t(i, 0) * X(i, k);
        EXPECT_NEAR(gram(k, j), sum, 1e-11) << n << " by " << p;
      }
  }
}

TEST(observation_products, sum_a_gram_matrix_too_wide_for_the_cache) {
  constexpr index_t n = 40;
  constexpr index_t p = 300;
  const dense_matrix X = normal_matrix(n, p, 1);
  const dense_matrix t = normal_matrix(n, 1, 2);
  symmetric_matrix gram{p, p};
  weighted_gram(X, t.view().column(0), gram);
  for (index_t j = 0; j < p; j += 37)
    for (index_t k = j; k < p; k += 11) {
      double sum = 0.0;
      for (index_t i = 0; i < n; ++i) sum += X(i, j) * t(i, 0) * X(i, k);
      EXPECT_NEAR(gram(k, j), sum, 1e-11);
    }
}

TEST(observation_products, make_the_quadratic_form_of_each_row) {
  for (const auto [n, p] : shapes) {
    const dense_matrix X = normal_matrix(n, p, 3);
    const dense_matrix K = normal_matrix(p, p, 4);
    dense_vector out{n};
    quadratic_forms(X, K, out);
    for (index_t i = 0; i < n; ++i) {
      double form = 0.0;
      for (index_t j = 0; j < p; ++j)
        for (index_t k = 0; k < p; ++k)
          form += X(i, j) * K(std::max(j, k), std::min(j, k)) * X(i, k);
      EXPECT_NEAR(out[i], form, 1e-11) << n << " by " << p;
    }
  }
}

// H = L L', whose inverse is applied by substitution here.
TEST(observation_products, make_the_leverage_of_each_row) {
  for (const auto [n, p] : shapes) {
    const dense_matrix X = normal_matrix(n, p, 5);
    dense_matrix L = normal_matrix(p, p, 6);
    for (index_t j = 0; j < p; ++j) L(j, j) = 2.0 + std::abs(L(j, j));
    dense_vector out{n};
    inverse_quadratic_forms(X, const_matrix_view{L}, out);
    dense_vector a{p};
    for (index_t i = 0; i < n; ++i) {
      for (index_t j = 0; j < p; ++j) a[j] = X(i, j);
      trsv(triangle::lower, plain, const_matrix_view{L}, a);
      EXPECT_NEAR(out[i], dot(a, a), 1e-11 * (1.0 + out[i])) << n << " by " << p;
    }
  }
}

// What stands beside a block in memory has no part in its forms.
TEST(row_forms, read_the_rows_of_their_block_alone) {
  dense_matrix X = normal_matrix(40, 3, 7);
  const dense_matrix M = [] {
    dense_matrix lower = normal_matrix(3, 3, 8);
    for (index_t j = 1; j < 3; ++j)
      for (index_t i = 0; i < j; ++i) lower(i, j) = 0.0;
    return lower;
  }();
  dense_vector before{9};
  dense_vector after{9};
  const auto block = [&X] {
    const dense_matrix& fixed = X;
    return const_matrix_block{fixed}.part_rows(20, 9);
  };
  squared_lengths(block(), M, before);
  for (index_t j = 0; j < 3; ++j)
    for (const index_t i : {19, 29, 30}) X(i, j) = std::nan("");
  squared_lengths(block(), M, after);
  for (index_t i = 0; i < 9; ++i) EXPECT_EQ(before[i], after[i]);
}

}  // namespace

}  // namespace corvane::model::linear_linked_regression_detail
