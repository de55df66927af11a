// SPDX-License-Identifier: BSD-3-Clause
//
// The inner objective: its law, its cache, and what it does where a derivative is missing.
#include "model/linear_linked_regression/detail/loss_objective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "classification_problem.h"
#include "counting_fakes.h"
#include "optimization/trust_region_optimizer.h"
#include "penalty_kind.h"
#include "support/objective_law.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::loss_objective;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// An objective over a problem that a test may change behind its back.
struct inner_problem {
  explicit inner_problem(penalty_kind kind = penalty_kind::ridge, index_t n = 25,
                         index_t p = 4)
      : inner_problem{penalty_of(kind, cyclic_groups(p, 1)), n, p} {}
  explicit inner_problem(std::shared_ptr<const regularizer> plain, index_t n = 25,
                         index_t p = 4)
      : data{drawn_problem(n, p, 3)},
        penalty{std::make_shared<logging_regularizer>(log, std::move(plain))},
        objective{link, penalty, data.X, data.y} {
    dense_vector theta{penalty->num_hyperparameters()};
    std::fill(theta.begin(), theta.end(), 0.7);
    objective.set_hyperparameters(theta);
  }

  double value_at(const std::vector<double>& w) {
    double value = nan;
    EXPECT_TRUE(objective.compute_value(point(w), value));
    return value;
  }
  bool is_defined_at(const std::vector<double>& w) {
    double value = nan;
    return objective.compute_value(point(w), value);
  }
  bool has_derivatives_at(const std::vector<double>& w) {
    dense_vector gradient{data.X.cols()};
    symmetric_matrix hessian{data.X.cols(), data.X.cols()};
    return objective.compute_gradient_hessian(point(w), gradient, hessian);
  }
  static const_vector_view point(const std::vector<double>& w) {
    return {w.data(), static_cast<index_t>(w.size())};
  }

  classification_problem data;
  std::shared_ptr<call_log> log = std::make_shared<call_log>();
  std::shared_ptr<logging_link> link = std::make_shared<logging_link>(log);
  std::shared_ptr<logging_regularizer> penalty;
  loss_objective objective;
};

const std::vector<double> somewhere{0.3, -0.2, 0.05, 0.4};

TEST(loss_objective, has_the_derivatives_of_its_value) {
  for (const penalty_kind kind : all_penalties) {
    inner_problem problem{kind};
    EXPECT_TRUE(testing::obeys_objective_law(problem.objective, somewhere));
  }
}

TEST(loss_objective, is_the_sum_of_losses_and_penalty_without_any_factor) {
  inner_problem problem;
  double expected = 0.0;
  for (index_t i = 0; i < problem.data.X.rows(); ++i) {
    double z = 0.0;
    for (index_t j = 0; j < 4; ++j)
      z += problem.data.X(i, j) * somewhere[static_cast<std::size_t>(j)];
    expected += std::log(1.0 + std::exp(-problem.data.y[i] * z));
  }
  for (const double w : somewhere) expected += 0.5 * 0.7 * 0.7 * w * w;
  EXPECT_NEAR(problem.value_at(somewhere), expected, 1e-13 * expected);
}

TEST(loss_objective, has_no_slope_left_at_the_solution) {
  trust_region_optimizer_options options;
  options.tolerance = 1e-10;
  options.tolerance2 = 1e-8;
  const auto optimizer = make_trust_region_optimizer(options);
  for (const penalty_kind kind : all_penalties) {
    inner_problem problem{kind, 60, 4};
    const std::vector<double> start(4, 0.0);
    const trust_region_result result =
        optimize(*optimizer, problem.objective, inner_problem::point(start));
    dense_vector gradient{4};
    ASSERT_TRUE(problem.objective.compute_gradient(result.x, gradient));
    for (const double slope : gradient) EXPECT_NEAR(slope, 0.0, 1e-6);
  }
}

