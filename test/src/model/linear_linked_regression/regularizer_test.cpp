// SPDX-License-Identifier: BSD-3-Clause
//
// What the penalties are: their values and derivatives at points where a formula can be
// written by hand, what they report, and where their formulas change.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "penalty_probe.h"

namespace corvane::model {

namespace {

using entry = variable_mapping::entry;
using enum regularizer_status;

constexpr double s = 0.01;
constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double undefined = std::numeric_limits<double>::quiet_NaN();

const numbers far_away{0.4, -0.07, 1.3, 0.025, -2.6, 0.21, -0.52, 0.013, -0.94};

entry group(index_t g) { return entry{std::in_place_type<index_t>, g}; }

// One group of one weight, and an intercept behind it.
variable_mapping weight_and_intercept() { return variable_mapping{{group(0), entry{0.0}}}; }

void expect_equal(const numbers& computed, const numbers& expected) {
  ASSERT_EQ(computed.size(), expected.size());
  for (std::size_t k = 0; k < computed.size(); ++k)
    EXPECT_DOUBLE_EQ(computed[k], expected[k]) << "entry " << k;
}

TEST(regularizer, counts_its_hyperparameters_and_knows_where_to_start) {
  const numbers counts{3, 3, 6, 6};
  const numbers starts{1.0, 1.0, 0.5, 0.5};
  const auto penalties = all_penalties(s);
  for (std::size_t i = 0; i < penalties.size(); ++i) {
    const regularizer& penalty = *penalties[i].penalty;
    EXPECT_EQ(penalty.num_hyperparameters(), counts[i]) << penalties[i].name;
    numbers theta(static_cast<std::size_t>(penalty.num_hyperparameters()), untouched);
    penalty.initialize_hyperparameters(view_of(theta));
    for (const double start : theta) EXPECT_EQ(start, starts[i]) << penalties[i].name;
  }
}

TEST(regularizer, by_default_has_no_derivative_above_the_second) {
  const ridge_regularizer ridge{weight_and_intercept()};
  const numbers theta{1.0};
  const numbers w{0.5, 0.5};
  numbers out(2, untouched);
  sparse_matrix rows;
  const regularizer& base = ridge;
  EXPECT_EQ(
      base.regularizer::compute_third_derivative(view_of(theta), view_of(w), view_of(out)),
      identically_zero);
  EXPECT_EQ(
      base.regularizer::compute_fourth_derivative(view_of(theta), view_of(w), view_of(out)),
      identically_zero);
  EXPECT_EQ(base.regularizer::compute_third_derivative_hyperparameter_derivative(
                view_of(theta), view_of(w), rows),
            identically_zero);
  EXPECT_FALSE(base.regularizer::has_third_derivative());
  EXPECT_FALSE(base.regularizer::has_fourth_derivative());
  EXPECT_FALSE(base.regularizer::has_third_derivative_hyperparameter_derivative());
}

TEST(regularizer, tells_whether_it_has_higher_derivatives_at_all) {
  for (const auto& [name, penalty, theta] : all_penalties(s)) {
    const bool expected = name != "ridge";
    EXPECT_EQ(penalty->has_third_derivative(), expected) << name;
    EXPECT_EQ(penalty->has_fourth_derivative(), expected) << name;
    EXPECT_EQ(penalty->has_third_derivative_hyperparameter_derivative(), expected) << name;
  }
}

TEST(ridge_regularizer, is_half_the_square_of_strength_times_weight) {
  const ridge_regularizer ridge{variable_mapping{{group(0), group(1), entry{0.0}}}};
  const numbers theta{-2.0, 0.5};
  const numbers w{1.5, -4.0, 7.0};
  EXPECT_DOUBLE_EQ(value_of(ridge, theta, w), 0.5 * (9.0 + 4.0));
  expect_equal(evaluate(ridge, gradient, theta, w).values, {6.0, -1.0, 0.0});
  expect_equal(evaluate(ridge, second_derivative, theta, w).values, {4.0, 0.25, 0.0});
}

TEST(lasso_regularizer, outside_the_zone_is_strength_times_size) {
  const lasso_regularizer lasso{variable_mapping{{group(0), group(1), entry{0.0}}}, s};
  const numbers theta{-2.0, 0.5};
  const numbers w{1.5, -4.0, 7.0};
  EXPECT_DOUBLE_EQ(value_of(lasso, theta, w), 4.0 * 1.5 + 0.25 * 4.0);
  expect_equal(evaluate(lasso, gradient, theta, w).values, {4.0, -0.25, 0.0});
}

TEST(elastic_regularizer, is_the_ridge_and_the_lasso_penalty_together) {
  const elastic_regularizer elastic{interleaved_groups(), s};
  const ridge_regularizer ridge{interleaved_groups()};
  const lasso_regularizer lasso{interleaved_groups(), s};
  const numbers a{1.25, -0.75, 0.5};
  const numbers b{0.625, -1.125, 1.5};
  const numbers both{1.25, -0.75, 0.5, 0.625, -1.125, 1.5};
  const numbers w{0.4, -0.0007, 0.003, 0.025, -0.006, 0.21, -0.52, 0.0013, -0.94};
  EXPECT_DOUBLE_EQ(value_of(elastic, both, w),
                   value_of(ridge, a, w) + value_of(lasso, b, w));
  for (const auto compute :
       {gradient, second_derivative, third_derivative, fourth_derivative}) {
    const numbers ridge_part = derivative_of(ridge, compute, a, w);
    numbers sum = derivative_of(lasso, compute, b, w);
    for (std::size_t k = 0; k < sum.size(); ++k) sum[k] += ridge_part[k];
    expect_equal(derivative_of(elastic, compute, both, w), sum);
  }
}

TEST(bridge_regularizer, outside_the_zone_is_strength_times_power) {
  const bridge_regularizer bridge{weight_and_intercept(), s};
  const numbers theta{-2.0, 1.0};  // q = 2
  const numbers w{1.5, 7.0};
  EXPECT_DOUBLE_EQ(value_of(bridge, theta, w), 4.0 * 2.25);
  expect_equal(evaluate(bridge, gradient, theta, w).values, {4.0 * 3.0, 0.0});
  expect_equal(evaluate(bridge, second_derivative, theta, w).values, {8.0, 0.0});
  expect_equal(evaluate(bridge, third_derivative, theta, w).values, {0.0, 0.0});
}

TEST(lasso_regularizer, at_zero_has_no_slope_and_the_curvature_of_its_smoothing) {
  const lasso_regularizer lasso{weight_and_intercept(), s};
  const numbers theta{-1.5};
  for (const double zero : {0.0, -0.0}) {
    const numbers w{zero, zero};
    EXPECT_EQ(value_of(lasso, theta, w), 0.0);
    EXPECT_EQ(evaluate(lasso, gradient, theta, w).values, (numbers{0.0, 0.0}));
    const evaluated curvature = evaluate(lasso, second_derivative, theta, w);
    EXPECT_EQ(curvature.status, written);
    // The coefficient behind it is the solution of a system of condition number 9.1e4.
    EXPECT_NEAR(curvature.values[0] / (6.0 * 2.25 / s), 1.0, 1e-10);
  }
}

TEST(lasso_regularizer, without_smoothing_takes_the_slope_at_zero_from_the_sign_bit) {
  const lasso_regularizer lasso{weight_and_intercept(), 0.0};
  EXPECT_EQ(evaluate(lasso, gradient, {2.0}, {0.0, 1.0}).values[0], 4.0);
  EXPECT_EQ(evaluate(lasso, gradient, {2.0}, {-0.0, 1.0}).values[0], -4.0);
  EXPECT_EQ(value_of(lasso, {2.0}, {-0.001, 1.0}), 0.004);
}

TEST(lasso_regularizer, with_every_weight_outside_has_no_derivative_above_the_first) {
  const lasso_regularizer lasso{interleaved_groups(), s};
  numbers w = far_away;
  w[3] = s;  // the threshold itself is outside
  for (const auto compute : {second_derivative, third_derivative, fourth_derivative}) {
    const evaluated result = evaluate(lasso, compute, {1.25, -0.75, 0.5}, w);
    EXPECT_EQ(result.status, identically_zero);
    EXPECT_EQ(result.values, numbers(9, 0.0));
  }
  w[3] = std::nextafter(s, 0.0);
  for (const auto compute : {second_derivative, third_derivative, fourth_derivative})
    EXPECT_EQ(evaluate(lasso, compute, {1.25, -0.75, 0.5}, w).status, written);
}

TEST(elastic_regularizer, with_every_weight_outside_has_no_derivative_above_the_second) {
  const elastic_regularizer elastic{interleaved_groups(), s};
  const numbers theta{1.25, -0.75, 0.5, 0.625, -1.125, 1.5};
  EXPECT_EQ(evaluate(elastic, second_derivative, theta, far_away).status, written);
  EXPECT_EQ(evaluate(elastic, third_derivative, theta, far_away).status, identically_zero);
  EXPECT_EQ(evaluate(elastic, fourth_derivative, theta, far_away).status, identically_zero);
}

TEST(bridge_regularizer, never_calls_a_vector_identically_zero) {
  const bridge_regularizer bridge{interleaved_groups(), s};
  const numbers theta{0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
  for (const auto compute :
       {gradient, second_derivative, third_derivative, fourth_derivative}) {
    const evaluated result = evaluate(bridge, compute, theta, far_away);
    EXPECT_EQ(result.status, written);
    EXPECT_EQ(result.values, numbers(9, 0.0));
  }
}

TEST(regularizer, without_weights_has_the_value_zero) {
  const variable_mapping nothing{std::vector<entry>{}};
  const lasso_regularizer lasso{variable_mapping{nothing}, s};
  const elastic_regularizer elastic{variable_mapping{nothing}, s};
  const bridge_regularizer bridge{variable_mapping{nothing}, s};
  const ridge_regularizer ridge{variable_mapping{nothing}};
  for (const regularizer* penalty :
       std::initializer_list<const regularizer*>{&lasso, &elastic, &bridge, &ridge}) {
    double value = untouched;
    EXPECT_TRUE(penalty->compute_value({}, {}, value));
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(penalty->num_hyperparameters(), 0);
    EXPECT_EQ(penalty->compute_gradient({}, {}, {}), written);
    sparse_matrix rows;
    EXPECT_EQ(penalty->compute_gradient_hyperparameter_derivative({}, {}, rows),
              identically_zero);
  }
  EXPECT_EQ(lasso.compute_second_derivative({}, {}, {}), identically_zero);
  EXPECT_EQ(elastic.compute_second_derivative({}, {}, {}), written);
  EXPECT_EQ(bridge.compute_second_derivative({}, {}, {}), written);
}

TEST(regularizer, an_intercept_has_derivatives_of_zero) {
  const lasso_regularizer lasso{weight_and_intercept(), s};
  const elastic_regularizer elastic{weight_and_intercept(), s};
  const ridge_regularizer ridge{weight_and_intercept()};
  for (const double intercept : {0.3, 0.003}) {
    const numbers w{0.004, intercept};
    for (const auto compute : {gradient, second_derivative})
      EXPECT_EQ(evaluate(ridge, compute, {1.5}, w).values[1], 0.0);
    for (const auto compute :
         {gradient, second_derivative, third_derivative, fourth_derivative}) {
      const evaluated of_lasso = evaluate(lasso, compute, {1.5}, w);
      EXPECT_NE(of_lasso.values[0], 0.0);
      EXPECT_EQ(of_lasso.values[1], 0.0);
      EXPECT_EQ(evaluate(elastic, compute, {1.5, 0.5}, w).values[1], 0.0);
    }
  }
}

// Whatever the buffer held before, even what is not finite.
TEST(bridge_regularizer, writes_zero_for_a_weight_outside_of_every_group) {
  const bridge_regularizer bridge{weight_and_intercept(), s};
  const numbers theta{1.5, 0.5};
  const numbers w{0.3, undefined};
  for (const auto compute :
       {gradient, second_derivative, third_derivative, fourth_derivative}) {
    numbers out(2, undefined);
    EXPECT_EQ((bridge.*compute)(view_of(theta), view_of(w), view_of(out)), written);
    EXPECT_EQ(out[1], 0.0);
  }
}

TEST(bridge_regularizer, with_alpha_zero_is_the_lasso) {
  const bridge_regularizer bridge{interleaved_groups(), s};
  const lasso_regularizer lasso{interleaved_groups(), s};
  const numbers lambda{1.25, -0.75, 0.5};
  const numbers theta{1.25, -0.75, 0.5, 0.0, 0.0, 0.0};
  // The weights without a group, 2 and 6, stand at zero.
  const numbers w{0.4, -0.0007, 0.0, 0.025, -0.006, -0.21, 0.0, 0.0013, -0.94};
  EXPECT_DOUBLE_EQ(value_of(bridge, theta, w), value_of(lasso, lambda, w));
  for (const auto compute :
       {gradient, second_derivative, third_derivative, fourth_derivative})
    for (const std::size_t k : {0U, 1U, 3U, 4U, 5U, 7U, 8U})
      EXPECT_DOUBLE_EQ(derivative_of(bridge, compute, theta, w)[k],
                       derivative_of(lasso, compute, lambda, w)[k]);
}

TEST(regularizer, a_result_that_is_not_finite_is_reported) {
  for (const auto& [name, penalty, theta] : all_penalties(s)) {
    for (const double bad : {infinite, undefined}) {
      numbers hyperparameters = theta;
      hyperparameters[1] = bad;
      numbers w = far_away;
      w[1] = 0.004;
      double value = untouched;
      EXPECT_FALSE(penalty->compute_value(view_of(hyperparameters), view_of(w), value));
      EXPECT_EQ(evaluate(*penalty, gradient, hyperparameters, w).status, not_finite)
          << name;
      EXPECT_EQ(evaluate(*penalty, second_derivative, hyperparameters, w).status,
                not_finite)
          << name;
      if (!penalty->has_third_derivative()) continue;
      for (const auto compute : {third_derivative, fourth_derivative})
        EXPECT_EQ(evaluate(*penalty, compute, hyperparameters, w).status, not_finite)
            << name;
    }
  }
}

TEST(regularizer, a_value_that_overflows_is_reported) {
  for (const auto& [name, penalty, theta] : all_penalties(s)) {
    numbers w = far_away;
    w[0] = 1e308;
    numbers hyperparameters = theta;
    hyperparameters[0] = 1e10;
    double value = untouched;
    EXPECT_FALSE(penalty->compute_value(view_of(hyperparameters), view_of(w), value))
        << name;
    EXPECT_EQ(value, infinite) << name;
  }
}

// Without smoothing a weight of zero is outside, where log |w| is infinite.
TEST(bridge_regularizer, without_smoothing_keeps_an_undefined_entry_at_zero) {
  const bridge_regularizer bridge{weight_and_intercept(), 0.0};
  const numbers theta{1.5, 0.5};
  const numbers w{0.0, 0.3};
  EXPECT_EQ(evaluate(bridge, second_derivative, theta, w).status, not_finite);
  sparse_matrix rows;
  EXPECT_EQ(
      bridge.compute_gradient_hyperparameter_derivative(view_of(theta), view_of(w), rows),
      written);
  ASSERT_EQ(rows.values.size(), 1U);  // the lambda row holds an exact zero
  EXPECT_TRUE(std::isnan(rows.values[0]));
}

}  // namespace

}  // namespace corvane::model
