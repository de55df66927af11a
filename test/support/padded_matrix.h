// SPDX-License-Identifier: BSD-3-Clause
//
// padded_matrix: a column-major matrix for tests of BLAS and LAPACK, with a leading
// dimension larger than its rows. What must not be read is NaN, and what must not be
// written is compared bit for bit. Beside it the elements of op(A), of a symmetric and of a
// triangular matrix, by which the tests write a routine's formula as a plain loop.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/blas_arguments.h"
#include "common/interface_only/diagonal_kind.h"

namespace corvane::test {

template <class T>
struct padded_matrix {
  // All NaN. The padding of 3 makes most leading dimensions odd.
  padded_matrix(int rows_, int cols_)
      : rows{rows_},
        cols{cols_},
        stride{rows_ + 3},
        data(static_cast<std::size_t>(stride) * static_cast<std::size_t>(cols_ + 1),
             std::numeric_limits<T>::quiet_NaN()) {}

  T& operator()(int i, int j) { return data[offset(i, j)]; }
  const T& operator()(int i, int j) const { return data[offset(i, j)]; }
  T* begin() { return data.data(); }
  const T* begin() const { return data.data(); }

  int rows;
  int cols;
  int stride;
  std::vector<T> data;

 private:
  std::size_t offset(int i, int j) const {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(stride) +
           static_cast<std::size_t>(i);
  }
};

// Entries in [-1, 1), the same in each run.
template <class T>
padded_matrix<T> random_matrix(int rows, int cols, unsigned seed) {
  std::mt19937 generator{seed};
  std::uniform_real_distribution<double> entries{-1.0, 1.0};
  padded_matrix<T> a{rows, cols};
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = static_cast<T>(entries(generator));
  return a;
}

inline bool in_triangle(triangle which, int i, int j) {
  return which == triangle::upper ? i <= j : i >= j;
}

// Random in one triangle, NaN in the other. A larger diagonal makes it well conditioned.
template <class T>
padded_matrix<T> random_triangle(triangle which, int n, unsigned seed) {
  const padded_matrix<T> full = random_matrix<T>(n, n, seed);
  padded_matrix<T> a{n, n};
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (in_triangle(which, i, j))
        a(i, j) = i == j ? 2 + full(i, j) : full(i, j) / static_cast<T>(n);
  return a;
}

// Element (i, j) of op(A).
template <class T>
T element(const padded_matrix<T>& a, transposition op, int i, int j) {
  return op == transposition::none ? a(i, j) : a(j, i);
}

// Element (i, j) of the symmetric matrix of which one triangle is stored.
template <class T>
T symmetric_element(const padded_matrix<T>& a, triangle which, int i, int j) {
  return in_triangle(which, i, j) ? a(i, j) : a(j, i);
}

// Element (i, j) of op(A), A triangular with general or unit diagonal.
template <class T>
T triangular_element(const padded_matrix<T>& a, triangle which, transposition op,
                     diagonal_kind diag, int i, int j) {
  const int row = op == transposition::none ? i : j;
  const int col = op == transposition::none ? j : i;
  if (row == col && diag == diagonal_kind::unit) return T{1};
  return in_triangle(which, row, col) ? a(row, col) : T{0};
}

// sum over l < k of a(i, l) b(l, j)
template <class A, class B>
double product(int k, int i, int j, A a, B b) {
  double sum = 0.0;
  for (int l = 0; l < k; ++l)
    sum += static_cast<double>(a(i, l)) * static_cast<double>(b(l, j));
  return sum;
}

// Rounding of sums of at most a few hundred terms near 1.
template <class T>
constexpr double tolerance = 500.0 * static_cast<double>(std::numeric_limits<T>::epsilon());

// `actual` is `wanted(i, j)` where `written(i, j)` says so, and elsewhere, padding
// included, it has the bits of `before`.
template <class T, class Wanted, class Written>
void expect_matrix(const padded_matrix<T>& actual, const padded_matrix<T>& before,
                   Wanted wanted, Written written) {
  padded_matrix<T> untouched = actual;
  for (int j = 0; j < actual.cols; ++j)
    for (int i = 0; i < actual.rows; ++i)
      if (written(i, j)) {
        ASSERT_NEAR(static_cast<double>(actual(i, j)), wanted(i, j), tolerance<T>)
            << "at " << i << ", " << j;
        untouched(i, j) = before(i, j);
      }
  ASSERT_EQ(std::memcmp(untouched.begin(), before.begin(), before.data.size() * sizeof(T)),
            0)
      << "something else was written";
}

template <class T, class Wanted>
void expect_matrix(const padded_matrix<T>& actual, const padded_matrix<T>& before,
                   Wanted wanted) {
  expect_matrix(actual, before, wanted, [](int, int) { return true; });
}

inline constexpr std::array all_transpositions{
    transposition::none, transposition::transpose, transposition::conjugate};
// Any value but 0 means lower.
inline constexpr std::array all_triangles{triangle::upper, triangle::lower,
                                          static_cast<triangle>(5)};
inline constexpr std::array all_diagonals{diagonal_kind::general, diagonal_kind::unit};

}  // namespace corvane::test
