// SPDX-License-Identifier: BSD-3-Clause
//
// The forwarders to triangular routines: the products against plain loops, the solutions
// multiplied back.
#include <gtest/gtest.h>

#include <array>
#include <csignal>

#include "common/interface_only/blas.h"
#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::all_diagonals;
using test::all_transpositions;
using test::all_triangles;
using test::expect_matrix;
using test::padded_matrix;
using test::product;
using test::random_matrix;
using test::random_triangle;
using test::triangular_element;

constexpr std::array sizes{0, 1, 3, 8};

template <class T>
class blas_triangular : public testing::Test {};
using element_types = testing::Types<double, float>;
TYPED_TEST_SUITE(blas_triangular, element_types);

// Runs `check(which, op, diag)` for all kinds of triangular matrix.
template <class Check>
void for_triangular(Check check) {
  for (const triangle which : all_triangles)
    for (const transposition op : all_transpositions)
      for (const diagonal_kind diag : all_diagonals) check(which, op, diag);
}

// alpha op(A) B with A at the left, alpha B op(A) with A at the right.
template <class T, class A>
auto product_at(side where, int order, T alpha, A at_a, const padded_matrix<T>& b) {
  return [=, &b](int i, int j) {
    const auto at_b = [&](int r, int s) { return b(r, s); };
    return static_cast<double>(alpha) * (where == side::left
                                             ? product(order, i, j, at_a, at_b)
                                             : product(order, i, j, at_b, at_a));
  };
}

TYPED_TEST(blas_triangular, trmv_multiplies_a_vector) {
  using T = TypeParam;
  for_triangular([](triangle which, transposition op, diagonal_kind diag) {
    for (const int n : sizes) {
      const auto a = random_triangle<T>(which, n, 1);
      auto x = random_matrix<T>(1, n, 2);
      const auto before = x;
      blas::trmv<T>(which, op, diag, n, a.begin(), a.stride, x.begin(), x.stride);
      expect_matrix(x, before, [&](int, int j) {
        return product(
            n, j, 0,
            [&](int i, int l) { return triangular_element(a, which, op, diag, i, l); },
            [&](int l, int) { return before(0, l); });
      });
    }
  });
}

TYPED_TEST(blas_triangular, trsv_solves_for_a_vector) {
  using T = TypeParam;
  for_triangular([](triangle which, transposition op, diagonal_kind diag) {
    for (const int n : sizes) {
      const auto a = random_triangle<T>(which, n, 1);
      auto x = random_matrix<T>(1, n, 2);
      const auto right_side = x;
      blas::trsv<T>(which, op, diag, n, a.begin(), a.stride, x.begin(), x.stride);
      const auto solution = x;
      expect_matrix(right_side, right_side, [&](int, int j) {
        return product(
            n, j, 0,
            [&](int i, int l) { return triangular_element(a, which, op, diag, i, l); },
            [&](int l, int) { return solution(0, l); });
      });
    }
  });
}

TYPED_TEST(blas_triangular, trmm_multiplies_a_matrix_at_either_side) {
  using T = TypeParam;
  const auto check = [](side where, triangle which, transposition op, diagonal_kind diag,
                        int m, int n, T alpha) {
    const int order = where == side::left ? m : n;
    const auto a = random_triangle<T>(which, order, 1);
    const auto at_a = [&](int i, int l) {
      return triangular_element(a, which, op, diag, i, l);
    };
    auto b = random_matrix<T>(m, n, 2);
    const auto before = b;
    blas::trmm<T>(where, which, op, diag, m, n, a.begin(), a.stride, b.begin(), b.stride,
                  alpha);
    expect_matrix(b, before, product_at(where, order, alpha, at_a, before));
  };
  for_triangular([&](triangle which, transposition op, diagonal_kind diag) {
    for (const side where : {side::left, side::right})
      for (const int m : sizes)
        for (const int n : sizes)
          for (const T alpha : {T{0}, T{1}, T(-0.75)})
            check(where, which, op, diag, m, n, alpha);
  });
}

TYPED_TEST(blas_triangular, trsm_solves_for_a_matrix_at_either_side) {
  using T = TypeParam;
  const auto check = [](side where, triangle which, transposition op, diagonal_kind diag,
                        int m, int n, T alpha) {
    const int order = where == side::left ? m : n;
    const auto a = random_triangle<T>(which, order, 1);
    const auto at_a = [&](int i, int l) {
      return triangular_element(a, which, op, diag, i, l);
    };
    auto b = random_matrix<T>(m, n, 2);
    const auto before = b;
    blas::trsm<T>(where, which, op, diag, m, n, a.begin(), a.stride, b.begin(), b.stride,
                  alpha);
    const auto multiplied = product_at(where, order, T{1}, at_a, b);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i)
        ASSERT_NEAR(multiplied(i, j), static_cast<double>(alpha * before(i, j)),
                    test::tolerance<T>);
  };
  for_triangular([&](triangle which, transposition op, diagonal_kind diag) {
    for (const side where : {side::left, side::right})
      for (const int m : sizes)
        for (const int n : sizes)
          for (const T alpha : {T{0}, T{1}, T(-0.75)})
            check(where, which, op, diag, m, n, alpha);
  });
}

// L = [2 0; 1 4] applied to (1, 1); the entry 7 above the diagonal is not read.
TYPED_TEST(blas_triangular, the_triangle_value_5_means_lower) {
  using T = TypeParam;
  const std::array<T, 4> a{T{2}, T{1}, T{7}, T{4}};
  std::array<T, 2> x{T{1}, T{1}};
  blas::trmv<T>(static_cast<triangle>(5), transposition::none, diagonal_kind::general, 2,
                a.data(), 2, x.data(), 1);
  EXPECT_EQ(x, (std::array<T, 2>{T{2}, T{5}}));
}

TYPED_TEST(blas_triangular, a_diagonal_value_of_2_ends_the_process) {
  using T = TypeParam;
  constexpr auto two = static_cast<diagonal_kind>(2);
  constexpr auto lower = triangle::lower;
  constexpr auto plain = transposition::none;
  const auto dies = testing::KilledBySignal(SIGABRT);
  T a{1};
  T x{1};
  EXPECT_EXIT(blas::trmv<T>(lower, plain, two, 1, &a, 1, &x, 1), dies, "");
  EXPECT_EXIT(blas::trsv<T>(lower, plain, two, 1, &a, 1, &x, 1), dies, "");
  EXPECT_EXIT(blas::trmm<T>(side::left, lower, plain, two, 1, 1, &a, 1, &x, 1, T{1}), dies,
              "");
  EXPECT_EXIT(blas::trsm<T>(side::left, lower, plain, two, 1, 1, &a, 1, &x, 1, T{1}), dies,
              "");
}

}  // namespace
}  // namespace corvane
