// SPDX-License-Identifier: BSD-3-Clause
//
// The polynomial that takes the place of a power near zero: its coefficients against their
// closed form and against the conditions at the join, and the join itself.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "common/finite.h"
#include "model/linear_linked_regression/penalty_terms.h"
#include "model/linear_linked_regression/power_function.h"
#include "model/linear_linked_regression/smoothing_basis.h"
#include "penalty_probe.h"

namespace corvane::model {

namespace {

constexpr double s = 0.01;

// The matrix of the basis has the condition number 9.1e4: in the length of the
// coefficients, 20.5 s, that many roundings may be lost.
constexpr double lost_roundings = 9.1e4 * 20.5;

TEST(smoothing_polynomial, of_the_absolute_value_has_the_closed_form) {
  for (const double threshold : {1e-6, 0.01, 1.0, 250.0}) {
    const smoothed_absolute_value phi{threshold};
    const std::array<double, 5> expected{3.0, -10.0, 15.0, -9.0, 2.0};
    for (index_t k = 0; k < num_smoothing_coefficients; ++k)
      EXPECT_NEAR(phi.coefficients()[k], threshold * expected[static_cast<std::size_t>(k)],
                  lost_roundings * double_epsilon * threshold)
          << "c" << k << " at s = " << threshold;
  }
}

TEST(smoothing_polynomial, without_a_threshold_has_no_coefficients) {
  const smoothed_absolute_value phi{0.0};
  for (const double coefficient : phi.coefficients()) EXPECT_TRUE(std::isnan(coefficient));
}

// The falling factorial of an exponent, as a loop over its factors.
double falling(int exponent, int order) {
  double product = 1.0;
  for (int j = 0; j < order; ++j) product *= exponent - j;
  return product;
}

TEST(smoothing_basis, solves_for_the_value_and_four_derivatives_at_the_threshold) {
  const numbers joined{0.7, -1.25, 3.5, -2.0, 9.0};
  const double threshold = 0.5;
  numbers c = joined;
  smoothing_basis{}.solve(threshold, view_of(c));
  const std::array<int, 5> exponents{2, 4, 5, 6, 7};
  // An orthogonal factorization leaves a residual that is small beside the largest row.
  double largest_row = 0.0;
  for (std::size_t j = 0; j < 5; ++j)
    largest_row += std::abs(c[j] * falling(exponents[j], 4));
  for (int order = 0; order < 5; ++order) {
    double derivative = 0.0;  // in u = w / threshold
    for (std::size_t j = 0; j < 5; ++j) derivative += c[j] * falling(exponents[j], order);
    EXPECT_NEAR(derivative,
                joined[static_cast<std::size_t>(order)] * std::pow(threshold, order),
                4.0 * double_epsilon * largest_row)
        << "derivative " << order;
  }
}

// The derivative of the given order just inside the threshold against that at it, measured
// in the size that it has for a power near one.
template <int order, class Function>
void expect_no_step(const Function& derivative) {
  for (const double side : {-1.0, 1.0}) {
    const double from_polynomial = derivative(side * std::nextafter(s, 0.0));
    const double from_power = derivative(side * s);
    const double size = std::pow(s, 1 - order);
    EXPECT_NEAR(from_polynomial / size, from_power / size, 1e-11)
        << "derivative " << order << " at " << side * s;
  }
}

TEST(smoothing, a_weight_at_the_threshold_takes_the_power_and_just_inside_the_polynomial) {
  EXPECT_TRUE(is_in_smoothing_zone(std::nextafter(s, 0.0), s));
  EXPECT_FALSE(is_in_smoothing_zone(s, s));
  EXPECT_FALSE(is_in_smoothing_zone(-s, s));
}

TEST(smoothing, value_and_four_derivatives_agree_across_the_join) {
  for (const named_penalty& example : all_penalties(s)) {
    const regularizer& penalty = *example.penalty;
    const numbers& theta = example.theta;
    SCOPED_TRACE(example.name);
    // The sum of all entries when every weight is w.
    const auto total = [&](vector_operation compute, double w) {
      double sum = 0.0;
      for (const double entry : derivative_of(penalty, compute, theta, numbers(9, w)))
        sum += entry;
      return sum;
    };
    const auto value = [&](double w) { return value_of(penalty, theta, numbers(9, w)); };
    expect_no_step<0>(value);
    expect_no_step<1>([&](double w) { return total(gradient, w); });
    expect_no_step<2>([&](double w) { return total(second_derivative, w); });
    expect_no_step<3>([&](double w) { return total(third_derivative, w); });
    expect_no_step<4>([&](double w) { return total(fourth_derivative, w); });
  }
}

TEST(smoothing, the_derivatives_in_the_hyperparameters_agree_across_the_join) {
  for (const named_penalty& example : all_penalties(s)) {
    const regularizer& penalty = *example.penalty;
    const numbers& theta = example.theta;
    SCOPED_TRACE(example.name);
    const index_t Q = penalty.num_hyperparameters();
    const auto expect_rows = [&](sparse_operation compute, index_t num_rows, int order) {
      const numbers at = rows_of(penalty, compute, num_rows, theta, numbers(9, s));
      const numbers below =
          rows_of(penalty, compute, num_rows, theta, numbers(9, std::nextafter(s, 0.0)));
      const double size = std::pow(s, 1 - order);
      for (std::size_t k = 0; k < at.size(); ++k)
        EXPECT_NEAR(at[k] / size, below[k] / size, 1e-10) << "entry " << k;
    };
    expect_rows(gradient_in_theta, Q, 1);
    expect_rows(gradient_in_theta_twice, num_pairs(Q), 1);
    expect_rows(second_derivative_in_theta, Q, 2);
    expect_rows(second_derivative_in_theta_twice, num_pairs(Q), 2);
    expect_rows(third_derivative_in_theta, Q, 3);
  }
}

// The formulas of each order by hand, at an ordinary point.
TEST(power_function, agrees_with_the_formulas_written_out) {
  const double alpha = 0.7;
  const double q = alpha * alpha + 1.0;
  const double w = -0.3;
  const double L = std::log(0.3);
  const power_function power{alpha};
  const auto size = [&](int order) { return std::pow(0.3, q - order); };
  const auto expect = [](double computed, double expected) {
    EXPECT_NEAR(computed, expected, 1e-13 * std::abs(expected));
  };
  expect(power.derivative<1, 0>(w), -q * size(1));
  expect(power.derivative<2, 0>(w), q * (q - 1) * size(2));
  expect(power.derivative<3, 0>(w), -q * (q - 1) * (q - 2) * size(3));
  expect(power.derivative<4, 0>(w), q * (q - 1) * (q - 2) * (q - 3) * size(4));
  expect(power.derivative<1, 1>(w), -2 * alpha * (q * L + 1) * size(1));
  const double P = q * L + 1;
  expect(power.derivative<1, 2>(w),
         -2 * size(1) * (P + 2 * alpha * alpha * L + 2 * alpha * alpha * L * P));
  const double D = 2 * q - 1 + q * (q - 1) * L;
  expect(power.derivative<2, 1>(w), D * 2 * alpha * size(2));
  expect(power.derivative<2, 2>(w),
         2 * size(2) *
             (D + (2 + (2 * q - 1) * L) * 2 * alpha * alpha + 2 * alpha * alpha * L * D));
  expect(power.derivative<3, 1>(w),
         -(q * (q - 2) + (q - 1) * (q - 2) + q * (q - 1) + q * (q - 1) * (q - 2) * L) * 2 *
             alpha * size(3));
}

}  // namespace

}  // namespace corvane::model
