// SPDX-License-Identifier: BSD-3-Clause
//
// No subproblem and no run goes on for ever: the solver over the edges of the range of
// doubles, and the optimizer over objectives and options that offer no way to stop. A hang
// shows as the time limit of the test program.
#include "optimization/endless_rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "formula_objective.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_optimizer.h"
#include "optimization/trust_region_subproblem.h"

namespace corvane::testing {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

const std::vector<double> extreme_entries{0.0,      -0.0,      1.0,   -1.0,  5e-324,
                                          -1e-310,  1e-160,    1e160, 1e300, -1e300,
                                          infinity, -infinity, nan};
const std::vector<double> extreme_radii{0.0,   5e-324, 1e-310,   1e-160, 1.0,
                                        1e160, 1e300,  infinity, nan,    -1.0};
const std::vector<double> extreme_multipliers{0.0, 1.0, 1e300, infinity, nan};

bool has_nan(const_vector_view values) {
  return std::any_of(values.begin(), values.end(), [](double x) { return std::isnan(x); });
}

bool has_nan(const symmetric_matrix& H) {
  for (index_t i = 0; i < H.rows(); ++i)
    for (index_t j = i; j < H.rows(); ++j)
      if (std::isnan(H(i, j))) return true;
  return false;
}

// Solves, and resolves for a quarter of the radius. That it returns is the point; what it
// returns must be a number for a step of numbers, or NaN.
void expect_an_end(const dense_vector& g, const symmetric_matrix& H, double radius,
                   double lambda) {
  dense_vector step(g.size());
  std::fill(step.begin(), step.end(), nan);
  subproblem_bounds bounds;
  initialize_bounds(bounds, radius, g, H);
  subproblem_solver_impl solver;
  for (const bool again : {false, true}) {
    const double change = again ? solver.resolve(bounds, g, lambda, 0.25 * radius, H, step)
                                : solver.solve(bounds, g, lambda, radius, H, step);
    if (has_nan(g) || has_nan(H)) {
      ASSERT_TRUE(std::isnan(change));
      ASSERT_TRUE(std::all_of(step.begin(), step.end(), [](double p) { return p == 0.0; }));
    } else if (std::isfinite(change)) {
      ASSERT_TRUE(
          std::all_of(step.begin(), step.end(), [](double p) { return std::isfinite(p); }));
    }
  }
}

TEST(subproblem_solver, ends_on_every_model_of_one_extreme_variable) {
  for (const double slope : extreme_entries)
    for (const double curvature : extreme_entries)
      for (const double radius : extreme_radii)
        for (const double lambda : extreme_multipliers) {
          dense_vector g(1);
          symmetric_matrix H(1, 1);
          g[0] = slope;
          H(0, 0) = curvature;
          expect_an_end(g, H, radius, lambda);
        }
}

TEST(subproblem_solver, ends_on_models_of_several_extreme_variables) {
  std::mt19937 generator{7};
  const auto pick = [&](const std::vector<double>& values) {
    return values[generator() % values.size()];
  };
  for (int model = 0; model < 6000; ++model) {
    const index_t n = 2 + static_cast<index_t>(generator() % 5);
    // Few models are free of NaN when each entry is drawn from all: draw from some.
    const std::size_t kinds = 4 + generator() % (extreme_entries.size() - 3);
    const std::vector<double> entries(
        extreme_entries.begin(),
        extreme_entries.begin() + static_cast<std::ptrdiff_t>(kinds));
    dense_vector g(n);
    symmetric_matrix H(n, n);
    for (index_t i = 0; i < n; ++i) {
      g[i] = pick(entries);
      for (index_t j = i; j < n; ++j) H(i, j) = pick(entries);
    }
    expect_an_end(g, H, pick(extreme_radii), pick(extreme_multipliers));
  }
}

TEST(subproblem_solver, ends_on_the_empty_model_at_every_radius) {
  for (const double radius : extreme_radii)
    expect_an_end(dense_vector(0), symmetric_matrix(0, 0), radius, 0.0);
}

TEST(endless_rounds, are_recognized_soon_when_the_bracket_stays_and_not_while_it_moves) {
  subproblem_bounds bounds{1.0, 1.0, 0.0, 1.0, 0.0};
  endless_rounds rounds{bounds};
  for (int k = 0; k < 100; ++k) {
    bounds.lambda_high *= 0.9;
    EXPECT_FALSE(rounds.recognized(bounds));
  }
  int stays = 0;
  while (!rounds.recognized(bounds)) ++stays;
  EXPECT_GE(stays, 4);  // the multipliers that can alternate under one bracket
  EXPECT_LE(stays, 10);
}

TEST(endless_rounds, are_recognized_in_a_bracket_that_only_creeps) {
  subproblem_bounds bounds{1.0, 1.0, 1.0, 2.0, 0.0};
  endless_rounds rounds{bounds};
  int creeps = 0;
  while (!rounds.recognized(bounds)) {
    bounds.lambda_low = std::nextafter(bounds.lambda_low, 2.0);
    ++creeps;
  }
  EXPECT_GT(creeps, 1000);
}

trust_region_result run(formula_objective& objective, std::vector<double> x0,
                        trust_region_optimizer_options options = {}) {
  const auto optimizer = make_trust_region_optimizer(options);
  return optimize(*optimizer, objective, {x0.data(), static_cast<index_t>(x0.size())});
}

second_order_number bowl(const formula_objective::numbers& x) {
  second_order_number f{0.0};
  for (const second_order_number& entry : x) f += square(entry - 1.0);
  return f;
}

TEST(optimizer, ends_when_a_tolerance_can_never_be_met) {
  for (const double tolerance : {nan, 0.0, -1.0}) {
    formula_objective objective{bowl};
    trust_region_optimizer_options options;
    options.tolerance = tolerance;
    options.tolerance2 = 0.1;
    const trust_region_result result = run(objective, {1.0, 1.0}, options);
    EXPECT_FALSE(result.within_tolerance);
    EXPECT_TRUE(result.positive_definite);
    EXPECT_EQ(result.value, 0.0);
  }
}

TEST(optimizer, ends_when_the_objective_refuses_every_convergence) {
  formula_objective objective{bowl};
  objective.accept = [] { return false; };
  EXPECT_FALSE(run(objective, {1.0, 1.0}).within_tolerance);
}

TEST(optimizer, bears_with_an_objective_that_refuses_convergence_for_a_while) {
  formula_objective objective{bowl};
  int refusals = 100;
  objective.accept = [&] { return refusals-- <= 0; };
  EXPECT_TRUE(run(objective, {1.0, 1.0}).within_tolerance);
}

TEST(optimizer, ends_when_the_objective_moves_the_point_back_each_time) {
  formula_objective objective{bowl};
  objective.adjust = [](vector_view x) {
    x[0] = 5.0;
    return true;
  };
  objective.accept = [] { return false; };
  EXPECT_FALSE(run(objective, {5.0}).within_tolerance);
}

TEST(optimizer, ends_on_objectives_at_the_edges_of_the_range_of_doubles) {
  for (const double scale : extreme_entries)
    for (const double offset : extreme_entries)
      for (const double start : extreme_entries) {
        formula_objective objective{[&](const formula_objective::numbers& x) {
          return scale * square(x[0] - 0.5) + offset * x[0] + offset;
        }};
        const trust_region_result result = run(objective, {start});
        EXPECT_TRUE(!result.within_tolerance || std::isfinite(result.value));
      }
}

TEST(optimizer, ends_on_a_function_without_a_lower_bound) {
  formula_objective linear{[](const formula_objective::numbers& x) { return x[0] - x[1]; }};
  EXPECT_FALSE(run(linear, {1.0, 2.0}).within_tolerance);
  formula_objective saddle{
      [](const formula_objective::numbers& x) { return square(x[0]) - square(x[1]); }};
  EXPECT_FALSE(run(saddle, {1.0, 2.0}).within_tolerance);
  EXPECT_FALSE(run(saddle, {0.0, 0.0}).within_tolerance);
}

}  // namespace
}  // namespace corvane::testing
