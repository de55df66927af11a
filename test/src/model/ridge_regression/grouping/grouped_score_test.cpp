// SPDX-License-Identifier: BSD-3-Clause
//
// The scores as functions of one root per group of columns.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "model/ridge_regression/scores/range_risk_objective.h"
#include "optimization/interface_only/grouped_variable_objective.h"
#include "src/model/ridge_regression/ridge_oracle.h"

namespace corvane::model::ridge_regression_detail {

namespace {

index_vector groups_of(const std::vector<index_t>& numbers) {
  index_vector groups{static_cast<index_t>(numbers.size())};
  std::copy(numbers.begin(), numbers.end(), groups.begin());
  return groups;
}

// The three scores of one problem.
std::vector<std::shared_ptr<ridge_regression_objective>> scores_of(
    const ridge_problem& problem) {
  return {std::make_shared<loocv_objective>(problem.design(), problem.target()),
          std::make_shared<gcv_objective>(problem.target(), problem.design()),
          std::make_shared<range_risk_objective>(problem.target(), problem.design())};
}

score_derivatives derivatives_of(second_order_objective& objective,
                                 const std::vector<double>& u) {
  const auto size = static_cast<index_t>(u.size());
  double value = 0.0;
  dense_vector gradient{size};
  symmetric_matrix hessian{size, size};
  EXPECT_TRUE(
      objective.compute_value_gradient_hessian(view_of(u), value, gradient, hessian));
  score_derivatives made{widened(value), {}, real_matrix{size, size}};
  for (const double slope : gradient) made.gradient.push_back(widened(slope));
  for (index_t j = 0; j < size; ++j)
    for (index_t i = j; i < size; ++i) made.hessian(i, j) = widened(hessian(i, j));
  return made;
}

std::vector<std::shared_ptr<ridge_regression_objective>> grouped_scores_of(
    const ridge_problem& problem, const std::vector<index_t>& groups) {
  auto scores = scores_of(problem);
  for (const auto& score : scores) score->set_groups(groups_of(groups));
  return scores;
}

// All derivatives by the t_j, summed over the groups afterwards.
void expect_sums_of_all_derivatives(const ridge_problem& problem,
                                    const std::vector<index_t>& groups,
                                    const std::vector<double>& u) {
  const auto grouped = grouped_scores_of(problem, groups);
  const auto by_column = scores_of(problem);
  for (std::size_t k = 0; k < grouped.size(); ++k) {
    std::shared_ptr<second_order_objective> score = by_column[k];
    grouped_variable_objective summed{groups_of(groups), std::move(score)};
    EXPECT_TRUE(agrees(*grouped[k], u, derivatives_of(summed, u)));
  }
}

}  // namespace

TEST(grouped_score, sums_the_derivatives_within_each_group) {
  for (const index_t n : {40, 41, 530}) {
    SCOPED_TRACE(n);
    expect_sums_of_all_derivatives(make_problem(n, 6, 1), {0, 0, 0, 1, 1, 2},
                                   {0.5, 0.8, 1.1});
  }
}

TEST(grouped_score, takes_groups_in_any_order_and_of_one_column_each) {
  expect_sums_of_all_derivatives(make_problem(40, 6, 2), {2, 0, 1, 0, 2, 1},
                                 {0.5, 0.8, 1.1});
  expect_sums_of_all_derivatives(make_problem(40, 4, 3), {3, 1, 0, 2}, make_point(4));
}

TEST(grouped_score, takes_one_group_of_all_columns) {
  expect_sums_of_all_derivatives(make_problem(40, 5, 4), {0, 0, 0, 0, 0}, {0.7});
}

TEST(grouped_score, leaves_a_bias_column_without_a_penalty) {
  expect_sums_of_all_derivatives(make_problem_with_bias(40, 5, 5), {0, 1, 1, 0, 1},
                                 {0.6, 0.9});
}

TEST(grouped_score, wide_designs_are_summed_within_the_groups_as_well) {
  const ridge_problem problem = make_problem(150, 140, 6);
  std::vector<index_t> groups(140);
  for (std::size_t j = 0; j < groups.size(); ++j) groups[j] = static_cast<index_t>(j % 3);
  expect_sums_of_all_derivatives(problem, groups, {0.6, 0.9, 1.2});
}

TEST(grouped_score, has_no_slope_in_the_root_of_a_group_without_columns) {
  for (const auto& score : grouped_scores_of(make_problem(20, 3, 7), {0, 2, 2})) {
    const score_derivatives found = derivatives_of(*score, {0.5, 0.0, 0.8});
    EXPECT_EQ(found.gradient[1], 0.0L);
    EXPECT_EQ(found.hessian(1, 1), 0.0L);
    EXPECT_EQ(found.hessian(1, 0), 0.0L);
    EXPECT_EQ(found.hessian(2, 1), 0.0L);
  }
}

TEST(grouped_score, combined_calls_give_the_numbers_of_separate_calls) {
  for (const auto& score : grouped_scores_of(make_problem(300, 5, 9), {0, 1, 0, 1, 1})) {
    EXPECT_TRUE(combined_calls_repeat_separate_calls(*score, {0.4, 0.9}));
  }
}

TEST(grouped_score, its_value_at_a_point_does_not_depend_on_earlier_evaluations) {
  const ridge_problem problem = make_problem(300, 4, 11);
  const std::vector<index_t> groups{0, 1, 0, 1};
  const auto used = scores_of(problem);
  const auto fresh = grouped_scores_of(problem, groups);
  const std::vector<double> u{0.4, 0.9};
  for (std::size_t k = 0; k < used.size(); ++k) {
    double value = 0.0;
    dense_vector gradient{4};
    ASSERT_TRUE(used[k]->compute_gradient(view_of(make_point(4)), gradient));
    ASSERT_TRUE(used[k]->compute_value(view_of({0.4, 0.9, 0.4, 0.9}), value));
    EXPECT_FALSE(used[k]->compute_value(view_of({0.4, 0.0, 0.4, 0.9}), value));
    ASSERT_TRUE(used[k]->compute_value(view_of({0.4, 0.9, 0.4, 0.9}), value));
    used[k]->set_groups(groups_of(groups));
    const score_derivatives again = derivatives_of(*used[k], u);
    const score_derivatives expected = derivatives_of(*fresh[k], u);
    EXPECT_EQ(again.value, expected.value);
    EXPECT_EQ(again.gradient, expected.gradient);
    EXPECT_EQ(again.hessian(1, 0), expected.hessian(1, 0));
  }
}

TEST(grouped_score, the_weights_are_those_of_the_columns_own_penalties) {
  const ridge_problem problem = make_problem(20, 3, 10);
  const auto grouped = grouped_scores_of(problem, {1, 0, 1});
  const auto by_column = scores_of(problem);
  for (std::size_t k = 0; k < grouped.size(); ++k) {
    dense_vector weights{3};
    dense_vector expected{3};
    ASSERT_TRUE(grouped[k]->compute_weights(view_of({0.5, 0.8}), weights));
    ASSERT_TRUE(by_column[k]->compute_weights(view_of({0.8, 0.5, 0.8}), expected));
    for (index_t j = 0; j < 3; ++j) EXPECT_EQ(weights[j], expected[j]);
  }
}

}  // namespace corvane::model::ridge_regression_detail
