// SPDX-License-Identifier: BSD-3-Clause
//
// Value, gradient and Hessian of the outer objective: against central differences of its
// own value and gradient, with inner problems solved to rounding, and against plain loops
// over the formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "classification_problem.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "penalty_kind.h"
#include "plain_loo_formulas.h"
#include "polished_optimizer.h"
#include "support/objective_law.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using loss_link_detail::logistic_log_likelihood_loss_link;

aloocv_objective objective_of(std::shared_ptr<const regularizer> penalty,
                              const classification_problem& problem) {
  return {std::make_shared<polished_optimizer>(),
          std::make_shared<logistic_log_likelihood_loss_link>(), std::move(penalty),
          dense_matrix{problem.X}, dense_vector{problem.y}};
}

// A penalty on a problem, at a theta.
struct outer_case {
  std::string name;
  penalty_kind kind;
  index_t n, p, num_groups;
  bool with_intercept;
  std::vector<double> theta;

  classification_problem problem() const {
    classification_problem drawn = drawn_problem(n, p, 1);
    return with_intercept ? with_intercept_column(std::move(drawn)) : std::move(drawn);
  }
  std::shared_ptr<const regularizer> penalty() const {
    return penalty_of(kind, cyclic_groups(p, num_groups, with_intercept));
  }
};

std::vector<outer_case> outer_cases() {
  using enum penalty_kind;
  return {
      {"ridge", ridge, 30, 4, 1, false, {0.8}},
      {"ridge_groups_intercept", ridge, 30, 6, 3, true, {0.8, -1.2, 0.5}},
      {"ridge_more_features_than_rows", ridge, 12, 20, 2, true, {0.9, 1.4}},
      {"lasso", lasso, 30, 4, 1, false, {0.9}},
      {"lasso_groups_intercept", lasso, 30, 6, 2, true, {0.8, -1.5}},
      {"lasso_more_features_than_rows", lasso, 12, 20, 2, true, {2.0, 1.6}},
      {"elastic", elastic, 30, 4, 1, false, {0.6, -0.7}},
      {"elastic_groups_intercept", elastic, 30, 6, 2, true, {0.8, 1.5, 0.7, -0.6}},
      {"elastic_more_features_than_rows", elastic, 12, 20, 1, true, {0.7, 0.8}},
      {"bridge", bridge, 30, 4, 1, false, {0.8, 0.5}},
      {"bridge_groups_intercept", bridge, 30, 6, 2, true, {0.8, 1.5, 0.7, -0.6}},
      {"bridge_more_features_than_rows", bridge, 12, 20, 2, true, {0.8, 1.5, 0.7, 0.6}},
      {"bridge_of_nearly_squares", bridge, 40, 5, 1, true, {0.3, 0.98}},
  };
}

class aloocv_derivatives : public ::testing::TestWithParam<outer_case> {};

// What is left of the inner problem's rounding in V and in its gradient.
testing::law_options inner_noise() {
  testing::law_options options;
  options.value_noise = 1e-12;
  options.gradient_noise = 1e-11;
  return options;
}

TEST_P(aloocv_derivatives, are_those_of_the_value) {
  aloocv_objective objective = objective_of(GetParam().penalty(), GetParam().problem());
  EXPECT_TRUE(testing::obeys_objective_law(objective, GetParam().theta, inner_noise()));
}

TEST_P(aloocv_derivatives, agree_with_plain_loops_over_the_formulas) {
  const classification_problem problem = GetParam().problem();
  const auto penalty = GetParam().penalty();
  aloocv_objective objective = objective_of(penalty, problem);
  const auto Q = static_cast<index_t>(GetParam().theta.size());
  const const_vector_view theta{GetParam().theta.data(), Q};
  double value = 0.0;
  dense_vector gradient{Q};
  symmetric_matrix hessian{Q, Q};
  ASSERT_TRUE(objective.compute_value_gradient_hessian(theta, value, gradient, hessian));

  const plain_loo_loss plain =
      compute_plain_loo_loss(problem, *penalty, theta, objective.weights());
  EXPECT_NEAR(value, plain.value, 1e-11 * plain.value);
  for (index_t a = 0; a < Q; ++a) {
    const auto row = static_cast<std::size_t>(a);
    EXPECT_NEAR(gradient[a], plain.gradient[row], 1e-9 * (1.0 + std::abs(gradient[a])));
    for (index_t b = 0; b <= a; ++b)
      EXPECT_NEAR(hessian(a, b), plain.hessian[row][static_cast<std::size_t>(b)],
                  1e-9 * (1.0 + std::abs(hessian(a, b))))
          << a << " " << b;
  }
}

