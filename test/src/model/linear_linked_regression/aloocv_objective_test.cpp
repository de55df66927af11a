// SPDX-License-Identifier: BSD-3-Clause
//
// The outer objective: what it calls and when, where its inner problems start, how it
// fails, and how near its value is to leaving samples out in earnest.
#include "model/linear_linked_regression/detail/aloocv_objective.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "classification_problem.h"
#include "common/linear_algebra.h"
#include "counting_fakes.h"
#include "outer_problem.h"
#include "penalty_kind.h"
#include "polished_optimizer.h"

namespace corvane::model {

namespace {

TEST(aloocv_objective, starts_its_first_inner_problem_at_zero) {
  outer_problem problem;
  problem.value_at({0.8});
  ASSERT_EQ(problem.optimizer->start_points.size(), 1U);
  EXPECT_EQ(problem.optimizer->start_points[0], numbers(4, 0.0));
}

TEST(aloocv_objective, starts_inner_problems_at_the_solution_of_the_last_accepted_theta) {
  outer_problem problem;
  problem.value_at({0.8});
  const numbers accepted = copied(problem.objective.weights());
  problem.begin_iteration({0.8});
  problem.value_at({0.5});  // a trial that is rejected
  problem.value_at({0.7});
  ASSERT_EQ(problem.optimizer->start_points.size(), 3U);
  EXPECT_EQ(problem.optimizer->start_points[1], accepted);
  EXPECT_EQ(problem.optimizer->start_points[2], accepted);
  problem.begin_iteration({0.7});
  problem.value_at({0.6});
  EXPECT_NE(problem.optimizer->start_points[3], accepted);
}

TEST(aloocv_objective, starts_at_zero_again_after_a_restart) {
  outer_problem problem;
  const double value = problem.value_at({0.8});
  problem.begin_iteration({0.8});
  problem.objective.restart();
  EXPECT_EQ(problem.value_at({0.8}), value);
  ASSERT_EQ(problem.optimizer->start_points.size(), 2U);
  EXPECT_EQ(problem.optimizer->start_points[1], numbers(4, 0.0));
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

TEST(aloocv_objective, has_a_value_that_does_not_depend_on_what_was_evaluated_before) {
  for (const penalty_kind kind : all_penalties) {
    outer_problem problem{kind};
    const auto Q = static_cast<std::size_t>(problem.penalty->num_hyperparameters());
    const numbers a(Q, 0.8);
    const numbers b(Q, 0.4);
    const double at_a = problem.value_at(a);
    const double at_b = problem.value_at(b);
    EXPECT_EQ(problem.value_at(a), at_a);
    outer_problem other{kind};
    EXPECT_EQ(other.value_at(b), at_b);
    EXPECT_EQ(other.value_at(a), at_a);
  }
}

TEST(aloocv_objective, calls_nothing_when_a_theta_is_repeated) {
  outer_problem problem;
  const double value = problem.value_at({0.8});
  problem.log->clear();
  EXPECT_EQ(problem.value_at({0.8}), value);
  problem.begin_iteration({0.8});
  EXPECT_EQ(*problem.log, call_log{});
}

TEST(aloocv_objective,
     asks_link_and_penalty_in_order_for_the_derivatives_of_a_known_theta) {
  outer_problem problem{penalty_kind::bridge};
  problem.value_at({0.8, 0.5});
  problem.log->clear();
  EXPECT_TRUE(problem.has_derivatives_at({0.8, 0.5}));
  EXPECT_EQ(*problem.log,
            (call_log{"l3", "l4", "l1", "l2", "G1", "G2", "D1", "D2", "r3", "T1", "r4"}));
}

TEST(aloocv_objective, never_asks_a_ridge_for_derivatives_that_it_does_not_have) {
  outer_problem problem;
  problem.value_at({0.8});
  EXPECT_TRUE(problem.has_derivatives_at({0.8}));
  for (const char* absent : {"r3", "r4", "T1"})
    EXPECT_EQ(std::count(problem.log->begin(), problem.log->end(), absent), 0) << absent;
}

TEST(aloocv_objective, has_no_slope_where_every_weight_is_zero) {
  classification_problem data = drawn_problem(20, 3, 5);
  std::fill(data.X.begin(), data.X.end(), 0.0);
  for (const penalty_kind kind : all_penalties) {
    outer_problem problem{kind, data};
    const numbers theta(static_cast<std::size_t>(problem.penalty->num_hyperparameters()),
                        0.5);
    const auto Q = static_cast<index_t>(theta.size());
    dense_vector gradient{Q};
    symmetric_matrix hessian{Q, Q};
    ASSERT_TRUE(
        problem.objective.compute_gradient_hessian(view_of(theta), gradient, hessian));
    EXPECT_EQ(copied(gradient), numbers(theta.size(), 0.0));
    for (index_t a = 0; a < Q; ++a)
      for (index_t b = 0; b <= a; ++b) EXPECT_EQ(hessian(a, b), 0.0);
  }
}

// One sample and one feature of 1: with w held at 0, and the penalty out of the Hessian,
// the leverage is 1 / l'', so that 1 - h l'' vanishes.
aloocv_objective objective_of_a_sample_that_determines_its_own_prediction(
    const variable_mapping::entry& group) {
  const auto log = std::make_shared<call_log>();
  const auto optimizer =
      std::make_shared<recording_optimizer>(log, std::make_shared<polished_optimizer>());
  optimizer->alter = [](trust_region_result& result) {
    result.x[0] = 0.0;
    result.hessian(0, 0) = 0.25;
    result.positive_definite = true;
  };
  dense_matrix X{1, 1};
  X(0, 0) = 1.0;
  dense_vector y{1};
  y[0] = 1.0;
  return {optimizer, std::make_shared<logging_link>(log),
          penalty_of(penalty_kind::ridge, variable_mapping{{group}}), std::move(X),
          std::move(y)};
}

TEST(aloocv_objective, has_no_value_where_a_sample_determines_its_own_prediction) {
  auto objective = objective_of_a_sample_that_determines_its_own_prediction(0.0);
  double value = 0.0;
  EXPECT_FALSE(objective.compute_value({}, value));
}

TEST(aloocv_objective, has_no_derivatives_where_a_sample_determines_its_own_prediction) {
  auto objective = objective_of_a_sample_that_determines_its_own_prediction(index_t{0});
  const numbers theta{0.5};
  dense_vector gradient{1};
  symmetric_matrix hessian{1, 1};
  EXPECT_FALSE(objective.compute_gradient_hessian(view_of(theta), gradient, hessian));
}

TEST(aloocv_objective, works_without_any_hyperparameter) {
  const classification_problem data = drawn_problem(40, 2, 6);
  const auto penalty = penalty_of(penalty_kind::ridge, variable_mapping{{0.0, 0.0}});
  const auto log = std::make_shared<call_log>();
  aloocv_objective objective{std::make_shared<polished_optimizer>(),
                             std::make_shared<logging_link>(log), penalty,
                             dense_matrix{data.X}, dense_vector{data.y}};
  double value = nan;
  EXPECT_TRUE(objective.compute_value_gradient_hessian({}, value, {}, {}));
  EXPECT_TRUE(std::isfinite(value));
}

TEST(aloocv_objective, counts_a_missed_inner_tolerance_but_not_an_indefinite_hessian) {
  outer_problem problem;
  problem.optimizer->alter = [](trust_region_result& r) { r.within_tolerance = false; };
  EXPECT_TRUE(problem.is_defined_at({0.8}));
  problem.optimizer->alter = [](trust_region_result& r) { r.positive_definite = false; };
  EXPECT_FALSE(problem.is_defined_at({0.7}));
}

TEST(aloocv_objective, remembers_that_a_theta_failed) {
  outer_problem problem;
  problem.optimizer->alter = [](trust_region_result& r) { r.positive_definite = false; };
  EXPECT_FALSE(problem.is_defined_at({0.8}));
  problem.log->clear();
  EXPECT_FALSE(problem.is_defined_at({0.8}));
  EXPECT_FALSE(problem.has_derivatives_at({0.8}));
  EXPECT_EQ(*problem.log, call_log{});
}

TEST(aloocv_objective, remembers_that_a_factorization_failed) {
  outer_problem problem;
  problem.optimizer->alter = [](trust_region_result& r) { r.hessian(0, 0) = -1.0; };
  EXPECT_FALSE(problem.is_defined_at({0.8}));
  EXPECT_FALSE(problem.is_defined_at({0.8}));
  EXPECT_FALSE(problem.has_derivatives_at({0.8}));
}

TEST(aloocv_objective, keeps_the_weights_of_the_accepted_theta_through_a_failed_trial) {
  outer_problem problem;
  problem.value_at({0.8});
  const numbers accepted = copied(problem.objective.weights());
  problem.begin_iteration({0.8});
  problem.optimizer->alter = [](trust_region_result& r) { r.positive_definite = false; };
  EXPECT_FALSE(problem.is_defined_at({0.7}));
  EXPECT_EQ(copied(problem.objective.weights()), accepted);
}

TEST(aloocv_objective, is_undefined_where_the_inner_problem_is_undefined_at_its_start) {
  outer_problem problem;
  problem.link->failing = "loss";
  EXPECT_FALSE(problem.is_defined_at({0.8}));
}

TEST(aloocv_objective, refuses_hyperparameters_before_they_can_end_the_process) {
  for (const penalty_kind kind : all_penalties) {
    outer_problem problem{kind};
    for (const double bad : {nan, HUGE_VAL, 1e200}) {
      const numbers theta(static_cast<std::size_t>(problem.penalty->num_hyperparameters()),
                          bad);
      EXPECT_FALSE(problem.is_defined_at(theta)) << bad;
      EXPECT_FALSE(problem.has_derivatives_at(theta)) << bad;
    }
    EXPECT_TRUE(problem.optimizer->start_points.empty());
  }
}

TEST(aloocv_objective, has_no_derivatives_where_link_or_penalty_fail) {
  for (const char* operation :
       {"l3", "l4", "l1", "l2", "G1", "G2", "D1", "D2", "r3", "T1", "r4"}) {
    outer_problem problem{penalty_kind::bridge};
    problem.value_at({0.8, 0.5});
    problem.link->failing = operation;
    problem.penalty->failing = operation;
    EXPECT_FALSE(problem.has_derivatives_at({0.8, 0.5})) << operation;
  }
}

// The inner run may end with a trial that it rejected: predictions are those of its
// solution all the same.
TEST(aloocv_objective, evaluates_at_the_solution_and_not_at_the_last_trial) {
  outer_problem plain;
  outer_problem moved;
  const double expected = plain.value_at({0.8});
  const numbers solution = copied(plain.objective.weights());
  // A result that is not the point that the inner objective saw last.
  moved.optimizer->alter = [&](trust_region_result& r) { r.x[0] += 1e-3; };
  const double shifted = moved.value_at({0.8});
  EXPECT_NE(shifted, expected);
  EXPECT_NEAR(shifted, expected, 0.1);
}

TEST(aloocv_objective_death, ends_the_process_when_an_iteration_begins_at_a_failed_theta) {
  outer_problem problem;
  problem.optimizer->alter = [](trust_region_result& r) { r.positive_definite = false; };
  EXPECT_DEATH(problem.begin_iteration({0.8}),
               "^src/model/linear_linked_regression/detail/aloocv_objective:[0-9]+ panic: "
               "termination condition not satisfied$");
}

TEST(aloocv_objective_death, ends_the_process_on_a_hessian_that_is_not_square) {
  outer_problem problem;
  problem.optimizer->alter = [](trust_region_result& r) {
    r.hessian = symmetric_matrix{2, 3};
  };
  EXPECT_DEATH(problem.is_defined_at({0.8}),
               "^src/n_array/n_array:145 panic: shape must be equal dimensional$");
}

// The problem without sample i.
classification_problem without(const classification_problem& data, index_t i) {
  const index_t n = data.X.rows() - 1;
  classification_problem rest{dense_matrix{n, data.X.cols()}, dense_vector{n}};
  for (index_t k = 0; k < n; ++k) {
    const index_t from = k < i ? k : k + 1;
    rest.y[k] = data.y[from];
    for (index_t j = 0; j < data.X.cols(); ++j) rest.X(k, j) = data.X(from, j);
  }
  return rest;
}

// The loss of each sample under the fit without it.
double refitted_loss(const classification_problem& data, penalty_kind kind,
                     const numbers& theta) {
  double sum = 0.0;
  for (index_t i = 0; i < data.X.rows(); ++i) {
    outer_problem rest{kind, without(data, i)};
    rest.value_at(theta);
    double z = 0.0;
    for (index_t j = 0; j < data.X.cols(); ++j)
      z += data.X(i, j) * rest.objective.weights()[j];
    sum += std::log1p(std::exp(-data.y[i] * z));
  }
  return sum;
}

// The approximation leaves a gap, which no formula gives: a tenth bounds it on this data.
TEST(aloocv_objective, is_near_the_loss_of_true_refits) {
  const classification_problem data = drawn_problem(40, 3, 8);
  for (const penalty_kind kind : all_penalties) {
    outer_problem problem{kind, data};
    const numbers theta(static_cast<std::size_t>(problem.penalty->num_hyperparameters()),
                        0.7);
    const double approximate = problem.value_at(theta);
    const double refitted = refitted_loss(data, kind, theta);
    const double gap = approximate / refitted - 1.0;
    RecordProperty("relative_gap_" + std::to_string(static_cast<int>(kind)),
                   std::to_string(gap));
    std::cout << "relative gap to true refits: " << gap << '\n';
    ASSERT_TRUE(std::isfinite(refitted));
    EXPECT_LT(std::abs(gap), 0.1);
  }
}

}  // namespace

}  // namespace corvane::model
