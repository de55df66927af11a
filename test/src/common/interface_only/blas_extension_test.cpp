// SPDX-License-Identifier: BSD-3-Clause
//
// The two routines beyond standard BLAS: a product of which one triangle is computed, and
// the transposition in place.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "common/interface_only/blas.h"
#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::all_transpositions;
using test::all_triangles;
using test::element;
using test::expect_matrix;
using test::in_triangle;
using test::product;
using test::random_matrix;

template <class T>
class blas_extension : public testing::Test {};
using element_types = testing::Types<double, float>;
TYPED_TEST_SUITE(blas_extension, element_types);

// The triangle that `which` names is alpha op(A) op(B) + beta C; everything else keeps its
// bits, and is NaN where `other_triangle_is_nan`.
template <class T>
void check_gemmt(triangle which, transposition op_a, transposition op_b, int n, int k,
                 T alpha, T beta, bool other_triangle_is_nan) {
  const bool plain_a = op_a == transposition::none;
  const bool plain_b = op_b == transposition::none;
  const auto a = random_matrix<T>(plain_a ? n : k, plain_a ? k : n, 1);
  const auto b = random_matrix<T>(plain_b ? k : n, plain_b ? n : k, 2);
  auto c = random_matrix<T>(n, n, 3);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (in_triangle(which, i, j) ? beta == T{0} : other_triangle_is_nan)
        c(i, j) = std::numeric_limits<T>::quiet_NaN();
  const auto before = c;
  blas::gemmt<T>(which, op_a, op_b, n, k, a.begin(), a.stride, b.begin(), b.stride,
                 c.begin(), c.stride, alpha, beta);
  expect_matrix(
      c, before,
      [&](int i, int j) {
        const double sum = product(
            k, i, j, [&](int r, int l) { return element(a, op_a, r, l); },
            [&](int l, int s) { return element(b, op_b, l, s); });
        const double old = beta == T{0} ? 0.0 : static_cast<double>(beta * before(i, j));
        return static_cast<double>(alpha) * sum + old;
      },
      [&](int i, int j) { return in_triangle(which, i, j); });
}

TYPED_TEST(blas_extension, gemmt_computes_one_triangle_and_leaves_the_other_bit_for_bit) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const transposition op_a : all_transpositions)
      for (const transposition op_b : all_transpositions)
        for (const int n : {0, 1, 3, 8})
          for (const int k : {0, 1, 5})
            for (const bool nan : {false, true})
              check_gemmt<T>(which, op_a, op_b, n, k, T(-0.75), T(0.5), nan);
}

TYPED_TEST(blas_extension, gemmt_with_beta_zero_ignores_nan_in_the_result) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const int n : {1, 8, 130})
      check_gemmt<T>(which, transposition::none, transposition::transpose, n, 3, T{1}, T{0},
                     true);
}

TYPED_TEST(blas_extension, gemmt_is_right_for_larger_sizes) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const transposition op_a : all_transpositions)
      for (const transposition op_b : all_transpositions)
        for (const int n : {63, 64, 65, 128, 129})
          check_gemmt<T>(which, op_a, op_b, n, 4, T{2}, T{1}, true);
}

TYPED_TEST(blas_extension, gemmt_with_alpha_zero_only_scales) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    check_gemmt<T>(which, transposition::none, transposition::none, 70, 3, T{0}, T(0.5),
                   true);
}

TYPED_TEST(blas_extension, imatcopy_scales_and_transposes_in_place) {
  using T = TypeParam;
  const auto check = [](transposition op, int rows, int cols, int lda, int ldb, T alpha) {
    const bool turned = op != transposition::none;
    const int rows_after = turned ? cols : rows;
    const int cols_after = turned ? rows : cols;
    const auto at = [](int i, int j, int stride) {
      return static_cast<std::size_t>(j) * static_cast<std::size_t>(stride) +
             static_cast<std::size_t>(i);
    };
    // Large enough for both leading dimensions.
    std::vector<T> a(400);
    for (std::size_t i = 0; i < a.size(); ++i) a[i] = static_cast<T>(i);
    const std::vector<T> before = a;
    blas::imatcopy<T>(op, rows, cols, a.data(), lda, ldb, alpha);
    for (int j = 0; j < cols_after; ++j)
      for (int i = 0; i < rows_after; ++i)
        ASSERT_EQ(a[at(i, j, ldb)], alpha * before[turned ? at(j, i, lda) : at(i, j, lda)]);
  };
  for (const transposition op : all_transpositions)
    for (const auto& [rows, cols] : std::vector<std::tuple<int, int>>{
             {0, 0}, {0, 3}, {3, 0}, {1, 1}, {1, 5}, {4, 7}, {7, 4}})
      for (const int extra : {0, 3})
        for (const T alpha : {T{1}, T(-0.5)}) {
          const int least = std::max(op == transposition::none ? rows : cols, 1);
          check(op, rows, cols, std::max(rows, 1) + extra, least, alpha);
          check(op, rows, cols, std::max(rows, 1), least + extra, alpha);
        }
}

TYPED_TEST(blas_extension, imatcopy_leaves_what_lies_between_the_columns) {
  using T = TypeParam;
  auto a = random_matrix<T>(5, 5, 1);
  const auto before = a;
  blas::imatcopy<T>(transposition::transpose, 5, 5, a.begin(), a.stride, a.stride, T{2});
  expect_matrix(a, before,
                [&](int i, int j) { return 2.0 * static_cast<double>(before(j, i)); });
}

TYPED_TEST(blas_extension, imatcopy_twice_gives_the_matrix_back) {
  using T = TypeParam;
  const auto before = random_matrix<T>(6, 6, 1);
  auto a = before;
  for (int turn = 0; turn < 2; ++turn)
    blas::imatcopy<T>(transposition::transpose, 6, 6, a.begin(), a.stride, a.stride, T{1});
  EXPECT_EQ(std::memcmp(a.begin(), before.begin(), before.data.size() * sizeof(T)), 0);
}

}  // namespace
}  // namespace corvane
