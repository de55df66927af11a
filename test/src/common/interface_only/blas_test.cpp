// SPDX-License-Identifier: BSD-3-Clause
//
// The forwarders to general and symmetric routines against their formulas as plain loops.
#include "common/interface_only/blas.h"

#include <gtest/gtest.h>

#include <array>

#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::all_transpositions;
using test::all_triangles;
using test::element;
using test::expect_matrix;
using test::in_triangle;
using test::padded_matrix;
using test::product;
using test::random_matrix;
using test::random_triangle;
using test::symmetric_element;

constexpr std::array sizes{0, 1, 3, 8};

template <class T>
class blas_forwarder : public testing::Test {};
using element_types = testing::Types<double, float>;
TYPED_TEST_SUITE(blas_forwarder, element_types);

// Runs `check(alpha, beta)` for the scalars that BLAS treats apart, and for plain ones.
template <class T, class Check>
void for_scalars(Check check) {
  for (const T alpha : {T{0}, T{1}, T(-0.75)})
    for (const T beta : {T{0}, T{1}, T(0.5)}) check(alpha, beta);
}

// beta C before a routine adds to it: C is not read when beta is zero.
template <class T>
double scaled(T beta, T entry) {
  return beta == T{0} ? 0.0 : static_cast<double>(beta) * static_cast<double>(entry);
}

// What a routine is to overwrite: NaN when beta is zero, so that a read shows.
template <class T>
padded_matrix<T> target(int rows, int cols, T beta) {
  return beta == T{0} ? padded_matrix<T>{rows, cols} : random_matrix<T>(rows, cols, 9);
}

TYPED_TEST(blas_forwarder, gemv_is_a_matrix_times_a_vector) {
  using T = TypeParam;
  for (const transposition op : all_transpositions)
    for (const int m : {1, 3, 8})
      for (const int n : {1, 3, 8})
        for_scalars<T>([&](T alpha, T beta) {
          const int in = op == transposition::none ? n : m;
          const int out = op == transposition::none ? m : n;
          const auto a = random_matrix<T>(m, n, 1);
          // A row of a matrix is a vector with an increment.
          const auto x = random_matrix<T>(2, in, 2);
          auto y = target<T>(1, out, beta);
          const auto before = y;
          blas::gemv<T>(op, m, n, a.begin(), a.stride, x.begin(), x.stride, y.begin(),
                        y.stride, alpha, beta);
          expect_matrix(y, before, [&](int, int j) {
            return static_cast<double>(alpha) *
                       product(
                           in, j, 0, [&](int i, int l) { return element(a, op, i, l); },
                           [&](int l, int) { return x(0, l); }) +
                   scaled(beta, before(0, j));
          });
        });
}

TYPED_TEST(blas_forwarder, gemm_is_a_product_of_matrices) {
  using T = TypeParam;
  const auto check = [](transposition op_a, transposition op_b, int m, int n, int k) {
    const bool plain_a = op_a == transposition::none;
    const bool plain_b = op_b == transposition::none;
    const auto a = random_matrix<T>(plain_a ? m : k, plain_a ? k : m, 1);
    const auto b = random_matrix<T>(plain_b ? k : n, plain_b ? n : k, 2);
    for_scalars<T>([&](T alpha, T beta) {
      auto c = target<T>(m, n, beta);
      const auto before = c;
      blas::gemm<T>(op_a, op_b, m, n, k, a.begin(), a.stride, b.begin(), b.stride,
                    c.begin(), c.stride, alpha, beta);
      expect_matrix(c, before, [&](int i, int j) {
        return static_cast<double>(alpha) *
                   product(
                       k, i, j, [&](int r, int l) { return element(a, op_a, r, l); },
                       [&](int l, int s) { return element(b, op_b, l, s); }) +
               scaled(beta, before(i, j));
      });
    });
  };
  for (const transposition op_a : all_transpositions)
    for (const transposition op_b : all_transpositions)
      for (const int m : sizes)
        for (const int n : sizes)
          for (const int k : sizes) check(op_a, op_b, m, n, k);
}

TYPED_TEST(blas_forwarder, symv_reads_one_triangle) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const int n : sizes)
      for_scalars<T>([&](T alpha, T beta) {
        const auto a = random_triangle<T>(which, n, 1);
        const auto x = random_matrix<T>(2, n, 2);
        auto y = target<T>(1, n, beta);
        const auto before = y;
        blas::symv<T>(which, n, a.begin(), a.stride, x.begin(), x.stride, y.begin(),
                      y.stride, alpha, beta);
        expect_matrix(y, before, [&](int, int j) {
          return static_cast<double>(alpha) *
                     product(
                         n, j, 0,
                         [&](int i, int l) { return symmetric_element(a, which, i, l); },
                         [&](int l, int) { return x(0, l); }) +
                 scaled(beta, before(0, j));
        });
      });
}