// With the penalty itself, whose weights can be told apart: fakes do not offer that.
struct whole_problem {
  explicit whole_problem(penalty_kind kind, double strength, index_t p = 12)
      : data{drawn_problem(200, p, 5, 0.1)},
        penalty{penalty_of(kind, cyclic_groups(p, 1))},
        objective{std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
                  penalty, data.X, data.y},
        theta{penalty->num_hyperparameters()} {
    std::fill(theta.begin(), theta.end(), strength);
    objective.set_hyperparameters(theta);
  }
  trust_region_result solve() {
    trust_region_optimizer_options options;
    options.tolerance = options.tolerance2 = 1e-4;
    const std::vector<double> zero(static_cast<std::size_t>(data.X.cols()), 0.0);
    return optimize(*make_trust_region_optimizer(options), objective,
                    inner_problem::point(zero));
  }
  classification_problem data;
  std::shared_ptr<const regularizer> penalty;
  loss_objective objective;
  dense_vector theta;
};

// g^2 / H is twice what a Newton step along one weight would gain.
TEST(loss_objective, is_solved_to_the_rounding_of_its_value_under_a_smoothed_penalty) {
  for (const penalty_kind kind :
       {penalty_kind::lasso, penalty_kind::elastic, penalty_kind::bridge})
    for (const double strength : {0.2, 0.5, 0.9}) {
      whole_problem problem{kind, strength};
      const trust_region_result result = problem.solve();
      EXPECT_TRUE(result.within_tolerance);
      EXPECT_TRUE(result.positive_definite);
      for (index_t k = 0; k < result.gradient.size(); ++k)
        EXPECT_LE(result.gradient[k] * result.gradient[k],
                  double_epsilon * result.value * std::abs(result.hessian(k, k)));
    }
}

TEST(loss_objective, computes_the_predictions_once_for_calls_at_the_same_point) {
  inner_problem problem;
  const double value = problem.value_at(somewhere);
  for (double& x : problem.data.X) x *= 3.0;
  EXPECT_EQ(problem.value_at(somewhere), value);
  EXPECT_NE(problem.value_at({0.1, 0.1, 0.1, 0.1}), value);
  EXPECT_NE(problem.value_at(somewhere), value);
}

TEST(loss_objective, takes_a_point_with_a_nan_for_a_new_one) {
  const std::vector<double> w{0.1, nan};
  EXPECT_FALSE(same_point(inner_problem::point(w), inner_problem::point(w)));
  inner_problem problem;
  const double value = problem.value_at(somewhere);
  EXPECT_FALSE(problem.is_defined_at({0.3, nan, 0.05, 0.4}));
  for (const double z : problem.objective.predictions()) EXPECT_TRUE(std::isnan(z));
  EXPECT_EQ(problem.value_at(somewhere), value);
}

TEST(loss_objective, forgets_the_point_when_the_same_hyperparameters_are_set_again) {
  inner_problem problem;
  const double value = problem.value_at(somewhere);
  for (double& x : problem.data.X) x *= 3.0;
  const std::vector<double> theta{0.7};
  problem.objective.set_hyperparameters(inner_problem::point(theta));
  EXPECT_NE(problem.value_at(somewhere), value);
}

TEST(loss_objective, sees_no_slope_of_any_penalty_at_zero) {
  for (const penalty_kind kind : all_penalties) {
    inner_problem problem{kind};
    EXPECT_FALSE(problem.objective.is_nonsmooth_at_zero());
  }
}

TEST(loss_objective, sees_the_slope_at_zero_of_a_penalty_that_is_not_smoothed) {
  inner_problem problem{std::make_shared<lasso_regularizer>(cyclic_groups(4, 1), 0.0)};
  EXPECT_TRUE(problem.objective.is_nonsmooth_at_zero());
  const std::vector<double> none{0.0};
  problem.objective.set_hyperparameters(inner_problem::point(none));
  EXPECT_FALSE(problem.objective.is_nonsmooth_at_zero());
}

