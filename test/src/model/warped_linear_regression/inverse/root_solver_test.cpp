// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/root_solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace corvane {
namespace {

// A function by its formulas, which records where its value was taken.
struct recorded_function {
  std::function<double(double)> f;
  std::function<double(double)> df;
  std::function<double(double)> ddf;
  std::vector<double> points;

  double value(double x) {
    points.push_back(x);
    return f(x);
  }
  double derivative(double x) const { return df(x); }
  double second_derivative(double x) const { return ddf(x); }
};

recorded_function identity() {
  return {[](double x) { return x; },
          [](double) { return 1.0; },
          [](double) { return 0.0; },
          {}};
}

recorded_function cubic() {  // x^3 + x, one real root for every target
  return {[](double x) { return x * x * x + x; },
          [](double x) { return 3.0 * x * x + 1.0; },
          [](double x) { return 6.0 * x; },
          {}};
}

recorded_function scaled_tanh(double steepness) {
  return {[=](double x) { return x + std::tanh(steepness * x); },
          [=](double x) {
            const double t = std::tanh(steepness * x);
            return 1.0 + steepness * (1.0 - t * t);
          },
          [=](double x) {
            const double t = std::tanh(steepness * x);
            return -2.0 * steepness * steepness * t * (1.0 - t * t);
          },
          {}};
}

root_bracket make_bracket(double lower, double upper) {
  root_bracket bracket;
  bracket.initialize(lower, upper, -1.0, 1.0);
  return bracket;
}

constexpr solver_options tight{.tolerance = 1e-14, .max_iterations = 200};

TEST(root_solver, a_function_with_no_terms_gives_its_root_after_one_step) {
  recorded_function f = identity();
  EXPECT_EQ(find_root(tight, f, 0.25, 1.5, make_bracket(-4.0, 4.0)), 1.5);
  EXPECT_EQ(f.points, (std::vector<double>{0.25, 1.5}));
}

TEST(root_solver, a_target_of_exactly_zero_is_met_by_an_absolute_residual) {
  recorded_function f = cubic();
  EXPECT_EQ(find_root({.tolerance = 1e-300, .max_iterations = 1}, f, 0.0, 0.0,
                      make_bracket(-1.0, 1.0)),
            0.0);
  // 1e-6 is within 1e-5 of a zero target, and far from a target of 1e-20.
  recorded_function g = identity();
  EXPECT_EQ(find_root({.tolerance = 1e-5, .max_iterations = 1}, g, 1e-6, 0.0,
                      make_bracket(-1.0, 1.0)),
            1e-6);
  EXPECT_THROW(find_root({.tolerance = 1e-5, .max_iterations = 1}, g, 1e-6, 1e-20,
                         make_bracket(-1.0, 1.0)),
               solver_max_iterations_exceeded_error);
}

TEST(root_solver,
     a_first_guess_outside_the_bracket_is_clamped_before_the_first_evaluation) {
  recorded_function f = cubic();
  const double x = find_root(tight, f, 50.0, 10.0, make_bracket(-4.0, 4.0));
  EXPECT_NEAR(x, 2.0, 1e-14);
  // Clamped to the end 4, which is as near to an end as can be: so the midpoint it is.
  EXPECT_EQ(f.points.front(), 0.0);
  for (const double point : f.points) EXPECT_LE(std::abs(point), 4.0);
}

TEST(root_solver,
     a_first_guess_almost_on_an_end_moves_the_first_evaluation_to_the_midpoint) {
  recorded_function f = cubic();
  find_root(tight, f, 4.0 - 1e-13, 10.0, make_bracket(-2.0, 4.0));
  EXPECT_EQ(f.points.front(), 1.0);
  recorded_function g = cubic();
  find_root(tight, g, 4.0 - 1e-11, 10.0, make_bracket(-2.0, 4.0));
  EXPECT_EQ(g.points.front(), 4.0 - 1e-11);
}

TEST(root_solver, a_halley_step_that_leaves_the_bracket_becomes_a_bisection) {
  // Nearly flat at 3, where Halley's step would overshoot the lower end by far.
  recorded_function f = scaled_tanh(1000.0);
  f.df = [](double) { return 1e-3; };
  f.ddf = [](double) { return 0.0; };
  const double x = find_root({.tolerance = 1e-9, .max_iterations = 200}, f, 3.0, 0.5,
                             make_bracket(-5.0, 5.0));
  EXPECT_NEAR(x + std::tanh(1000.0 * x), 0.5, 1e-9);
  EXPECT_EQ(f.points[0], 3.0);
  EXPECT_EQ(f.points[1], -1.0);  // the midpoint of [-5, 3]
  EXPECT_EQ(f.points[2], 1.0);   // the midpoint of [-1, 3]
}

TEST(root_solver, equal_signs_make_no_bracket_and_halley_is_unguarded) {
  root_bracket bracket;
  bracket.initialize(5.0, 6.0, 1.0, 1.0);
  EXPECT_EQ(bracket.safeguard(0.5, -70.0), -70.0);
  recorded_function f = identity();
  EXPECT_EQ(find_root(tight, f, 0.0, -20.0, bracket), -20.0);
}

TEST(root_solver, without_a_bracket_halley_goes_to_roots_on_either_side) {
  const solver_options options{.tolerance = 1e-13, .max_iterations = 50};
  for (const double root : {-3.0, -0.2, 1.7, 40.0}) {
    recorded_function f = cubic();
    const double target = f.f(root);
    const double side = f.f(1.0) - target;
    root_bracket bracket;
    bracket.initialize(5.0, 6.0, side, side);
    EXPECT_NEAR(find_root(options, f, 1.0, target, bracket), root, 1e-12 * std::abs(root));
  }
}

TEST(root_solver, a_bracket_that_misses_the_root_ends_at_the_limit_and_is_never_left) {
  for (const double target : {-100.0, 100.0}) {
    recorded_function f = cubic();
    EXPECT_THROW(find_root({.tolerance = 1e-9, .max_iterations = 150}, f, 0.5, target,
                           make_bracket(-1.0, 2.0)),
                 solver_max_iterations_exceeded_error);
    EXPECT_EQ(f.points.size(), 150U);
    for (const double point : f.points) EXPECT_TRUE(point >= -1.0 && point <= 2.0);
    EXPECT_NEAR(f.points.back(), target < 0.0 ? -1.0 : 2.0, 1e-14);
  }
}

TEST(root_solver, finds_known_roots_of_steep_and_flat_functions) {
  for (const double steepness : {1e-3, 1.0, 1e3, 1e6})
    for (const double root : {-0.7, -1e-5, 1e-7, 0.3, 2.0}) {
      recorded_function f = scaled_tanh(steepness);
      const double target = f.f(root);
      const double x = find_root(tight, f, target, target, make_bracket(-9.0, 8.0));
      EXPECT_NEAR(x, root, 1e-13 * std::max(1.0, std::abs(root))) << steepness;
      EXPECT_LE(f.points.size(), 100U);
    }
}

TEST(root_solver, a_bracket_whose_ends_are_swapped_serves_a_decreasing_function) {
  recorded_function f{[](double x) { return -x - x * x * x; },
                      [](double x) { return -1.0 - 3.0 * x * x; },
                      [](double x) { return -6.0 * x; },
                      {}};
  EXPECT_NEAR(find_root(tight, f, 0.1, 10.0, make_bracket(4.0, -4.0)), -2.0, 1e-14);
}

TEST(root_solver, convergence_is_of_third_order) {
  recorded_function f = cubic();
  find_root({.tolerance = 1e-15, .max_iterations = 50}, f, 2.4, 10.0,
            make_bracket(-9.0, 9.0));
  ASSERT_GE(f.points.size(), 3U);
  const double first = std::abs(f.points[0] - 2.0);
  const double second = std::abs(f.points[1] - 2.0);
  const double third = std::abs(f.points[2] - 2.0);
  EXPECT_LT(second, first * first * first);
  EXPECT_LT(third, 1e-6);
}

TEST(root_solver, never_evaluates_more_often_than_the_limit) {
  for (const std::int64_t limit : {1, 2, 7, 100}) {
    recorded_function f = cubic();
    EXPECT_THROW(find_root({.tolerance = 0.0, .max_iterations = limit}, f, 3.0, 7.0,
                           make_bracket(-9.0, 9.0)),
                 solver_max_iterations_exceeded_error);
    EXPECT_EQ(static_cast<std::int64_t>(f.points.size()), limit);
  }
}

TEST(root_solver, a_limit_that_is_not_positive_fails_without_an_evaluation) {
  for (const std::int64_t limit : {0, -3}) {
    recorded_function f = identity();
    EXPECT_THROW(find_root({.tolerance = 1.0, .max_iterations = limit}, f, 1.0, 1.0,
                           make_bracket(-9.0, 9.0)),
                 solver_max_iterations_exceeded_error);
    EXPECT_TRUE(f.points.empty());
  }
}

TEST(root_solver, a_flat_point_that_is_no_root_is_an_error) {
  recorded_function f = cubic();
  f.df = [](double) { return 2e-16; };
  EXPECT_THROW(find_root(tight, f, 1.0, 10.0, make_bracket(-9.0, 9.0)),
               solver_zero_derivative_error);
  // Exactly 2^-52 is not below the limit.
  f.df = [](double) { return std::ldexp(1.0, -52); };
  EXPECT_NO_THROW(find_root(tight, f, 1.0, 10.0, make_bracket(-9.0, 9.0)));
}

TEST(root_solver, a_function_that_is_nan_runs_into_the_limit) {
  recorded_function f = identity();
  f.f = [](double) { return std::numeric_limits<double>::quiet_NaN(); };
  EXPECT_THROW(find_root({.tolerance = 1e-3, .max_iterations = 30}, f, 1.0, 10.0,
                         make_bracket(-90.0, 90.0)),
               solver_max_iterations_exceeded_error);
  EXPECT_EQ(f.points.size(), 30U);
}

TEST(root_bracket, the_sign_of_a_zero_is_that_of_its_sign_bit) {
  root_bracket bracket;
  bracket.initialize(1.0, 2.0, -0.0, +0.0);
  EXPECT_EQ(bracket.lower_sign, -1.0);
  EXPECT_EQ(bracket.upper_sign, 1.0);
  bracket.update(1.5, +0.0);
  EXPECT_EQ(bracket.upper, 1.5);
  bracket.update(1.25, -0.0);
  EXPECT_EQ(bracket.lower, 1.25);
}

TEST(root_bracket, of_no_width_gives_its_point) {
  EXPECT_EQ(make_bracket(0.0, 0.0).safeguard(1e-13, 17.0), 0.0);
}

TEST(solver_error, each_says_its_name_and_is_a_solver_error) {
  const auto name_of = [](const auto& thrown) -> std::string {
    try {
      throw thrown;
    } catch (const solver_error& error) {
      return error.what();
    }
  };
  EXPECT_EQ(name_of(solver_error{}), "solver_error");
  EXPECT_EQ(name_of(solver_undefined_error{}), "solver_undefined_error");
  EXPECT_EQ(name_of(solver_zero_derivative_error{}), "solver_zero_derivative_error");
  EXPECT_EQ(name_of(solver_max_iterations_exceeded_error{}),
            "solver_max_iterations_exceeded_error");
}

}  // namespace
}  // namespace corvane
