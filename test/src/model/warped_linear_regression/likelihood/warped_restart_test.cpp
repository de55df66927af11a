// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "model/warped_linear_regression/likelihood/random_draws.h"
#include "model/warped_linear_regression/likelihood/warped_objective.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "optimization/trust_region_optimizer.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using warped_linear_regression_detail::objective;
using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

std::unique_ptr<objective> make_objective(index_t num_steps, std::int64_t num_restarts) {
  return std::make_unique<objective>(
      make_tanh_target_warper_descriptor(num_steps), normal_matrix(40, 3, 1),
      dense_vector{view(normal_vector(40, 2))}, num_restarts);
}

// A target in the span of the design: no residual, and thus no finite value, anywhere.
std::unique_ptr<objective> make_undefined_objective(std::int64_t num_restarts) {
  return std::make_unique<objective>(
      make_tanh_target_warper_descriptor(1), normal_matrix(40, 3, 1),
      dense_vector{view(std::vector<double>(40, 0.0))}, num_restarts);
}

// The arguments of the hooks, evaluated at theta.
struct visited_point {
  visited_point(objective& problem, std::vector<double> theta)
      : x{std::move(theta)}, gradient(x.size()), hessian(size(), size()) {
    problem.compute_value_gradient_hessian(view(x), value, view(gradient), hessian);
  }
  index_t size() const { return static_cast<index_t>(x.size()); }
  bool adjust(objective& problem) {
    return problem.adjust_point(view(x), value, view(gradient), hessian);
  }
  bool accepted_by(objective& problem) const {
    return problem.accept_convergence(view(x), value, view(gradient), hessian);
  }

  std::vector<double> x;
  double value = 0.0;
  std::vector<double> gradient;
  symmetric_matrix hessian;
};

std::vector<double> first_normal_draws(std::size_t count) {
  std::mt19937 generator{0};
  normal_draws draws{generator};
  std::vector<double> values(count);
  for (double& value : values) value = draws.next();
  return values;
}

TEST(warped_restart, theta_zero_is_degenerate_rejected_and_redrawn) {
  const auto problem = make_objective(2, 25);
  visited_point at{*problem, std::vector<double>(6, 0.0)};
  for (const double entry : at.gradient) EXPECT_EQ(entry, 0.0);
  for (index_t j = 0; j < 6; ++j)
    for (index_t i = j; i < 6; ++i) EXPECT_EQ(at.hessian(i, j), 0.0);
  EXPECT_FALSE(at.accepted_by(*problem));
  EXPECT_TRUE(at.adjust(*problem));
  EXPECT_EQ(at.x, first_normal_draws(6));
}

TEST(warped_restart, the_adjusted_point_comes_with_its_value_and_derivatives) {
  const auto problem = make_objective(1, 25);
  visited_point at{*problem, {0.0, 0.0, 0.0}};
  ASSERT_TRUE(at.adjust(*problem));
  const visited_point fresh{*problem, at.x};
  EXPECT_EQ(at.value, fresh.value);
  EXPECT_EQ(at.gradient, fresh.gradient);
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) EXPECT_EQ(at.hessian(i, j), fresh.hessian(i, j));
}

TEST(warped_restart, two_degenerate_steps_are_redrawn_in_one_call_for_one_restart) {
  const auto problem = make_objective(3, 25);
  visited_point at{*problem, {0.0, 0.0, 0.4, 1.1, 0.9, 0.2, 0.0, 0.0, -0.4}};
  EXPECT_TRUE(at.adjust(*problem));
  const auto draws = first_normal_draws(6);
  EXPECT_EQ(at.x, (std::vector<double>{draws[0], draws[1], draws[2], 1.1, 0.9, 0.2,
                                       draws[3], draws[4], draws[5]}));
  EXPECT_EQ(problem->remaining_restarts(), 24);
}

TEST(warped_restart, a_spare_draw_is_not_kept_after_its_call) {
  const auto problem = make_objective(1, 25);
  visited_point first{*problem, {0.0, 0.0, 0.0}};
  visited_point second{*problem, {0.0, 0.0, 0.0}};
  ASSERT_TRUE(first.adjust(*problem));
  ASSERT_TRUE(second.adjust(*problem));
  std::mt19937 generator{0};
  std::vector<double> expected;
  for (int call = 0; call < 2; ++call) {
    normal_draws draws{generator};
    expected = {draws.next(), draws.next(), draws.next()};
  }
  EXPECT_EQ(second.x, expected);
}

