// SPDX-License-Identifier: BSD-3-Clause
//
// Where a weight leaves the zone of a smoothed penalty the score jumps: steps back before
// jumps, and trials that are not worth their inner problem.
#include "model/linear_linked_regression/detail/aloocv_objective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include "classification_problem.h"
#include "outer_problem.h"
#include "penalty_kind.h"
#include "polished_optimizer.h"

namespace corvane::model {

namespace {

// Where an iteration goes on from that begins at theta and takes its score to be `value`.
numbers adjusted_point(aloocv_objective& objective, numbers theta, double value) {
  const auto Q = static_cast<index_t>(theta.size());
  dense_vector gradient{Q};
  symmetric_matrix hessian{Q, Q};
  EXPECT_TRUE(objective.compute_gradient_hessian(view_of(theta), gradient, hessian));
  objective.begin_iteration(view_of(theta), value, gradient, hessian);
  const numbers before = theta;
  const bool is_moved = objective.adjust_point({theta.data(), Q}, value, gradient, hessian);
  EXPECT_EQ(is_moved, theta != before);
  return theta;
}

// From a low score to a high one.
numbers end_of_bad_step(penalty_kind kind, const numbers& from, const numbers& to) {
  const classification_problem data = drawn_problem(30, 4, 2);
  aloocv_objective objective{
      std::make_shared<polished_optimizer>(),
      std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
      penalty_of(kind, cyclic_groups(4, 1)), dense_matrix{data.X}, dense_vector{data.y}};
  EXPECT_EQ(adjusted_point(objective, from, 0.0), from);
  return adjusted_point(objective, to, 1e6);
}

TEST(aloocv_jumps, goes_half_of_a_bad_step_back_where_it_was_along_one_strength) {
  constexpr auto lasso = penalty_kind::lasso;
  constexpr auto elastic = penalty_kind::elastic;
  EXPECT_EQ(end_of_bad_step(lasso, {0.5}, {0.25}), (numbers{0.375}));
  EXPECT_EQ(end_of_bad_step(elastic, {0.0, 0.5}, {0.0, 0.25}), (numbers{0.0, 0.375}));
  EXPECT_EQ(end_of_bad_step(elastic, {0.5, 0.5}, {0.25, 0.25}), (numbers{0.25, 0.25}));
  // The middle of a step through zero is weaker than either end.
  EXPECT_EQ(end_of_bad_step(lasso, {0.5}, {-0.25}), (numbers{-0.25}));
  // Without a smoothed penalty there are no jumps.
  EXPECT_EQ(end_of_bad_step(penalty_kind::ridge, {0.5}, {0.25}), (numbers{0.25}));
}

// A lasso, and which of its weights lie in the zone.
struct jump_problem : outer_problem {
  jump_problem() : outer_problem{penalty_kind::lasso} {}

  // With a score that is lower than all before, so that no step goes back.
  void accept(double theta) {
    score -= 1e6;
    adjusted_point(objective, {theta}, score);
    accepted_sides = sides();
  }
  bool has_a_jump_before(double trial) {
    value_at({trial});
    return sides() != accepted_sides;
  }
  std::vector<bool> sides() const {
    std::vector<bool> inside;
    for (const double w : objective.weights())
      inside.push_back(std::abs(w) < penalty->zone());
    return inside;
  }

