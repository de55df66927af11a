// SPDX-License-Identifier: BSD-3-Clause
//
// The forms over views: that they hand shape and leading dimension of parts to the
// routines, write the lower triangle alone, and take empty operands.
#include "common/linear_algebra.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "common/blas_symbols.h"
#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::element;
using test::expect_matrix;
using test::padded_matrix;
using test::product;
using test::random_matrix;
using test::random_triangle;
using test::symmetric_element;
using test::triangular_element;

using padded = padded_matrix<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double alpha = -0.75;
constexpr double beta = 0.5;
constexpr std::array sizes{0, 1, 5};

matrix_block block(padded& a) { return {a.begin(), a.rows, a.cols, a.stride}; }
const_matrix_block block(const padded& a) { return {a.begin(), a.rows, a.cols, a.stride}; }
vector_view column(padded& a) { return {a.begin(), a.rows}; }
const_vector_view column(const padded& a) { return {a.begin(), a.rows}; }

bool lower(int i, int j) { return i >= j; }

// m by k, stored transposed when `op` says so.
padded operand(transposition op, int m, int k, unsigned seed) {
  return op == plain ? random_matrix<double>(m, k, seed)
                     : random_matrix<double>(k, m, seed);
}

auto elements(const padded& a, transposition op = plain) {
  return [&a, op](int i, int j) { return element(a, op, i, j); };
}

auto elements_of_symmetric(const padded& a) {
  return [&a](int i, int j) { return symmetric_element(a, triangle::lower, i, j); };
}

// Runs `check(m, n, k)` over all sizes, the empty ones included.
template <class Check>
void for_sizes(Check check) {
  for (const int m : sizes)
    for (const int n : sizes)
      for (const int k : sizes) check(m, n, k);
}

TEST(linear_algebra, gemv_follows_its_formula_also_where_the_sum_is_empty) {
  for (const transposition op : {plain, transposed})
    for (const int m : sizes)
      for (const int k : sizes) {
        const padded a = operand(op, m, k, 1);
        const padded x = random_matrix<double>(k, 1, 2);
        padded y = random_matrix<double>(m, 1, 3);
        const padded before = y;
        gemv(alpha, op, block(a), column(x), beta, column(y));
        expect_matrix(y, before, [&](int i, int j) {
          return alpha * product(k, i, j, elements(a, op), elements(x)) +
                 beta * before(i, j);
        });
      }
}

TEST(linear_algebra, gemv_with_beta_zero_ignores_nan_in_the_result) {
  for (const int k : sizes) {
    const padded a = random_matrix<double>(4, k, 1);
    const padded x = random_matrix<double>(k, 1, 2);
    padded y{4, 1};
    gemv(1.0, plain, block(a), column(x), 0.0, column(y));
    for (int i = 0; i < 4; ++i)
      EXPECT_NEAR(y(i, 0), product(k, i, 0, elements(a), elements(x)), 1e-15);
  }
}

TEST(linear_algebra, gemm_follows_its_formula) {
  for (const transposition op_a : {plain, transposed})
    for (const transposition op_b : {plain, transposed})
      for_sizes([&](int m, int n, int k) {
        const padded a = operand(op_a, m, k, 1);
        const padded b = operand(op_b, k, n, 2);
        padded c = random_matrix<double>(m, n, 3);
        const padded before = c;
        gemm(alpha, op_a, block(a), op_b, block(b), beta, block(c));
        expect_matrix(c, before, [&](int i, int j) {
          return alpha * product(k, i, j, elements(a, op_a), elements(b, op_b)) +
                 beta * before(i, j);
        });
      });
}

TEST(linear_algebra, gemmt_writes_the_lower_triangle_of_a_product) {
  for (const transposition op_a : {plain, transposed})
    for (const transposition op_b : {plain, transposed})
      for (const int n : {0, 1, 3, 8, 63, 64, 65, 129})  // panels have 64 columns
        for (const int k : sizes) {
          const padded a = operand(op_a, n, k, 1);
          const padded b = operand(op_b, k, n, 2);
          padded c = random_triangle<double>(triangle::lower, n, 3);
          const padded before = c;
          gemmt(alpha, op_a, block(a), op_b, block(b), beta, block(c));
          expect_matrix(
              c, before,
              [&](int i, int j) {
                return alpha * product(k, i, j, elements(a, op_a), elements(b, op_b)) +
                       beta * before(i, j);
              },
              lower);
        }
}

