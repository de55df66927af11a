// SPDX-License-Identifier: BSD-3-Clause
//
// The fit at given strengths: conditions of optimality, and a plain solver.
#include "model/linear_linked_regression/path/sparse_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "sparse_path_problem.h"

namespace corvane::model::sparse_path {

namespace {

// X'(y - p) and sum(y - p), from weights and intercept alone.
void expect_optimal(const sparse_problem& problem, const sparse_fit& fit) {
  const index_t n = problem.X.rows();
  dense_vector residuals{n};
  double sum = 0.0;
  for (index_t i = 0; i < n; ++i) {
    double z = fit.intercept;
    for (index_t j = 0; j < problem.X.cols(); ++j) z += problem.X(i, j) * fit.weights[j];
    residuals[i] = problem.s[i] / (1.0 + std::exp(problem.s[i] * z));
    sum += residuals[i];
  }
  EXPECT_TRUE(fit.is_optimal);
  if (problem.with_intercept) {
    EXPECT_NEAR(sum, 0.0, 1e-8);
  }
  for (index_t j = 0; j < problem.X.cols(); ++j) {
    double slope = -fit.strengths.l2[j] * fit.weights[j];
    for (index_t i = 0; i < n; ++i) slope += problem.X(i, j) * residuals[i];
    const double l1 = fit.strengths.l1[j];
    const double balanced = fit.weights[j] == 0.0 ? std::clamp(slope, -l1, l1)
                                                  : std::copysign(l1, fit.weights[j]);
    EXPECT_NEAR(slope, balanced, 1e-8);
  }
}

TEST(sparse_fit, meets_the_conditions_of_optimality_on_tall_and_wide_data) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    for (const bool with_intercept : {true, false}) {
      const drawn_sparse_problem tall{80, 10, seed};
      const drawn_sparse_problem wide{30, 90, seed};
      for (const auto* drawn : {&tall, &wide}) {
        const sparse_problem problem{drawn->X, drawn->s, with_intercept};
        for (const double l1 : {1.0, 0.3, 0.05})
          for (const double l2 : {0.0, 0.1})
            expect_optimal(problem, fit(problem, equal_strengths(drawn->X.cols(), l1, l2)));
      }
    }
  }
}

TEST(sparse_fit, is_that_of_a_plain_solver) {
  const drawn_sparse_problem drawn{60, 8, 3};
  for (const bool with_intercept : {true, false}) {
    column_strengths strengths = equal_strengths(8, 0.3, 0.05);
    strengths.l1[2] = strengths.l2[2] = 0.0;
    strengths.l1[4] = 0.9;
    const sparse_fit found =
        fit(sparse_problem{drawn.X, drawn.s, with_intercept}, strengths);
    const plain_solution plain =
        plain_solver{drawn, strengths, with_intercept, -1}.solve(zero_solution(8));
    EXPECT_NEAR(found.intercept, plain.intercept, 1e-8);
    for (index_t j = 0; j < 8; ++j) {
      const double expected = plain.weights[static_cast<std::size_t>(j)];
      EXPECT_NEAR(found.weights[j], expected, 1e-8);
      EXPECT_EQ(found.weights[j] == 0.0, expected == 0.0);
    }
  }
}

TEST(sparse_fit, does_not_depend_on_the_fit_that_it_starts_from) {
  const drawn_sparse_problem drawn{40, 60, 5};
  const sparse_problem problem{drawn.X, drawn.s, true};
  const column_strengths strengths = equal_strengths(60, 0.2, 0.0);
  const sparse_fit direct = fit(problem, strengths);
  const sparse_fit before = fit(problem, equal_strengths(60, 0.05, 0.3));
  const sparse_fit other = refit(problem, before, strengths);
  for (index_t j = 0; j < 60; ++j) EXPECT_NEAR(other.weights[j], direct.weights[j], 1e-7);
}

TEST(sparse_fit, null_fit_stands_where_the_first_weight_leaves_0) {
  const drawn_sparse_problem drawn{50, 12, 7};
  const sparse_problem problem{drawn.X, drawn.s, true};
  const sparse_fit null = null_fit(problem, equal_strengths(12, 1.0, 0.0));
  const double largest = null.strengths.l1[0];
  const auto count_at = [&](double l1) {
    const sparse_fit at = fit(problem, equal_strengths(12, l1, 0.0));
    return std::count_if(at.weights.begin(), at.weights.end(),
                         [](double w) { return w != 0.0; });
  };
  EXPECT_EQ(count_at(largest * (1.0 + 1e-6)), 0);
  EXPECT_EQ(count_at(largest * (1.0 - 1e-6)), 1);
}

TEST(sparse_fit, equal_and_constant_columns_do_no_harm) {
  drawn_sparse_problem drawn{50, 6, 9};
  for (index_t i = 0; i < 50; ++i) {
    drawn.X(i, 3) = drawn.X(i, 0);
    drawn.X(i, 5) = 0.0;
  }
  const sparse_problem problem{drawn.X, drawn.s, true};
  const sparse_fit found = fit(problem, equal_strengths(6, 0.1, 0.0));
  expect_optimal(problem, found);
  EXPECT_EQ(found.weights[5], 0.0);
}

TEST(sparse_fit, separable_classes_without_a_penalty_have_no_minimum) {
  dense_matrix X{4, 1};
  dense_vector s{4};
  for (index_t i = 0; i < 4; ++i) {
    X(i, 0) = static_cast<double>(i) - 1.5;
    s[i] = i < 2 ? -1.0 : 1.0;
  }
  const sparse_problem problem{X, s, true};
  EXPECT_FALSE(fit(problem, equal_strengths(1, 0.0, 0.0)).is_optimal);
  EXPECT_TRUE(fit(problem, equal_strengths(1, 1e-3, 0.0)).is_optimal);
}

}  // namespace

}  // namespace corvane::model::sparse_path