  double score = 0.0;
  std::vector<bool> accepted_sides;
};

TEST(aloocv_jumps, solves_no_inner_problem_closer_to_a_jump_that_is_next_to_it) {
  jump_problem problem;
  double above = 2.0;
  double below = 0.25;
  problem.accept(above);
  ASSERT_TRUE(problem.has_a_jump_before(below));
  EXPECT_TRUE(problem.is_defined_at({1.0}));  // not next to it
  while (above - below > 1e-4 * above) {
    const double middle = 0.5 * (above + below);
    const bool has_jump = problem.has_a_jump_before(middle);
    (has_jump ? below : above) = middle;
    if (!has_jump) problem.accept(above);
  }
  problem.accept(above);
  ASSERT_TRUE(problem.has_a_jump_before(below));
  const std::size_t num_runs = problem.optimizer->start_points.size();
  EXPECT_FALSE(problem.is_defined_at({0.5 * (above + below)}));
  EXPECT_FALSE(problem.is_defined_at({2.0 * above}));
  EXPECT_EQ(problem.optimizer->start_points.size(), num_runs);
  // The accepted theta has its value still, and other trials have theirs after it.
  EXPECT_TRUE(problem.is_defined_at({above}));
  EXPECT_TRUE(problem.is_defined_at({2.0 * above}));
}

// How many steps of the given gain each, in parts of the score, a run makes before it
// tries no more, up to 1000.
int steps_before_the_end(double gain) {
  jump_problem problem;
  double score = 1.0;
  int steps = 0;
  for (double theta = 1.0; steps < 1000; ++steps, theta *= 0.9999, score *= 1.0 - gain) {
    adjusted_point(problem.objective, {theta}, score);
    if (!problem.is_defined_at({0.9999 * theta})) break;
  }
  return steps;
}

TEST(aloocv_jumps, a_run_ends_whose_last_hundred_steps_have_brought_next_to_nothing) {
  for (const double gain : {0.9e-6, 1e-9}) {
    EXPECT_GT(steps_before_the_end(gain), 99);
    EXPECT_LT(steps_before_the_end(gain), 300);
  }
  EXPECT_EQ(steps_before_the_end(1.1e-6), 1000);
  EXPECT_EQ(steps_before_the_end(1e-4), 1000);
}

// Steps that gain nothing, until no more is tried.
void creep_to_the_end(jump_problem& problem) {
  int steps = 0;
  do adjusted_point(problem.objective, {1.0}, 1.0);
  while (problem.is_defined_at({1.5}) && ++steps < 1000);
  EXPECT_LT(steps, 1000);
}

TEST(aloocv_jumps, another_run_may_begin_where_one_ended_that_had_brought_nothing) {
  jump_problem problem;
  creep_to_the_end(problem);
  EXPECT_FALSE(problem.is_defined_at({1.5}));
  EXPECT_TRUE(problem.is_defined_at({1.0}));
  EXPECT_TRUE(problem.is_defined_at({1.5}));
}

TEST(aloocv_objective, ends_a_run_whose_score_is_near_its_infimum_after_a_hundred_steps) {
  outer_problem problem;  // of 30 observations
  const double at_zero_weights = 30.0 * std::log(2.0);
  const auto step = [&](double score) {
    problem.objective.begin_iteration(view_of({1.0}), score, {}, {});
  };
  EXPECT_TRUE(problem.is_defined_at({1.0}));
  for (int k = 0; k < 100; ++k) step(0.9e-6 * at_zero_weights);
  step(1.1e-6 * at_zero_weights);
  EXPECT_THROW(step(0.9e-6 * at_zero_weights), optimizer_infimum_error);
  problem.objective.restart();
  EXPECT_TRUE(problem.is_defined_at({1.0}));
  step(0.0);
}

TEST(aloocv_jumps, a_run_from_anew_knows_nothing_of_the_steps_before) {
  jump_problem problem;
  creep_to_the_end(problem);
  problem.objective.restart();
  EXPECT_TRUE(problem.is_defined_at({1.5}));
  // Ninety steps of the hundred, and another run: its first ones gain nothing over those.
  for (int step = 0; step < 90; ++step) adjusted_point(problem.objective, {1.0}, 0.5);
  problem.objective.restart();
  for (int step = 0; step < 99; ++step) {
    adjusted_point(problem.objective, {1.0}, 1.0);
    ASSERT_TRUE(problem.is_defined_at({1.5})) << step;
  }
}

}  // namespace

}  // namespace corvane::model