TEST(loss_objective, stays_finite_with_a_very_large_penalty_which_rules_the_diagonal) {
  inner_problem problem;
  const std::vector<double> theta{1e6};
  problem.objective.set_hyperparameters(inner_problem::point(theta));
  symmetric_matrix hessian{4, 4};
  ASSERT_TRUE(problem.objective.compute_hessian(inner_problem::point(somewhere), hessian));
  for (index_t k = 0; k < 4; ++k) EXPECT_NEAR(hessian(k, k), 1e12, 1e3);
  EXPECT_TRUE(std::isfinite(problem.value_at(somewhere)));
}

TEST(loss_objective, is_undefined_where_a_loss_or_a_derivative_overflows) {
  inner_problem problem;
  EXPECT_FALSE(problem.is_defined_at({1e200, 1e200, 1e200, 1e200}));
  EXPECT_FALSE(problem.has_derivatives_at({nan, 0.0, 0.0, 0.0}));
  EXPECT_TRUE(problem.is_defined_at(somewhere));
}

TEST(loss_objective, stands_at_a_point_that_it_rejected) {
  inner_problem problem;
  problem.value_at(somewhere);
  const std::vector<double> far{1e200, 1e200, 1e200, 1e200};
  EXPECT_FALSE(problem.is_defined_at(far));
  EXPECT_TRUE(same_point(problem.objective.weights(), inner_problem::point(far)));
  problem.link->failing = "loss";
  const std::vector<double> near{0.1, 0.1, 0.1, 0.1};
  EXPECT_FALSE(problem.is_defined_at(near));
  EXPECT_TRUE(same_point(problem.objective.weights(), inner_problem::point(near)));
  problem.link->failing = "l1";
  EXPECT_FALSE(problem.has_derivatives_at(somewhere));
  EXPECT_TRUE(same_point(problem.objective.weights(), inner_problem::point(somewhere)));
}

TEST(loss_objective, is_undefined_where_link_or_penalty_fail) {
  inner_problem problem;
  for (const char* operation : {"loss", "R"}) {
    problem.link->failing = operation;
    problem.penalty->failing = operation;
    EXPECT_FALSE(problem.is_defined_at(somewhere)) << operation;
  }
  for (const char* operation : {"l1", "l2", "r1", "r2"}) {
    problem.link->failing = operation;
    problem.penalty->failing = operation;
    EXPECT_FALSE(problem.has_derivatives_at(somewhere)) << operation;
  }
}

TEST(loss_objective, tells_beforehand_which_hyperparameters_would_end_the_process) {
  const inner_problem problem;
  for (const double bad : {nan, HUGE_VAL, -HUGE_VAL, 1e200}) {
    const std::vector<double> theta{bad};
    EXPECT_FALSE(problem.objective.accepts_hyperparameters(inner_problem::point(theta)));
  }
  const std::vector<double> theta{1e100};
  EXPECT_TRUE(problem.objective.accepts_hyperparameters(inner_problem::point(theta)));
}

TEST(loss_objective_death, ends_the_process_on_a_penalty_without_gradient_at_zero) {
  inner_problem problem;
  const std::vector<double> theta{nan};
  EXPECT_DEATH(problem.objective.set_hyperparameters(inner_problem::point(theta)),
               "^src/model/linear_linked_regression/detail/loss_objective:[0-9]+ panic: "
               "regularizer undefined at zero$");
}

TEST(loss_objective, is_undefined_after_more_iterations_than_any_sound_problem_takes) {
  inner_problem problem;
  const auto iterate = [&](int count) {
    for (int k = 0; k < count; ++k) problem.objective.begin_iteration({}, 1.0, {}, {});
  };
  iterate(loss_objective::iteration_limit);
  EXPECT_TRUE(problem.is_defined_at(somewhere));
  iterate(1);
  EXPECT_FALSE(problem.is_defined_at(somewhere));
  const std::vector<double> theta{0.7};
  problem.objective.set_hyperparameters(inner_problem::point(theta));
  EXPECT_TRUE(problem.is_defined_at(somewhere));
}

}  // namespace

}  // namespace corvane::model
