// SPDX-License-Identifier: BSD-3-Clause
//
// The LAPACK forwarders: each factorization multiplied back by plain loops.
#include "common/interface_only/lapack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::all_diagonals;
using test::all_triangles;
using test::expect_matrix;
using test::in_triangle;
using test::padded_matrix;
using test::product;
using test::random_matrix;
using test::random_triangle;
using test::symmetric_element;
using test::triangular_element;

template <class T>
class lapack_forwarder : public testing::Test {};
using element_types = testing::Types<double, float>;
TYPED_TEST_SUITE(lapack_forwarder, element_types);

// One triangle of M M' + I, which is positive definite; NaN in the other triangle.
template <class T>
padded_matrix<T> positive_definite(triangle which, int n) {
  const auto m = random_matrix<T>(n, n, 4);
  padded_matrix<T> a{n, n};
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (in_triangle(which, i, j))
        a(i, j) = static_cast<T>((i == j ? 1.0 : 0.0) +
                                 product(
                                     n, i, j, [&](int r, int l) { return m(r, l); },
                                     [&](int l, int s) { return m(s, l); }));
  return a;
}

double identity(int i, int j) { return i == j ? 1.0 : 0.0; }

TYPED_TEST(lapack_forwarder, potrf_factors_one_triangle_and_leaves_the_other) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const int n : {0, 1, 3, 8}) {
      const auto a = positive_definite<T>(which, n);
      auto factor = a;
      ASSERT_EQ(lapack::potrf<T>(which, n, factor.begin(), factor.stride), 0);
      // L L', which is U' U for the upper triangle.
      const auto at = [&](int i, int l) {
        const bool upper = which == triangle::upper;
        return triangular_element(factor, which,
                                  upper ? transposition::transpose : transposition::none,
                                  diagonal_kind::general, i, l);
      };
      const auto in = [&](int i, int j) { return in_triangle(which, i, j); };
      expect_matrix(
          a, a,
          [&](int i, int j) {
            return product(n, i, j, at, [&](int l, int s) { return at(s, l); });
          },
          in);
      expect_matrix(
          factor, a, [&](int i, int j) { return static_cast<double>(factor(i, j)); }, in);
    }
}

// The factor of [4 2; 2 5] is L = [2 0; 1 2]; the entry 7 above the diagonal is not read.
TYPED_TEST(lapack_forwarder, the_triangle_value_5_means_lower) {
  using T = TypeParam;
  std::array<T, 4> a{T{4}, T{2}, T{7}, T{5}};
  ASSERT_EQ(lapack::potrf<T>(static_cast<triangle>(5), 2, a.data(), 2), 0);
  EXPECT_EQ(a, (std::array<T, 4>{T{2}, T{1}, T{7}, T{2}}));
}

TYPED_TEST(lapack_forwarder, potrf_tells_the_pivot_that_fails_counted_from_one) {
  using T = TypeParam;
  for (const int pivot : {0, 1, 3}) {
    padded_matrix<T> a{4, 4};
    for (int j = 0; j < 4; ++j)
      for (int i = j; i < 4; ++i) a(i, j) = i == j ? (i == pivot ? T{-1} : T{1}) : T{0};
    EXPECT_EQ(lapack::potrf<T>(triangle::lower, 4, a.begin(), a.stride), pivot + 1);
  }
}

// A NaN check would return a negative status and leave the matrix as it was.
TYPED_TEST(lapack_forwarder, potrf_of_a_nan_fails_a_pivot_or_has_a_nan_factor) {
  using T = TypeParam;
  for (const int n : {1, 4, 40})
    for (const int row : {0, n / 2, n - 1}) {
      auto a = positive_definite<T>(triangle::lower, n);
      a(row, row / 2) = std::numeric_limits<T>::quiet_NaN();
      testing::internal::CaptureStdout();
      testing::internal::CaptureStderr();
      const int status = lapack::potrf<T>(triangle::lower, n, a.begin(), a.stride);
      EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
      EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
      bool factor_has_nan = false;
      for (int j = 0; j < n; ++j)
        for (int i = j; i < n; ++i) factor_has_nan = factor_has_nan || std::isnan(a(i, j));
      EXPECT_GE(status, 0);
      EXPECT_TRUE(status > 0 || factor_has_nan);
    }
}