TEST(warped_restart, a_step_is_degenerate_when_all_three_curvatures_are_at_most_the_limit) {
  constexpr double limit = 2.220446049250313e-07;
  const auto problem = make_objective(2, 25);
  visited_point at{*problem, {0.8, 1.1, 0.2, 0.4, 1.3, -0.5}};
  ASSERT_TRUE(at.accepted_by(*problem));
  for (index_t j = 3; j < 6; ++j) at.hessian(j, j) = j == 4 ? -limit : limit;
  EXPECT_FALSE(at.accepted_by(*problem));
  for (index_t j = 3; j < 6; ++j) {
    at.hessian(j, j) = std::nextafter(limit, 1.0);
    EXPECT_TRUE(at.accepted_by(*problem)) << j;
    at.hessian(j, j) = limit;
  }
}

TEST(warped_restart, a_step_that_is_not_degenerate_is_not_changed) {
  const auto problem = make_objective(1, 25);
  visited_point at{*problem, {0.8, 1.1, 0.2}};
  const visited_point before = at;
  EXPECT_TRUE(at.accepted_by(*problem));
  EXPECT_FALSE(at.adjust(*problem));
  EXPECT_EQ(at.x, before.x);
  EXPECT_EQ(problem->remaining_restarts(), 25);
}

TEST(warped_restart, without_restarts_the_hooks_do_nothing) {
  const auto problem = make_objective(1, 0);
  visited_point at{*problem, {0.0, 0.0, 0.0}};
  EXPECT_TRUE(at.accepted_by(*problem));
  EXPECT_FALSE(at.adjust(*problem));
  EXPECT_EQ(at.x, (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(warped_restart, without_restarts_left_a_degenerate_point_is_accepted) {
  const auto problem = make_objective(1, 1);
  visited_point at{*problem, {0.0, 0.0, 0.0}};
  ASSERT_TRUE(at.adjust(*problem));
  EXPECT_EQ(problem->remaining_restarts(), 0);
  const visited_point degenerate{*problem, {0.0, 0.0, 0.0}};
  EXPECT_TRUE(degenerate.accepted_by(*problem));
}

TEST(warped_restart, a_redraw_at_an_undefined_point_is_undone_and_not_counted) {
  const auto problem = make_undefined_objective(25);
  visited_point at{*problem, {0.0, 0.0, 0.0}};
  at.value = 17.0;
  at.gradient = {1.0, 2.0, 3.0};
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) at.hessian(i, j) = 1e-9;
  EXPECT_FALSE(at.accepted_by(*problem));
  EXPECT_FALSE(at.adjust(*problem));
  EXPECT_EQ(at.x, (std::vector<double>{0.0, 0.0, 0.0}));
  EXPECT_EQ(at.value, 17.0);
  EXPECT_EQ(at.gradient, (std::vector<double>{1.0, 2.0, 3.0}));
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) EXPECT_EQ(at.hessian(i, j), 1e-9);
  EXPECT_EQ(problem->remaining_restarts(), 25);
}

TEST(warped_restart, failed_redraws_end_after_a_limit) {
  const auto problem = make_undefined_objective(endless);
  visited_point at{*problem, {0.0, 0.0, 0.0}};
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) at.hessian(i, j) = 0.0;
  int refusals = 0;
  while (!at.accepted_by(*problem)) {
    ASSERT_LT(++refusals, 1000);
    EXPECT_FALSE(at.adjust(*problem));
  }
  EXPECT_GT(refusals, 25);
}

TEST(warped_restart, the_optimizer_leaves_theta_zero_by_a_restart) {
  const auto problem = make_objective(1, 25);
  const auto optimizer =
      make_trust_region_optimizer({.tolerance = 1e-6, .tolerance2 = 1e-4});
  const std::vector<double> start(3, 0.0);
  const trust_region_result result = optimize(*optimizer, *problem, view(start));
  EXPECT_LT(problem->remaining_restarts(), 25);
  double at_start = 0.0;
  problem->compute_value(view(start), at_start);
  EXPECT_LE(result.value, at_start);
}

TEST(warped_restart, two_objectives_on_the_same_data_draw_the_same) {
  const auto first = make_objective(2, 25);
  const auto second = make_objective(2, 25);
  visited_point a{*first, std::vector<double>(6, 0.0)};
  visited_point b{*second, std::vector<double>(6, 0.0)};
  a.adjust(*first);
  b.adjust(*second);
  EXPECT_EQ(a.x, b.x);
}

}  // namespace
}  // namespace corvane::model