// Any value of the side but 0 means right.
TYPED_TEST(blas_forwarder, symm_reads_one_triangle_at_either_side) {
  using T = TypeParam;
  const auto check = [](side where, triangle which, int m, int n) {
    const int order = where == side::left ? m : n;
    const auto a = random_triangle<T>(which, order, 1);
    const auto b = random_matrix<T>(m, n, 2);
    const auto at_a = [&](int i, int j) { return symmetric_element(a, which, i, j); };
    const auto at_b = [&](int i, int j) { return b(i, j); };
    for_scalars<T>([&](T alpha, T beta) {
      auto c = target<T>(m, n, beta);
      const auto before = c;
      blas::symm<T>(where, which, m, n, a.begin(), a.stride, b.begin(), b.stride, c.begin(),
                    c.stride, alpha, beta);
      expect_matrix(c, before, [&](int i, int j) {
        const double sum = where == side::left ? product(order, i, j, at_a, at_b)
                                               : product(order, i, j, at_b, at_a);
        return static_cast<double>(alpha) * sum + scaled(beta, before(i, j));
      });
    });
  };
  for (const side where : {side::left, side::right, static_cast<side>(3)})
    for (const triangle which : all_triangles)
      for (const int m : sizes)
        for (const int n : sizes) check(where, which, m, n);
}

TYPED_TEST(blas_forwarder, syr_adds_an_outer_product_to_one_triangle) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const int n : sizes)
      for (const T alpha : {T{0}, T{1}, T(-0.75)}) {
        auto a = random_triangle<T>(which, n, 1);
        const auto before = a;
        const auto x = random_matrix<T>(2, n, 2);
        blas::syr<T>(which, n, x.begin(), x.stride, a.begin(), a.stride, alpha);
        expect_matrix(
            a, before,
            [&](int i, int j) {
              return static_cast<double>(before(i, j) + alpha * x(0, i) * x(0, j));
            },
            [&](int i, int j) { return in_triangle(which, i, j); });
      }
}

TYPED_TEST(blas_forwarder, syrk_writes_one_triangle_of_a_matrix_times_its_transpose) {
  using T = TypeParam;
  const auto check = [](triangle which, transposition op, int n, int k) {
    const bool plain = op == transposition::none;
    const auto a = random_matrix<T>(plain ? n : k, plain ? k : n, 1);
    const auto at_a = [&](int i, int l) { return element(a, op, i, l); };
    for_scalars<T>([&](T alpha, T beta) {
      auto c = target<T>(n, n, beta);
      const auto before = c;
      blas::syrk<T>(which, op, n, k, a.begin(), a.stride, c.begin(), c.stride, alpha, beta);
      expect_matrix(
          c, before,
          [&](int i, int j) {
            return static_cast<double>(alpha) *
                       product(k, i, j, at_a, [&](int l, int s) { return at_a(s, l); }) +
                   scaled(beta, before(i, j));
          },
          [&](int i, int j) { return in_triangle(which, i, j); });
    });
  };
  for (const triangle which : all_triangles)
    for (const transposition op : all_transpositions)
      for (const int n : sizes)
        for (const int k : sizes) check(which, op, n, k);
}

TYPED_TEST(blas_forwarder, syr2k_writes_one_triangle_of_a_symmetric_product) {
  using T = TypeParam;
  const auto check = [](triangle which, transposition op, int n, int k) {
    const bool plain = op == transposition::none;
    const auto a = random_matrix<T>(plain ? n : k, plain ? k : n, 1);
    const auto b = random_matrix<T>(plain ? n : k, plain ? k : n, 2);
    const auto at_a = [&](int i, int l) { return element(a, op, i, l); };
    const auto at_b = [&](int i, int l) { return element(b, op, i, l); };
    for_scalars<T>([&](T alpha, T beta) {
      auto c = target<T>(n, n, beta);
      const auto before = c;
      blas::syr2k<T>(which, op, n, k, a.begin(), a.stride, b.begin(), b.stride, c.begin(),
                     c.stride, alpha, beta);
      expect_matrix(
          c, before,
          [&](int i, int j) {
            const double sum =
                product(k, i, j, at_a, [&](int l, int s) { return at_b(s, l); }) +
                product(k, i, j, at_b, [&](int l, int s) { return at_a(s, l); });
            return static_cast<double>(alpha) * sum + scaled(beta, before(i, j));
          },
          [&](int i, int j) { return in_triangle(which, i, j); });
    });
  };
  for (const triangle which : all_triangles)
    for (const transposition op : all_transpositions)
      for (const int n : sizes)
        for (const int k : sizes) check(which, op, n, k);
}

}  // namespace
}  // namespace corvane
