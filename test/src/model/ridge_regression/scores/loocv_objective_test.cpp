// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/loocv_objective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "src/model/ridge_regression/ridge_oracle.h"

namespace corvane::model::ridge_regression_detail {

namespace {

loocv_objective make_objective(const ridge_problem& problem) {
  return {problem.design(), problem.target()};
}

// The sum of squared errors of n fits, each without one row, at that row.
real press_by_refits(const ridge_problem& problem, const std::vector<double>& t) {
  real sum = 0.0L;
  for (index_t i = 0; i < problem.X.rows; ++i) {
    const real_vector weights = ridge_weights(without_row(problem, i), t);
    real error = problem.y[static_cast<std::size_t>(i)];
    for (index_t j = 0; j < problem.X.cols; ++j)
      error -= problem.X(i, j) * weights[static_cast<std::size_t>(j)];
    sum += error * error;
  }
  return sum;
}

void expect_value_of_refits(const ridge_problem& problem, const std::vector<double>& t) {
  auto objective = make_objective(problem);
  double value = 0.0;
  ASSERT_TRUE(objective.compute_value(view_of(t), value));
  const auto expected = static_cast<double>(press_by_refits(problem, t));
  EXPECT_NEAR(value / expected, 1.0, 1e-12);
}

struct shape {
  index_t n;
  index_t p;
};

// The last ones take more than one block of rows, the last of them not full.
const std::vector<shape> shapes{{2, 1}, {9, 4}, {10, 4}, {4, 7}, {256, 3}, {600, 5}};

bool is_undefined(bool result, double value) { return !result || !std::isfinite(value); }

}  // namespace

TEST(loocv_objective, the_value_is_that_of_as_many_refits_as_observations) {
  expect_value_of_refits(make_problem(23, 5, 1), make_point(5));
  expect_value_of_refits(make_problem(24, 5, 2), make_point(5));
}

TEST(loocv_objective, the_value_is_that_of_the_refits_with_fewer_rows_than_columns) {
  expect_value_of_refits(make_problem(6, 9, 3), make_point(9));
}

TEST(loocv_objective, the_value_is_that_of_the_refits_with_an_unpenalized_bias_column) {
  expect_value_of_refits(make_problem_with_bias(20, 4, 4), make_point(4));
}

TEST(loocv_objective, value_gradient_and_hessian_equal_their_formulas_in_plain_loops) {
  for (const auto& [n, p] : shapes) {
    SCOPED_TRACE(::testing::Message() << n << " by " << p);
    const ridge_problem problem = make_problem(n, p, 5);
    auto objective = make_objective(problem);
    const auto t = make_point(p);
    EXPECT_TRUE(agrees(objective, t, leave_one_out_by_loops(problem, problem, 1, t)));
  }
}

TEST(loocv_objective, an_unpenalized_bias_column_enters_the_derivatives_as_in_the_loops) {
  for (const index_t n : {12, 13, 300}) {
    const ridge_problem problem = make_problem_with_bias(n, 5, 6);
    auto objective = make_objective(problem);
    const auto t = make_point(5);
    EXPECT_TRUE(agrees(objective, t, leave_one_out_by_loops(problem, problem, 1, t))) << n;
  }
}

// The tables of so many columns leave room in the arena for fewer rows of a block.
TEST(loocv_objective, wide_designs_in_shorter_blocks_agree_with_the_loops) {
  const ridge_problem problem = make_problem(260, 215, 7);
  auto objective = make_objective(problem);
  const auto t = make_point(20);
  EXPECT_TRUE(agrees(objective, t, leave_one_out_by_loops(problem, problem, 1, t)));
}

TEST(loocv_objective, combined_calls_give_the_numbers_of_separate_calls) {
  for (const auto& [n, p] : shapes) {
    auto objective = make_objective(make_problem(n, p, 11));
    EXPECT_TRUE(combined_calls_repeat_separate_calls(objective, make_point(p))) << n;
  }
}

TEST(loocv_objective, tends_to_the_targets_squares_under_huge_equal_penalties) {
  const ridge_problem problem = make_problem(12, 3, 12);
  auto objective = make_objective(problem);
  real target_square = 0.0L;
  for (const real y : problem.y) target_square += y * y;
  double value = 0.0;
  ASSERT_TRUE(objective.compute_value(view_of({1e9, 1e9, 1e9}), value));
  EXPECT_NEAR(value / static_cast<double>(target_square), 1.0, 1e-14);
}

TEST(loocv_objective, the_residuals_are_orthogonal_to_an_unpenalized_bias_column) {
  const ridge_problem problem = make_problem_with_bias(18, 3, 13);
  auto objective = make_objective(problem);
  dense_vector weights{4};
  ASSERT_TRUE(objective.compute_weights(view_of(make_point(3)), weights));
  real sum_of_residuals = 0.0L;
  for (index_t i = 0; i < 18; ++i) {
    sum_of_residuals += problem.y[static_cast<std::size_t>(i)];
    for (index_t j = 0; j < 4; ++j)
      sum_of_residuals -= problem.X(i, j) * widened(weights[j]);
  }
  EXPECT_NEAR(static_cast<double>(sum_of_residuals), 0.0, 1e-13);
}

TEST(loocv_objective, a_point_with_a_zero_entry_is_undefined_and_throws_nothing) {
  auto objective = make_objective(make_problem(9, 3, 14));
  const std::vector<double> t{0.5, 0.0, 0.5};
  double value = 0.0;
  dense_vector gradient{3};
  symmetric_matrix hessian{3, 3};
  dense_vector weights{3};
  EXPECT_TRUE(is_undefined(objective.compute_value(view_of(t), value), value));
  EXPECT_FALSE(objective.compute_gradient(view_of(t), gradient));
  EXPECT_FALSE(objective.compute_hessian(view_of(t), hessian));
  EXPECT_FALSE(objective.compute_weights(view_of(t), weights));
}

TEST(loocv_objective, a_point_with_a_nan_is_undefined) {
  auto objective = make_objective(make_problem(9, 3, 14));
  const std::vector<double> t{0.5, std::numeric_limits<double>::quiet_NaN(), 0.5};
  double value = 0.0;
  EXPECT_TRUE(is_undefined(objective.compute_value(view_of(t), value), value));
}

// The column of zeros has no penalty, so that its pivot is exactly zero.
TEST(loocv_objective, every_operation_is_false_where_the_normal_matrix_is_singular) {
  ridge_problem problem = make_problem(9, 3, 15);
  for (index_t i = 0; i < 9; ++i) problem.X(i, 2) = 0.0L;
  auto objective = make_objective(problem);
  const auto t = make_point(2);
  double value = 0.0;
  dense_vector gradient{2};
  symmetric_matrix hessian{2, 2};
  dense_vector weights{3};
  EXPECT_FALSE(objective.compute_value(view_of(t), value));
  EXPECT_FALSE(objective.compute_gradient(view_of(t), gradient));
  EXPECT_FALSE(objective.compute_value_gradient(view_of(t), value, gradient));
  EXPECT_FALSE(objective.compute_hessian(view_of(t), hessian));
  EXPECT_FALSE(objective.compute_gradient_hessian(view_of(t), gradient, hessian));
  EXPECT_FALSE(
      objective.compute_value_gradient_hessian(view_of(t), value, gradient, hessian));
  EXPECT_FALSE(objective.compute_weights(view_of(t), weights));
}

// Left out, the one observation is predicted as 0 by a fit to nothing: r / d = y.
TEST(loocv_objective, the_value_of_one_observation_is_its_scaled_residual_squared) {
  const ridge_problem problem = make_problem(1, 3, 16);
  auto objective = make_objective(problem);
  double value = 0.0;
  ASSERT_TRUE(objective.compute_value(view_of(make_point(3)), value));
  EXPECT_NEAR(value, static_cast<double>(problem.y[0] * problem.y[0]), 1e-13);
  dense_vector gradient{3};
  ASSERT_TRUE(objective.compute_gradient(view_of(make_point(3)), gradient));
  for (const double entry : gradient) EXPECT_NEAR(entry, 0.0, 1e-12);
}

TEST(loocv_objective, the_weights_solve_the_ridge_equations) {
  for (const index_t penalized : {6, 5}) {
    const ridge_problem problem = make_problem_with_bias(19, 5, 17);
    auto objective = make_objective(problem);
    const auto t = make_point(penalized);
    dense_vector weights{6};
    ASSERT_TRUE(objective.compute_weights(view_of(t), weights));
    const real_vector expected = ridge_weights(problem, t);
    for (index_t j = 0; j < 6; ++j)
      EXPECT_NEAR(weights[j], static_cast<double>(expected[static_cast<std::size_t>(j)]),
                  1e-12);
  }
}

// 1e16 + 1 - 1e16 is 1 in extended precision and 0 in double.
TEST(loocv_objective, the_correlation_is_summed_in_extended_precision) {
  dense_matrix design{3, 1};
  std::fill(design.begin(), design.end(), 1.0);
  dense_vector target{3};
  target[0] = 1e16;
  target[1] = 1.0;
  target[2] = -1e16;
  loocv_objective objective{std::move(design), std::move(target)};
  dense_vector weight{1};
  ASSERT_TRUE(objective.compute_weights(view_of({1.0}), weight));
  EXPECT_NEAR(weight[0], 0.25, 1e-15);
}

TEST(loocv_objective, design_and_target_are_moved_without_a_copy) {
  const ridge_problem problem = make_problem(8, 2, 18);
  dense_matrix design = problem.design();
  dense_vector target = problem.target();
  const loocv_objective objective{std::move(design), std::move(target)};
  EXPECT_EQ(design.data(), nullptr);  // NOLINT(bugprone-use-after-move): the promise tested
  EXPECT_EQ(target.data(), nullptr);  // NOLINT(bugprone-use-after-move): the promise tested
}

}  // namespace corvane::model::ridge_regression_detail
