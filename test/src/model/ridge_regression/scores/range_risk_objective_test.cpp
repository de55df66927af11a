// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/range_risk_objective.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "src/model/ridge_regression/ridge_oracle.h"

namespace corvane::model::ridge_regression_detail {

namespace {

range_risk_objective make_objective(const ridge_problem& problem) {
  return {problem.target(), problem.design()};
}

// What the constructor says, or nothing.
std::string complaint(const ridge_problem& problem) {
  try {
    make_objective(problem);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

constexpr auto dependent_columns = "feature_matrix has linear dependent columns";

}  // namespace

TEST(range_risk_objective, equals_its_definition_and_the_formulas_in_plain_loops) {
  for (const index_t n : {6, 15, 16, 300}) {
    const ridge_problem problem = make_problem(n, 5, 1);
    auto objective = make_objective(problem);
    const auto t = make_point(5);
    EXPECT_TRUE(agrees(objective, t, range_risk_by_loops(problem, t))) << n;
  }
}

TEST(range_risk_objective, equals_its_definition_with_an_unpenalized_bias_column) {
  for (const index_t n : {15, 16}) {
    const ridge_problem problem = make_problem_with_bias(n, 4, 2);
    auto objective = make_objective(problem);
    const auto t = make_point(4);
    EXPECT_TRUE(agrees(objective, t, range_risk_by_loops(problem, t))) << n;
  }
}

// The triangular products are made in panels of 64 columns.
TEST(range_risk_objective, equals_its_definition_across_several_panels_of_columns) {
  const ridge_problem problem = make_problem_with_bias(200, 140, 3);
  auto objective = make_objective(problem);
  const auto t = make_point(140);
  EXPECT_TRUE(agrees(objective, t, range_risk_by_loops(problem, t)));
}

TEST(range_risk_objective, combined_calls_give_the_numbers_of_separate_calls) {
  for (const index_t p : {1, 4, 70}) {
    auto objective = make_objective(make_problem(90, p, 7));
    EXPECT_TRUE(combined_calls_repeat_separate_calls(objective, make_point(p))) << p;
  }
}

TEST(range_risk_objective, a_negative_value_is_defined) {
  auto objective = make_objective(make_problem(40, 3, 8));
  double value = 0.0;
  EXPECT_TRUE(objective.compute_value(view_of(make_point(3)), value));
  EXPECT_LT(value, 0.0);
}

TEST(range_risk_objective, is_undefined_with_as_many_rows_as_columns) {
  auto objective = make_objective(make_problem(4, 4, 9));
  double value = 0.0;
  dense_vector gradient{4};
  symmetric_matrix hessian{4, 4};
  for (const double t : {1e-3, 0.5, 1e3}) {
    const std::vector<double> point(4, t);
    EXPECT_FALSE(objective.compute_value(view_of(point), value));
    EXPECT_FALSE(objective.compute_gradient(view_of(point), gradient));
    EXPECT_FALSE(objective.compute_hessian(view_of(point), hessian));
  }
}

TEST(range_risk_objective, a_duplicated_column_throws) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    ridge_problem problem = make_problem(14, 4, seed);
    for (index_t i = 0; i < 14; ++i) problem.X(i, 3) = problem.X(i, 1);
    EXPECT_EQ(complaint(problem), dependent_columns) << "seed " << seed;
  }
}

// The last pivot is about 1e-9 of the first, far above 2^-52.
TEST(range_risk_objective, a_nearly_duplicated_column_is_accepted) {
  ridge_problem problem = make_problem(14, 4, 10);
  for (index_t i = 0; i < 14; ++i)
    problem.X(i, 3) = problem.X(i, 1) + 1e-9L * problem.X(i, 3);
  EXPECT_EQ(complaint(problem), "");
}

TEST(range_risk_objective, columns_of_zeros_throw) {
  ridge_problem problem = make_problem(8, 3, 11);
  for (index_t i = 0; i < 8; ++i) problem.X(i, 1) = 0.0L;
  EXPECT_EQ(complaint(problem), dependent_columns);
  EXPECT_EQ(complaint({real_matrix{8, 2}, real_vector(8, 1.0L)}), dependent_columns);
}

TEST(range_risk_objective, fewer_rows_than_columns_throw) {
  EXPECT_EQ(complaint(make_problem(3, 4, 12)), dependent_columns);
  EXPECT_EQ(complaint(make_problem(4, 4, 12)), "");
}

TEST(range_risk_objective, a_point_with_a_zero_entry_is_undefined) {
  auto objective = make_objective(make_problem(9, 3, 13));
  double value = 0.0;
  EXPECT_FALSE(objective.compute_value(view_of({0.5, 0.0, 0.5}), value));
}

TEST(range_risk_objective, an_evaluation_that_overflows_is_undefined) {
  ridge_problem problem = make_problem(9, 3, 14);
  for (real& y : problem.y) y *= 1e200L;
  auto objective = make_objective(problem);
  double value = 0.0;
  dense_vector gradient{3};
  symmetric_matrix hessian{3, 3};
  EXPECT_FALSE(objective.compute_value(view_of(make_point(3)), value));
  EXPECT_FALSE(objective.compute_gradient(view_of(make_point(3)), gradient));
  EXPECT_FALSE(objective.compute_hessian(view_of(make_point(3)), hessian));
}

TEST(range_risk_objective, the_weights_solve_the_ridge_equations) {
  for (const index_t penalized : {6, 5}) {
    const ridge_problem problem = make_problem_with_bias(19, 5, 15);
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

}  // namespace corvane::model::ridge_regression_detail
