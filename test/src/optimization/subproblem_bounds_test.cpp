// SPDX-License-Identifier: BSD-3-Clause
//
// The bracket of the multiplier, and the estimates that a factorization gives.
#include "optimization/subproblem_bounds.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <vector>

#include "n_array/n_array.h"
#include "optimization/null_vector_estimation.h"
#include "optimization/shifted_system.h"
#include "support/symmetric_eigen.h"

namespace corvane::testing {

namespace {

symmetric_matrix symmetric_of(const square_rows& rows) {
  const auto n = static_cast<index_t>(rows.size());
  symmetric_matrix H(n, n);
  for (index_t i = 0; i < n; ++i)
    for (index_t j = i; j < n; ++j)
      H(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
  return H;
}

subproblem_bounds bounds_of(std::vector<double> g, const square_rows& rows, double radius) {
  subproblem_bounds bounds;
  initialize_bounds(bounds, radius, {g.data(), static_cast<index_t>(g.size())},
                    symmetric_of(rows));
  return bounds;
}

TEST(subproblem_bounds, start_from_the_norms_and_the_diagonal) {
  const subproblem_bounds bounds = bounds_of({3.0, -4.0}, {{1.0, -2.0}, {-2.0, -6.0}}, 0.5);
  EXPECT_EQ(bounds.gradient_norm, 5.0);
  EXPECT_EQ(bounds.hessian_norm, 8.0);
  EXPECT_EQ(bounds.lambda_singular, 6.0);
  EXPECT_EQ(bounds.lambda_high, 18.0);
  EXPECT_EQ(bounds.lambda_low, 6.0);
}

TEST(subproblem_bounds, of_a_zero_gradient_and_a_positive_definite_hessian_start_at_zero) {
  const subproblem_bounds bounds = bounds_of({0.0, 0.0}, {{2.0, 1.0}, {1.0, 3.0}}, 1.0);
  EXPECT_EQ(bounds.lambda_low, 0.0);
  EXPECT_EQ(bounds.lambda_high, bounds.hessian_norm);
}

TEST(subproblem_bounds, of_an_exact_hard_case_are_closed) {
  const subproblem_bounds bounds = bounds_of({0.0, 0.0}, {{-1.0, 0.0}, {0.0, 1.0}}, 1.0);
  EXPECT_EQ(bounds.lambda_singular, 1.0);
  EXPECT_EQ(bounds.lambda_low, 1.0);
  EXPECT_EQ(bounds.lambda_high, 1.0);
}

TEST(subproblem_bounds, of_an_empty_model_know_nothing_of_the_curvature) {
  EXPECT_EQ(bounds_of({}, {}, 1.0).lambda_singular, -std::numeric_limits<double>::max());
}

TEST(subproblem_bounds, shrunk_to_a_quarter_of_the_radius_do_not_go_below_lambda) {
  subproblem_bounds bounds = bounds_of({1.0}, {{4.0}}, 1.0);
  shrink_bounds(bounds, 0.25, 2.5);
  EXPECT_EQ(bounds.lambda_low, 2.5);
  EXPECT_EQ(bounds.lambda_high, 8.0);
  EXPECT_EQ(bounds.lambda_singular, -4.0);
}

TEST(safeguard, pulls_a_candidate_into_the_bracket) {
  const subproblem_bounds bounds{0.0, 0.0, 1.0, 9.0, -1.0};
  EXPECT_EQ(safeguard(bounds, 0.5), 1.0);
  EXPECT_EQ(safeguard(bounds, 10.0), 9.0);
  EXPECT_EQ(safeguard(bounds, 4.0), 4.0);
}

TEST(safeguard, replaces_a_candidate_that_does_not_exceed_the_singular_bound) {
  EXPECT_EQ(safeguard({0.0, 0.0, 1.0, 9.0, 1.0}, 0.5), 3.0);
  EXPECT_EQ(safeguard({0.0, 0.0, 0.0, 9.0, 0.0}, 0.0), 0.001 * 9.0);
}

TEST(raise_singular, raises_the_lower_end_along_and_ignores_a_nan) {
  subproblem_bounds bounds{0.0, 0.0, 1.0, 9.0, 0.5};
  raise_singular(bounds, 2.0);
  EXPECT_EQ(bounds.lambda_singular, 2.0);
  EXPECT_EQ(bounds.lambda_low, 2.0);
  raise_singular(bounds, 1.5);
  raise_singular(bounds, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(bounds.lambda_singular, 2.0);
  EXPECT_EQ(bounds.lambda_low, 2.0);
}

square_rows random_symmetric(std::size_t n, std::mt19937& generator) {
  std::normal_distribution<double> normal;
  square_rows a(n, std::vector<double>(n));
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j <= i; ++j) a[i][j] = a[j][i] = normal(generator);
  return a;
}

// Up to sizes at which the factorization works in blocks.
TEST(pivot_bound, exceeds_the_failing_shift_and_stays_below_minus_the_smallest_eigenvalue) {
  std::mt19937 generator{5};
  for (const index_t n : {1, 2, 7, 40, 150}) {
    const square_rows rows = random_symmetric(static_cast<std::size_t>(n), generator);
    const double smallest = decompose_symmetric(rows).values.front();
    const symmetric_matrix H = symmetric_of(rows);
    symmetric_matrix factor(n, n);
    for (const double fraction : {0.0, 0.3, 0.6, 0.9, 0.99}) {
      const double lambda = fraction * -smallest;
      const std::optional<index_t> pivot = factorize_shifted(H, lambda, factor);
      if (smallest >= 0.0) continue;
      ASSERT_TRUE(pivot) << n;
      const double bound = pivot_bound(*pivot, lambda, H, factor);
      EXPECT_LE(bound, -smallest * (1.0 + 1e-12));
      EXPECT_TRUE(*pivot == 0 || bound >= lambda * (1.0 - 1e-12));
    }
  }
}

TEST(sign_vector, is_the_greedy_choice_of_a_factor_worked_by_hand) {
  // L = [1 0; 2 1]: the first tie takes -1, so that x1 = -1 and the sum below is -2;
  // x2 = 1 - (-2) = 3 outgrows -1 - (-2) = 1.
  const symmetric_matrix factor = symmetric_of({{1.0, 2.0}, {2.0, 1.0}});
  std::vector<double> e(2);
  sign_vector(factor, {e.data(), 2});
  EXPECT_EQ(e, (std::vector<double>{-1.0, 1.0}));
}

TEST(probe_boundary, finds_a_direction_of_little_curvature_and_lands_on_the_boundary) {
  std::mt19937 generator{6};
  for (const index_t n : {2, 7, 40}) {
    const square_rows rows = random_symmetric(static_cast<std::size_t>(n), generator);
    const double smallest = decompose_symmetric(rows).values.front();
    const symmetric_matrix H = symmetric_of(rows);
    symmetric_matrix factor(n, n);
    const double excess = 1e-8;
    ASSERT_FALSE(factorize_shifted(H, -smallest + excess, factor));
    const std::vector<double> step(static_cast<std::size_t>(n), 0.01);
    std::vector<double> z(static_cast<std::size_t>(n));
    const double squared = 1e-4 * static_cast<double>(n);
    const boundary_move move =
        probe_boundary(factor, {step.data(), n}, squared, 1.0, {z.data(), n});
    // L'z = e / ||u|| with ||e||^2 = n and u = L'^-1 e of length (e'q) / sqrt(excess), q
    // the left singular vector: n excess, but for the factor (e'q)^-2.
    EXPECT_LT(move.curvature, 4.0 * static_cast<double>(n) * excess);
    EXPECT_GT(move.curvature, 0.9 * excess);
    double reached = 0.0;
    for (std::size_t i = 0; i < z.size(); ++i)
      reached += std::pow(step[i] + move.tau * z[i], 2);
    EXPECT_NEAR(reached, 1.0, 1e-12);
  }
}

// With L = 2 and p = 0.5 the probe is z = -1: 0.5 - tau reaches 1 at tau = -0.5, and -1 at
// 1.5.
TEST(probe_boundary, takes_the_shorter_of_the_two_ways) {
  symmetric_matrix factor(1, 1);
  factor(0, 0) = 2.0;
  const std::vector<double> step{0.5};
  std::vector<double> z(1);
  const boundary_move move =
      probe_boundary(factor, {step.data(), 1}, 0.25, 1.0, {z.data(), 1});
  EXPECT_EQ(z[0], -1.0);
  EXPECT_EQ(move.tau, -0.5);
  EXPECT_EQ(move.gap, 0.75);
  EXPECT_EQ(move.curvature, 4.0);
}

// In one variable 1 / |p(lambda)| = (h + lambda) / |g| is linear, so that one iterate
// solves the equation: with h = 2 and g = -6 the norm is 2 at lambda = 1, and 1 / 2 at 10.
TEST(newton_multiplier, solves_a_model_of_one_variable_at_once) {
  symmetric_matrix factor(1, 1);
  factor(0, 0) = std::sqrt(3.0);
  const std::vector<double> step{2.0};
  std::vector<double> work(1);
  EXPECT_NEAR(newton_multiplier(factor, {step.data(), 1}, 2.0, 1.0, 0.5, {work.data(), 1}),
              10.0, 1e-13);
}

}  // namespace
}  // namespace corvane::testing