TYPED_TEST(lapack_forwarder, potri_inverts_from_the_factor) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const int n : {0, 1, 3, 8}) {
      const auto a = positive_definite<T>(which, n);
      auto inverse = a;
      ASSERT_EQ(lapack::potrf<T>(which, n, inverse.begin(), inverse.stride), 0);
      ASSERT_EQ(lapack::potri<T>(which, n, inverse.begin(), inverse.stride), 0);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
          ASSERT_NEAR(
              product(
                  n, i, j, [&](int r, int l) { return symmetric_element(a, which, r, l); },
                  [&](int l, int s) { return symmetric_element(inverse, which, l, s); }),
              identity(i, j), test::tolerance<T>);
    }
}

TYPED_TEST(lapack_forwarder, trtri_inverts_a_triangular_matrix) {
  using T = TypeParam;
  for (const triangle which : all_triangles)
    for (const diagonal_kind diag : all_diagonals)
      for (const int n : {0, 1, 3, 8}) {
        const auto a = random_triangle<T>(which, n, 1);
        auto inverse = a;
        ASSERT_EQ(lapack::trtri<T>(which, diag, n, inverse.begin(), inverse.stride), 0);
        const auto at = [&](const padded_matrix<T>& m) {
          return [&](int i, int l) {
            return triangular_element(m, which, transposition::none, diag, i, l);
          };
        };
        for (int i = 0; i < n; ++i)
          for (int j = 0; j < n; ++j)
            ASSERT_NEAR(product(n, i, j, at(a), at(inverse)), identity(i, j),
                        test::tolerance<T>);
      }
}

TYPED_TEST(lapack_forwarder, trtri_tells_a_zero_on_the_diagonal) {
  using T = TypeParam;
  auto a = random_triangle<T>(triangle::lower, 3, 1);
  a(1, 1) = T{0};
  EXPECT_EQ(
      lapack::trtri<T>(triangle::lower, diagonal_kind::general, 3, a.begin(), a.stride), 2);
}

TYPED_TEST(lapack_forwarder, a_diagonal_value_of_2_ends_the_process) {
  using T = TypeParam;
  T a{1};
  EXPECT_EXIT(static_cast<void>(lapack::trtri<T>(triangle::lower,
                                                 static_cast<diagonal_kind>(2), 1, &a, 1)),
              testing::KilledBySignal(SIGABRT), "");
}

// Q as a matrix of m by m: applied to the identity.
template <class T>
padded_matrix<T> explicit_q(const padded_matrix<T>& factor, const std::vector<T>& tau,
                            side where, transposition op) {
  const int m = factor.rows;
  padded_matrix<T> q{m, m};
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) q(i, j) = static_cast<T>(identity(i, j));
  EXPECT_EQ(lapack::ormqr<T>(where, op, m, m, std::min(m, factor.cols), factor.begin(),
                             factor.stride, tau.data(), q.begin(), q.stride),
            0);
  return q;
}

struct shape {
  int rows;
  int cols;
};

constexpr std::array shapes{shape{1, 1}, shape{3, 3}, shape{7, 4}, shape{4, 7},
                            shape{5, 1}};

TYPED_TEST(lapack_forwarder, geqrf_and_ormqr_give_back_the_matrix) {
  using T = TypeParam;
  for (const shape each : shapes) {
    const int m = each.rows;
    const int n = each.cols;
    const auto a = random_matrix<T>(m, n, 5);
    auto factor = a;
    std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)));
    ASSERT_EQ(lapack::geqrf<T>(m, n, factor.begin(), factor.stride, tau.data()), 0);
    const auto q = explicit_q(factor, tau, side::left, transposition::none);
    expect_matrix(a, a, [&](int i, int j) {
      return product(
          std::min(m, j + 1), i, j, [&](int r, int l) { return q(r, l); },
          [&](int l, int s) { return factor(l, s); });
    });
  }
}

TYPED_TEST(lapack_forwarder, ormqr_applies_an_orthogonal_matrix_at_either_side) {
  using T = TypeParam;
  for (const shape each : shapes) {
    const int m = each.rows;
    const int n = each.cols;
    auto factor = random_matrix<T>(m, n, 5);
    std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)));
    ASSERT_EQ(lapack::geqrf<T>(m, n, factor.begin(), factor.stride, tau.data()), 0);
    const auto q = explicit_q(factor, tau, side::left, transposition::none);
    const auto q_right = explicit_q(factor, tau, side::right, transposition::none);
    const auto q_turned = explicit_q(factor, tau, side::left, transposition::transpose);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < m; ++j) {
        ASSERT_NEAR(q_right(i, j), q(i, j), test::tolerance<T>);
        ASSERT_NEAR(q_turned(i, j), q(j, i), test::tolerance<T>);
        ASSERT_NEAR(product(
                        m, i, j, [&](int r, int l) { return q(l, r); },
                        [&](int l, int s) { return q(l, s); }),
                    identity(i, j), test::tolerance<T>);
      }
  }
}