TEST(linear_algebra, syrk_and_syr2k_write_the_lower_triangle) {
  for (const transposition op : {plain, transposed})
    for (const int n : sizes)
      for (const int k : sizes) {
        const padded a = operand(op, n, k, 1);
        const padded b = operand(op, n, k, 2);
        const auto turned = [&](const padded& m) {
          return [&m, op](int l, int j) { return element(m, op, j, l); };
        };
        const padded before = random_triangle<double>(triangle::lower, n, 3);
        padded c = before;
        syrk(alpha, op, block(a), beta, block(c));
        expect_matrix(
            c, before,
            [&](int i, int j) {
              return alpha * product(k, i, j, elements(a, op), turned(a)) +
                     beta * before(i, j);
            },
            lower);
        c = before;
        syr2k(alpha, op, block(a), block(b), beta, block(c));
        expect_matrix(
            c, before,
            [&](int i, int j) {
              return alpha * (product(k, i, j, elements(a, op), turned(b)) +
                              product(k, i, j, elements(b, op), turned(a))) +
                     beta * before(i, j);
            },
            lower);
      }
}

TEST(linear_algebra, symv_and_symm_read_the_lower_triangle) {
  for (const int m : sizes)
    for (const int n : sizes) {
      const padded a = random_triangle<double>(triangle::lower, m, 1);
      const padded b = random_matrix<double>(m, n, 2);
      const padded x = random_matrix<double>(m, 1, 2);
      padded c = random_matrix<double>(m, n, 3);
      padded y = random_matrix<double>(m, 1, 3);
      const padded before = c;
      const padded before_y = y;
      symm(alpha, block(a), block(b), beta, block(c));
      symv(alpha, block(a), column(x), beta, column(y));
      expect_matrix(c, before, [&](int i, int j) {
        return alpha * product(m, i, j, elements_of_symmetric(a), elements(b)) +
               beta * before(i, j);
      });
      expect_matrix(y, before_y, [&](int i, int j) {
        return alpha * product(m, i, j, elements_of_symmetric(a), elements(x)) +
               beta * before_y(i, j);
      });
    }
}

TEST(linear_algebra, trmv_multiplies_and_trsv_solves) {
  for (const triangle which : {triangle::upper, triangle::lower})
    for (const transposition op : {plain, transposed})
      for (const int n : sizes) {
        const padded a = random_triangle<double>(which, n, 1);
        const auto at_a = [&](int i, int l) {
          return triangular_element(a, which, op, diagonal_kind::general, i, l);
        };
        const padded before = random_matrix<double>(n, 1, 2);
        padded x = before;
        trmv(which, op, block(a), column(x));
        expect_matrix(x, before, [&](int i, int j) {
          return product(n, i, j, at_a, elements(before));
        });
        trsv(which, op, block(a), column(x));
        expect_matrix(x, before, [&](int i, int j) { return before(i, j); });
      }
}

TEST(linear_algebra, trsm_solves_at_either_side) {
  for (const side where : {side::left, side::right})
    for (const triangle which : {triangle::upper, triangle::lower})
      for (const transposition op : {plain, transposed})
        for (const int m : sizes)
          for (const int n : sizes) {
            const int order = where == side::left ? m : n;
            const padded a = random_triangle<double>(which, order, 1);
            const auto at_a = [&](int i, int l) {
              return triangular_element(a, which, op, diagonal_kind::general, i, l);
            };
            const padded before = random_matrix<double>(m, n, 2);
            padded b = before;
            trsm(where, which, op, block(a), block(b));
            expect_matrix(before, before, [&](int i, int j) {
              return where == side::left ? product(order, i, j, at_a, elements(b))
                                         : product(order, i, j, elements(b), at_a);
            });
          }
}

TEST(linear_algebra, potrf_and_potri_work_on_the_lower_triangle) {
  for (const int n : sizes) {
    padded a = random_triangle<double>(triangle::lower, n, 1);
    for (int i = 0; i < n; ++i) a(i, i) += n;
    padded inverse = a;
    ASSERT_EQ(potrf(block(inverse)), 0);
    potri(block(inverse));
    const padded before = inverse;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        EXPECT_NEAR(
            product(n, i, j, elements_of_symmetric(a), elements_of_symmetric(inverse)),
            i == j ? 1.0 : 0.0, 1e-14);
  }
}

TEST(linear_algebra, potrf_tells_the_failing_pivot) {
  symmetric_matrix a(2, 2);
  a(0, 0) = 1.0;
  a(1, 0) = 2.0;
  a(1, 1) = 1.0;
  EXPECT_EQ(potrf(a), 2);
}

TEST(linear_algebra, the_inverse_of_a_singular_triangle_is_an_exception) {
  dense_matrix a{2, 2};
  fill(a, 0.0);
  a(0, 0) = 1.0;
  EXPECT_THROW(trtri(triangle::lower, a), std::domain_error);
  EXPECT_THROW(potri(a), std::domain_error);
}

