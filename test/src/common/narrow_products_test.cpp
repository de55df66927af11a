// SPDX-License-Identifier: BSD-3-Clause
#include "common/narrow_products.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "n_array/n_array.h"

namespace corvane {
namespace {

dense_matrix normal_matrix(index_t rows, index_t cols, std::uint64_t seed) {
  std::mt19937_64 generator{seed};
  std::normal_distribution<double> normal;
  dense_matrix made(rows, cols);
  for (double& entry : made) entry = normal(generator);
  return made;
}

double plain_product(const_matrix_block a, index_t i, const_matrix_block b, index_t j) {
  long double sum = 0.0L;
  for (index_t row = 0; row < a.rows(); ++row)
    sum += static_cast<long double>(a(row, i)) * static_cast<long double>(b(row, j));
  return static_cast<double>(sum);
}

TEST(narrow_products, are_the_inner_products_of_the_columns_for_all_shapes) {
  for (const index_t rows : {0, 1, 3, 4, 7, 8, 15, 64, 517})
    for (const index_t left : {0, 1, 2, 3, 4, 7, 20})
      for (const index_t right : {0, 1, 2, 3, 4, 5, 9}) {
        const dense_matrix a = normal_matrix(rows, left, 1);
        const dense_matrix b = normal_matrix(rows, right, 2);
        dense_matrix c(left, right);
        for (double& entry : c) entry = 0.25;
        add_narrow_products(a, b, c);
        for (index_t i = 0; i < left; ++i)
          for (index_t j = 0; j < right; ++j)
            EXPECT_NEAR(c(i, j), 0.25 + plain_product(a, i, b, j), 1e-12)
                << rows << " " << left << " " << right;
      }
}

TEST(narrow_products, take_parts_of_larger_matrices_that_are_not_aligned) {
  const dense_matrix whole = normal_matrix(101, 12, 3);
  const auto a = const_matrix_block{whole}.part(1, 0, 61, 5);
  const auto b = const_matrix_block{whole}.part(2, 5, 61, 6);
  dense_matrix out(9, 9);
  for (double& entry : out) entry = 7.0;
  add_narrow_products(a, b, matrix_block{out}.part(2, 1, 5, 6));
  for (index_t i = 0; i < 9; ++i)
    for (index_t j = 0; j < 9; ++j) {
      const bool inside = i >= 2 && i < 7 && j >= 1 && j < 7;
      EXPECT_NEAR(out(i, j), inside ? 7.0 + plain_product(a, i - 2, b, j - 1) : 7.0, 1e-12);
    }
}

TEST(narrow_products, the_gram_matrix_is_the_lower_triangle_of_the_products) {
  for (const index_t cols : {0, 1, 3, 4, 5, 10}) {
    const dense_matrix a = normal_matrix(130, cols, 4);
    dense_matrix c(cols, cols);
    for (double& entry : c) entry = -1.0;
    add_narrow_gram(a, c);
    for (index_t j = 0; j < cols; ++j)
      for (index_t i = j; i < cols; ++i)
        EXPECT_NEAR(c(i, j), plain_product(a, i, a, j) - 1.0, 1e-12) << cols;
  }
}

TEST(narrow_products, the_lower_products_are_those_of_two_matrices_below_the_diagonal) {
  for (const index_t rows : {0, 5, 16, 130})
    for (const index_t cols : {0, 1, 3, 4, 6, 7, 13, 50}) {
      const dense_matrix a = normal_matrix(rows, cols, 5);
      const dense_matrix b = normal_matrix(rows, cols, 6);
      dense_matrix c(cols, cols);
      for (double& entry : c) entry = 0.5;
      add_narrow_lower_products(a, b, c);
      for (index_t j = 0; j < cols; ++j)
        for (index_t i = j; i < cols; ++i)
          EXPECT_NEAR(c(i, j), 0.5 + plain_product(a, i, b, j), 1e-12)
              << rows << " " << cols;
    }
}

dense_matrix transpose_of(const_matrix_block a) {
  dense_matrix rows(a.cols(), a.rows());
  for (index_t j = 0; j < a.cols(); ++j)
    for (index_t i = 0; i < a.rows(); ++i) rows(j, i) = a(i, j);
  return rows;
}

void expect_product_with_triangle(const_matrix_block a, triangle which) {
  const index_t cols = a.cols();
  dense_matrix t = normal_matrix(cols, cols, 8);
  const dense_matrix rows_of_a = transpose_of(a);
  for (index_t j = 0; j < cols; ++j)
    for (index_t i = 0; i < cols; ++i)
      if (which == triangle::upper ? i > j : i < j) t(i, j) = 0.0;
  dense_matrix b(a.rows(), cols);
  for (double& entry : b) entry = 9.0;
  multiply_narrow(a, which, t, b);
  for (index_t i = 0; i < a.rows(); ++i)
    for (index_t j = 0; j < cols; ++j)
      EXPECT_NEAR(b(i, j), plain_product(rows_of_a, i, t, j), 1e-12)
          << a.rows() << " by " << cols << ", " << i << " " << j;
}

TEST(narrow_products, multiply_by_a_triangle_of_either_kind_for_all_shapes) {
  for (const index_t rows : {0, 1, 7, 8, 9, 23, 24, 25, 61, 240})
    for (const index_t cols : {0, 1, 3, 4, 7, 8, 9, 17, 50})
      for (const triangle which : {triangle::upper, triangle::lower})
        expect_product_with_triangle(normal_matrix(rows, cols, 7), which);
}

TEST(narrow_products, multiply_a_part_of_a_larger_matrix_that_is_not_aligned) {
  const dense_matrix whole = normal_matrix(101, 12, 9);
  expect_product_with_triangle(const_matrix_block{whole}.part(3, 1, 77, 10),
                               triangle::lower);
}

TEST(narrow_products, multiply_by_any_matrix) {
  for (const index_t rows : {0, 3, 24, 61})
    for (const index_t inner : {0, 1, 9})
      for (const index_t cols : {0, 1, 8, 13}) {
        const dense_matrix a = normal_matrix(rows, inner, 10);
        const dense_matrix t = normal_matrix(inner, cols, 11);
        const dense_matrix rows_of_a = transpose_of(a);
        dense_matrix b(rows, cols);
        multiply_narrow(a, t, b);
        for (index_t i = 0; i < rows; ++i)
          for (index_t j = 0; j < cols; ++j)
            EXPECT_NEAR(b(i, j), plain_product(rows_of_a, i, t, j), 1e-12)
                << rows << " " << inner << " " << cols;
      }
}

}  // namespace
}  // namespace corvane