INSTANTIATE_TEST_SUITE_P(penalties, aloocv_derivatives, ::testing::ValuesIn(outer_cases()),
                         [](const auto& instance) { return instance.param.name; });

// Value and derivatives at theta, from the combined operation.
struct evaluated_outer {
  evaluated_outer(aloocv_objective objective, const std::vector<double>& theta)
      : gradient{static_cast<index_t>(theta.size())},
        hessian{gradient.size(), gradient.size()} {
    EXPECT_TRUE(objective.compute_value_gradient_hessian({theta.data(), gradient.size()},
                                                         value, gradient, hessian));
  }
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
};

// Samples and weights backwards, and group g under the number num_groups - 1 - g. The
// strengths are such that the inner problem has one minimum, the smoothed kink or not.
TEST(aloocv_derivatives, do_not_depend_on_the_order_of_samples_weights_and_groups) {
  constexpr index_t n = 60;
  constexpr index_t p = 6;
  constexpr index_t num_groups = 3;
  const classification_problem problem = drawn_problem(n, p, 1);
  classification_problem backwards{dense_matrix{n, p}, dense_vector{n}};
  std::vector<variable_mapping::entry> groups;
  for (index_t j = 0; j < p; ++j) {
    groups.emplace_back(num_groups - 1 - (p - 1 - j) % num_groups);
    for (index_t i = 0; i < n; ++i) backwards.X(i, j) = problem.X(n - 1 - i, p - 1 - j);
  }
  for (index_t i = 0; i < n; ++i) backwards.y[i] = problem.y[n - 1 - i];
  for (const penalty_kind kind : all_penalties) {
    const bool two_kinds = kind == penalty_kind::elastic || kind == penalty_kind::bridge;
    const index_t Q = (two_kinds ? 2 : 1) * num_groups;
    std::vector<double> theta{0.4, -0.6, 0.3, 0.7, 0.4, -0.6};
    theta.resize(static_cast<std::size_t>(Q));
    const auto renumbered = [](index_t a) {
      return a / num_groups * num_groups + num_groups - 1 - a % num_groups;
    };
    std::vector<double> moved(theta);
    for (index_t a = 0; a < Q; ++a)
      moved[static_cast<std::size_t>(renumbered(a))] = theta[static_cast<std::size_t>(a)];
    const evaluated_outer plain{
        objective_of(penalty_of(kind, cyclic_groups(p, num_groups)), problem), theta};
    const evaluated_outer other{
        objective_of(penalty_of(kind, variable_mapping{groups}), backwards), moved};
    EXPECT_NEAR(other.value, plain.value, 1e-12 * plain.value) << static_cast<int>(kind);
    for (index_t a = 0; a < Q; ++a) {
      EXPECT_NEAR(other.gradient[renumbered(a)], plain.gradient[a], 1e-10);
      for (index_t b = 0; b <= a; ++b) {
        const index_t low = std::min(renumbered(a), renumbered(b));
        const index_t high = std::max(renumbered(a), renumbered(b));
        EXPECT_NEAR(other.hessian(high, low), plain.hessian(a, b), 1e-9) << a << " " << b;
      }
    }
  }
}

// Outside of the smoothing zone |w| has no curvature: what theta does to the gradient of
// the penalty is then all that moves the optimum.
TEST(aloocv_derivatives_of_a_lasso, hold_with_all_weights_outside_of_the_smoothing_zone) {
  const classification_problem problem = drawn_problem(60, 3, 4);
  aloocv_objective objective =
      objective_of(penalty_of(penalty_kind::lasso, cyclic_groups(3, 1)), problem);
  EXPECT_TRUE(testing::obeys_objective_law(objective, {0.3}, inner_noise()));
  for (const double w : objective.weights())
    EXPECT_GT(std::abs(w), 10.0 * smoothing_threshold);
}

}  // namespace

}  // namespace corvane::model
