// SPDX-License-Identifier: BSD-3-Clause
//
// Designs with known singular values: X = H diag(s) K' with Householder matrices H and K.
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

namespace {

constexpr data_normalizer_options untouched{false, false, false, false, false};

std::vector<double> unit_vector(index_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::normal_distribution<double> normal;
  std::vector<double> v(static_cast<std::size_t>(size));
  double squares = 0.0;
  for (double& entry : v) {
    entry = normal(generator);
    squares += entry * entry;
  }
  for (double& entry : v) entry /= std::sqrt(squares);
  return v;
}

// (I - 2 v v')(i, j)
double householder(const std::vector<double>& v, index_t i, index_t j) {
  return (i == j ? 1.0 : 0.0) -
         2.0 * v[static_cast<std::size_t>(i)] * v[static_cast<std::size_t>(j)];
}

dense_matrix matrix_with(const std::vector<double>& s, index_t cols) {
  const auto rows = static_cast<index_t>(s.size());
  const auto left = unit_vector(rows, 3);
  const auto right = unit_vector(cols, 4);
  dense_matrix X(rows, cols);
  fill(X, 0.0);
  for (index_t k = 0; k < rows; ++k)
    for (index_t j = 0; j < cols; ++j)
      for (index_t i = 0; i < rows; ++i)
        X(i, j) += householder(left, i, k) * s[static_cast<std::size_t>(k)] *
                   householder(right, j, k);
  return X;
}

// From 1 down to 1 / condition, in equal ratios.
std::vector<double> values_down_to(double condition, index_t count) {
  std::vector<double> s;
  for (index_t k = 0; k < count; ++k)
    s.push_back(
        std::pow(condition, -static_cast<double>(k) / static_cast<double>(count - 1)));
  return s;
}

struct factored {
  dense_vector y;
  dense_matrix X;
  data_normalizer normalizer;
  std::unique_ptr<const common_penalty_factors> factors;

  factored(const std::vector<double>& s, index_t cols)
      : y(static_cast<index_t>(s.size())),
        X{matrix_with(s, cols)},
        normalizer{untouched, make_target(y), X},
        factors{make_dual_factors(common_penalty_design{normalizer, y, X, false})} {}

  static const_vector_view make_target(dense_vector& y) {
    for (index_t i = 0; i < y.size(); ++i) y[i] = std::cos(static_cast<double>(i));
    return y;
  }
};

// The largest relative error of a singular value.
double worst_error(const penalty_spectrum& spectrum, std::vector<double> expected) {
  std::vector<double> found(spectrum.s.begin(), spectrum.s.end());
  std::sort(found.begin(), found.end());
  std::sort(expected.begin(), expected.end());
  double worst = 0.0;
  for (std::size_t k = 0; k < found.size(); ++k)
    worst = std::max(worst, std::abs(found[k] / expected[k] - 1.0));
  return worst;
}

// |U'U - I|
double departure_from_orthogonality(const penalty_rows& rows) {
  dense_matrix gram(rows.rank(), rows.rank());
  gemm(1.0, transposed, rows.basis(), plain, rows.basis(), 0.0, gram);
  double worst = 0.0;
  for (index_t j = 0; j < gram.cols(); ++j)
    for (index_t i = 0; i < gram.rows(); ++i)
      worst = std::max(worst, std::abs(gram(i, j) - (i == j ? 1.0 : 0.0)));
  return worst;
}

// An eigenvalue of X X' loses digits as the square of the condition, a singular value of
// the triangle as the condition: beyond a condition of 100 the second must have been taken.
TEST(dual_factors, singular_values_lose_no_more_digits_than_the_condition_has) {
  constexpr double rounding = std::numeric_limits<double>::epsilon();
  for (const index_t cols : {20, 31, 700}) {
    for (const double condition : {1.5, 10.0, 90.0}) {
      const auto s = values_down_to(condition, 20);
      const factored problem(s, cols);
      EXPECT_LT(worst_error(problem.factors->spectrum(), s),
                20.0 * rounding * condition * condition);
      EXPECT_LT(departure_from_orthogonality(problem.factors->rows()), 1e-13);
    }
    for (const double condition : {110.0, 1e4, 1e6, 1e10}) {
      const auto s = values_down_to(condition, 20);
      const factored problem(s, cols);
      EXPECT_LT(worst_error(problem.factors->spectrum(), s), 100.0 * rounding * condition)
          << condition;
      EXPECT_LT(departure_from_orthogonality(problem.factors->rows()), 1e-13);
    }
  }
}

TEST(dual_factors, take_values_whose_squares_are_at_the_ends_of_the_range) {
  for (const double unit : {1e-155, 1e150}) {
    std::vector<double> s = values_down_to(5.0, 12);
    for (double& value : s) value *= unit;
    const factored problem(s, 40);
    EXPECT_LT(worst_error(problem.factors->spectrum(), s), 1e-13) << unit;
  }
}

}  // namespace

}  // namespace corvane::model::ridge_regression_detail
