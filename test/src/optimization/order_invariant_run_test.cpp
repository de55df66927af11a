// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/order_invariant_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "formula_objective.h"

namespace corvane::testing {

namespace {

using numbers = formula_objective::numbers;
using places = std::vector<std::size_t>;

constexpr std::size_t size = 5;

// A quartic with many minima: A mixes the variables, b tells them apart.
struct quartic {
  std::vector<double> mixing;
  std::vector<double> slopes;

  explicit quartic(unsigned seed) {
    std::mt19937 generator{seed};
    std::normal_distribution<double> normal;
    for (std::size_t i = 0; i < size * size; ++i) mixing.push_back(normal(generator));
    for (std::size_t i = 0; i < size; ++i) slopes.push_back(0.1 * normal(generator));
  }

  second_order_number operator()(const numbers& x) const {
    second_order_number sum{0.0};
    for (std::size_t i = 0; i < size; ++i) {
      second_order_number mixed{0.0};
      for (std::size_t j = 0; j < size; ++j) mixed = mixed + mixing[i * size + j] * x[j];
      sum = sum + square(square(mixed) - 1.0) + slopes[i] * x[i];
    }
    return sum;
  }
};

// The formula with variable order[i] at place i.
formula_objective numbered(const quartic& formula, const places& order) {
  return formula_objective{[=](const numbers& x) {
    numbers own(x);
    for (std::size_t i = 0; i < order.size(); ++i) own[order[i]] = x[i];
    return formula(own);
  }};
}

trust_region_result run(second_order_objective& objective, const std::vector<double>& x0) {
  const auto optimizer = make_trust_region_optimizer({.tolerance = 1e-12});
  return optimize_order_invariantly(*optimizer, objective,
                                    {x0.data(), static_cast<index_t>(x0.size())});
}

trust_region_result plain_run(second_order_objective& objective,
                              const std::vector<double>& x0) {
  const auto optimizer = make_trust_region_optimizer({.tolerance = 1e-12});
  return optimize(*optimizer, objective, {x0.data(), static_cast<index_t>(x0.size())});
}

// Over random quartics, in how many two numberings end at different points.
template <class Run>
int count_forks(Run run) {
  int forks = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    const quartic formula{seed};
    places order(size);
    std::iota(order.begin(), order.end(), 0U);
    formula_objective straight = numbered(formula, order);
    std::shuffle(order.begin(), order.end(), std::mt19937{seed});
    formula_objective shuffled = numbered(formula, order);
    const std::vector<double> x0(size, 0.1);
    const trust_region_result one = run(straight, x0);
    const trust_region_result other = run(shuffled, x0);
    bool same = true;
    for (std::size_t i = 0; i < size; ++i) {
      const auto place = static_cast<index_t>(i);
      const auto variable = static_cast<index_t>(order[i]);
      same = same && std::abs(other.x[place] - one.x[variable]) < 1e-5;
    }
    forks += same ? 0 : 1;
  }
  return forks;
}

TEST(order_invariant_run, ends_at_the_same_minimum_in_every_numbering) {
  EXPECT_EQ(count_forks(run), 0);
}

// Else the test above would prove nothing.
TEST(order_invariant_run, is_needed_as_the_plain_run_depends_on_the_numbering) {
  EXPECT_GT(count_forks(plain_run), 0);
}

TEST(order_invariant_run, returns_point_and_derivatives_in_the_order_of_the_caller) {
  // Slopes 2, -30 and -8 at the start: the run's order is 1, 2, 0.
  formula_objective objective{[](const numbers& x) {
    return square(x[0] + 1.0) + 3.0 * square(x[1] - 5.0) + 2.0 * square(x[2] - 2.0) +
           0.5 * x[0] * x[1] + 0.25 * square(square(x[2]));
  }};
  const trust_region_result result = run(objective, {0.0, 0.0, 0.0});
  ASSERT_TRUE(result.within_tolerance);
  const const_vector_view x{result.x};
  double value = 0.0;
  dense_vector gradient(3);
  symmetric_matrix hessian(3, 3);
  objective.compute_value(x, value);
  objective.compute_gradient(x, gradient);
  objective.compute_hessian(x, hessian);
  EXPECT_EQ(result.value, value);
  for (index_t i = 0; i < 3; ++i) {
    EXPECT_EQ(result.gradient[i], gradient[i]);
    EXPECT_NEAR(gradient[i], 0.0, 1e-4);
    for (index_t j = i; j < 3; ++j) EXPECT_EQ(result.hessian(i, j), hessian(i, j));
  }
}

TEST(order_invariant_run, makes_the_calls_of_a_plain_run_and_no_more) {
  const auto formula = [](const numbers& x) {
    return square(x[0] - 1.0) + 50.0 * square(x[1] + 2.0) + 0.5 * x[0] * x[1];
  };
  formula_objective one{formula};
  formula_objective other{formula};
  run(one, {0.1, 0.1});
  plain_run(other, {0.1, 0.1});
  EXPECT_EQ(one.calls, other.calls);
}

TEST(order_invariant_run, hands_an_adjusted_point_on_in_the_order_of_the_run) {
  // The second variable is the steeper one.
  formula_objective objective{
      [](const numbers& x) { return square(x[0] - 1.0) + square(x[1] - 2.0); }};
  std::vector<std::vector<double>> seen;
  objective.adjust = [&](vector_view x) {
    seen.push_back({x[0], x[1]});
    return false;
  };
  const trust_region_result result = run(objective, {0.25, 0.5});
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front(), (std::vector<double>{0.25, 0.5}));
  EXPECT_NEAR(result.x[0], 1.0, 1e-6);
  EXPECT_NEAR(result.x[1], 2.0, 1e-6);
}

TEST(order_invariant_run, of_one_variable_is_the_plain_run) {
  formula_objective objective{[](const numbers& x) { return square(x[0] - 3.0); }};
  EXPECT_NEAR(run(objective, {1.0}).x[0], 3.0, 1e-6);
}

TEST(order_invariant_run, of_an_objective_undefined_at_the_start_throws) {
  formula_objective objective{[](const numbers& x) { return square(x[0]) + square(x[1]); }};
  objective.is_defined = [](const_vector_view) { return false; };
  EXPECT_THROW(run(objective, {1.0, 2.0}), optimizer_undefined_error);
}

TEST(order_invariant_run, of_slopes_that_are_no_numbers_ends_as_the_plain_run_does) {
  const auto formula = [](const numbers& x) {
    return std::numeric_limits<double>::quiet_NaN() * x[0] + x[1] + square(x[2]);
  };
  formula_objective one{formula};
  formula_objective other{formula};
  EXPECT_FALSE(run(one, {3.0, 2.0, 1.0}).within_tolerance);
  EXPECT_FALSE(plain_run(other, {3.0, 2.0, 1.0}).within_tolerance);
}

}  // namespace

}  // namespace corvane::testing