TEST(linear_algebra, gesdd_of_a_nan_has_a_positive_status) {
  dense_matrix a{3, 2};
  fill(a, nan);
  dense_vector s{2};
  dense_matrix u{3, 2};
  dense_matrix vt{2, 2};
  EXPECT_GT(gesdd(svd_job::thin, a, s, u, vt), 0);
}

TEST(linear_algebra, geqrf_and_ormqr_give_back_the_matrix) {
  for (const int m : {0, 1, 4, 6})
    for (const int n : {0, 1, 4}) {
      const padded a = random_matrix<double>(m, n, 1);
      padded factor = a;
      std::vector<double> tau(static_cast<std::size_t>(std::min(m, n)));
      const vector_view scalars{tau.data(), std::min(m, n)};
      geqrf(block(factor), scalars);
      padded back = factor;
      for (int j = 0; j < n; ++j)
        for (int i = j + 1; i < m; ++i) back(i, j) = 0.0;
      padded turned = a;
      ormqr(transposed, block(factor), scalars, block(turned));
      const padded r = back;
      expect_matrix(turned, a, [&](int i, int j) { return r(i, j); });
      ormqr(plain, block(factor), scalars, block(back));
      expect_matrix(back, factor, [&](int i, int j) { return a(i, j); });
    }
}

TEST(linear_algebra, gesdd_gives_back_the_matrix) {
  const padded a = random_matrix<double>(6, 4, 1);
  padded destroyed = a;
  padded u{6, 4};
  padded vt{4, 4};
  std::vector<double> s(4);
  ASSERT_EQ(gesdd(svd_job::thin, block(destroyed), {s.data(), 4}, block(u), block(vt)), 0);
  expect_matrix(a, a, [&](int i, int j) {
    return product(
        4, i, j, [&](int r, int l) { return u(r, l) * s[static_cast<std::size_t>(l)]; },
        elements(vt));
  });
}

TEST(linear_algebra, syevd_gives_back_the_matrix_of_the_lower_triangle) {
  const padded a = random_matrix<double>(5, 5, 1);
  padded vectors = a;
  std::vector<double> values(5);
  ASSERT_EQ(syevd(block(vectors), {values.data(), 5}), 0);
  for (int i = 0; i < 5; ++i)
    for (int j = 0; j <= i; ++j)
      EXPECT_NEAR(product(
                      5, i, j,
                      [&](int r, int l) {
                        return vectors(r, l) * values[static_cast<std::size_t>(l)];
                      },
                      [&](int l, int c) { return vectors(c, l); }),
                  a(i, j), 1e-13);
}

TEST(lapack_status, a_positive_one_is_handed_on) {
  EXPECT_EQ(judge_lapack_status(0), 0);
  EXPECT_EQ(judge_lapack_status(7), 7);
}

// LAPACKE's words for work space and for a transposed copy that it could not allocate.
TEST(lapack_status, a_failed_allocation_is_an_exception) {
  EXPECT_THROW(static_cast<void>(judge_lapack_status(-1010)), std::bad_alloc);
  EXPECT_THROW(static_cast<void>(judge_lapack_status(-1011)), std::bad_alloc);
}

TEST(lapack_status, a_wrong_argument_is_a_mistake_of_the_program) {
  EXPECT_THROW(static_cast<void>(judge_lapack_status(-3)), std::logic_error);
}

TEST(linear_algebra, a_dimension_beyond_32_bits_is_refused) {
  EXPECT_EQ(blas_size(INT_MAX), INT_MAX);
  EXPECT_THROW(blas_size(index_t{INT_MAX} + 1), std::length_error);
  double one = 1.0;
  const matrix_block too_wide{&one, 1, index_t{1} << 32, 1};
  EXPECT_THROW(gemv(1.0, plain, too_wide, {&one, 1}, 0.0, {&one, 1}), std::length_error);
}

TEST(linear_algebra, dot_and_norm_are_their_formulas) {
  const std::vector<double> x = {3.0, -4.0};
  const std::vector<double> y = {0.5, 2.0};
  EXPECT_EQ(dot({x.data(), 2}, {y.data(), 2}), -6.5);
  EXPECT_EQ(norm({x.data(), 2}), 5.0);
  EXPECT_EQ(norm({}), 0.0);
  const std::vector<double> bad = {1.0, nan};
  EXPECT_TRUE(std::isnan(norm({bad.data(), 2})));
}

}  // namespace
}  // namespace corvane