// U diag(s) V' against A; the values descend.
template <class T>
void expect_svd(const padded_matrix<T>& a, const padded_matrix<T>& u,
                const std::vector<T>& s, const padded_matrix<T>& vt) {
  EXPECT_TRUE(std::is_sorted(s.rbegin(), s.rend()));
  expect_matrix(a, a, [&](int i, int j) {
    return product(
        static_cast<int>(s.size()), i, j,
        [&](int r, int l) { return u(r, l) * s[static_cast<std::size_t>(l)]; },
        [&](int l, int c) { return vt(l, c); });
  });
}

TYPED_TEST(lapack_forwarder, gesdd_gives_back_the_matrix_from_all_and_from_thin_factors) {
  using T = TypeParam;
  for (const shape each : shapes)
    for (const svd_job job : {svd_job::all, svd_job::thin}) {
      const int m = each.rows;
      const int n = each.cols;
      const auto a = random_matrix<T>(m, n, 6);
      auto destroyed = a;
      const int least = std::min(m, n);
      padded_matrix<T> u{m, job == svd_job::all ? m : least};
      padded_matrix<T> vt{job == svd_job::all ? n : least, n};
      std::vector<T> s(static_cast<std::size_t>(least));
      ASSERT_EQ(lapack::gesdd<T>(job, m, n, destroyed.begin(), destroyed.stride, s.data(),
                                 u.begin(), u.stride, vt.begin(), vt.stride),
                0);
      expect_svd(a, u, s, vt);
    }
}

TYPED_TEST(lapack_forwarder, gesdd_overwrites_a_tall_matrix_with_its_left_factor) {
  using T = TypeParam;
  const auto a = random_matrix<T>(7, 4, 6);
  auto u = a;
  padded_matrix<T> vt{4, 4};
  std::vector<T> s(4);
  ASSERT_EQ(lapack::gesdd<T>(svd_job::overwrite, 7, 4, u.begin(), u.stride, s.data(),
                             nullptr, 1, vt.begin(), vt.stride),
            0);
  expect_svd(a, u, s, vt);
}

TYPED_TEST(lapack_forwarder, gesdd_of_values_only_agrees_with_thin_factors) {
  using T = TypeParam;
  auto a = random_matrix<T>(6, 4, 6);
  auto again = a;
  padded_matrix<T> u{6, 4};
  padded_matrix<T> vt{4, 4};
  std::vector<T> s(4);
  std::vector<T> alone(4);
  ASSERT_EQ(lapack::gesdd<T>(svd_job::thin, 6, 4, a.begin(), a.stride, s.data(), u.begin(),
                             u.stride, vt.begin(), vt.stride),
            0);
  ASSERT_EQ(lapack::gesdd<T>(svd_job::values_only, 6, 4, again.begin(), again.stride,
                             alone.data(), nullptr, 1, nullptr, 1),
            0);
  for (std::size_t i = 0; i < s.size(); ++i)
    EXPECT_NEAR(alone[i], s[i], test::tolerance<T>);
}

// The other triangle is not read.
TYPED_TEST(lapack_forwarder, syevd_gives_back_the_symmetric_matrix_of_either_triangle) {
  using T = TypeParam;
  for (const triangle which : {triangle::lower, triangle::upper})
    for (const int n : {1, 5, 40}) {
      const auto a = random_matrix<T>(n, n, 6);
      auto vectors = a;
      std::vector<T> values(static_cast<std::size_t>(n));
      ASSERT_EQ(lapack::syevd<T>(which, n, vectors.begin(), vectors.stride, values.data()),
                0);
      EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
          ASSERT_NEAR(product(
                          n, i, j,
                          [&](int r, int l) {
                            return vectors(r, l) * values[static_cast<std::size_t>(l)];
                          },
                          [&](int l, int c) { return vectors(c, l); }),
                      symmetric_element(a, which, i, j), n * test::tolerance<T>);
    }
}

}  // namespace
}  // namespace corvane
