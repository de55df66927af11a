// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_step_searcher.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "formula_objective.h"
#include "optimization/optimizer_error.h"
#include "optimization/trust_region_forwarding.h"

namespace corvane::testing {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// One variable: an iteration at x with gradient g and Hessian h, and its attempt.
class iteration {
 public:
  iteration(double x, double value, double g, double h, double radius)
      : x_{x}, g_{g}, h_{h} {
    state.x = const_vector_view{&x_, 1};
    state.value = value;
    state.scale = {&scale_, 1};
    state.scaled_gradient = {&g_, 1};
    state.scaled_hessian = {&h_, 1, 1};
    attempt.x_new = {&x_new_, 1};
    attempt.step = {&step_, 1};
    attempt.radius = radius;
  }

  void search(second_order_objective& objective) {
    searcher.search(searcher, objective, state, attempt);
  }
  void set_scale(double scale) { scale_ = scale; }

  trust_region_step_searcher_impl searcher{trust_region_optimizer_options{}};
  trust_region_state state;
  trust_region_step attempt;

 private:
  double x_;
  double g_;
  double h_;
  double scale_ = 1.0;
  double x_new_ = 0.0;
  double step_ = 0.0;
};

// Gives the values of a list, one after the other, and the last one again and again.
class scripted_objective final : public formula_objective {
 public:
  explicit scripted_objective(std::vector<double> values)
      : formula_objective{[](const numbers&) { return second_order_number{0.0}; }},
        values_{std::move(values)} {}

  bool compute_value(const_vector_view x, double& value) override {
    points.push_back(x[0]);
    value = values_.front();
    if (values_.size() > 1) values_.erase(values_.begin());
    return true;
  }

  std::vector<double> points;

 private:
  std::vector<double> values_;
};

TEST(step_searcher, accepts_any_real_decrease) {
  iteration at{0.0, 1.0, -1.0, 1.0, 10.0};
  scripted_objective objective{{1.0 - 1e-15}};
  at.search(objective);
  EXPECT_EQ(at.attempt.attempts, 1);
  EXPECT_EQ(at.attempt.predicted, -0.5);
  EXPECT_EQ(at.attempt.x_new[0], 1.0);
  EXPECT_GT(at.attempt.ratio, 0.0);
  EXPECT_LT(at.attempt.actual, 0.0);
}

TEST(step_searcher, shrinks_the_radius_to_a_quarter_of_a_rejected_step) {
  iteration at{0.0, 1.0, -1.0, 1.0, 10.0};
  scripted_objective objective{{1.0, 2.0, 0.5}};  // no change, an increase, a decrease
  at.search(objective);
  EXPECT_EQ(at.attempt.attempts, 3);
  EXPECT_EQ(objective.points[0], 1.0);  // the Newton step, well inside
  EXPECT_NEAR(objective.points[1], 0.25, 0.025);
  EXPECT_NEAR(objective.points[2], 0.0625, 0.00625);
  EXPECT_LE(at.attempt.radius, 0.25 * 0.275);
}

// Writes down which of its two operations is called, and lets the real solver do it.
class recording_solver final : public subproblem_solver {
 public:
  double solve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
               double radius, const_symmetric_view H, vector_view step) override {
    calls += 's';
    return solver_.solve(bounds, g, lambda, radius, H, step);
  }
  double resolve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
                 double radius, const_symmetric_view H, vector_view step) override {
    calls += 'r';
    return solver_.resolve(bounds, g, lambda, radius, H, step);
  }

  std::string calls;

 private:
  subproblem_solver_impl solver_;
};

class searcher_with_recording_solver final : public forwarding_step_searcher {
 public:
  using forwarding_step_searcher::forwarding_step_searcher;
  recording_solver& subproblem_solver() override { return solver_; }

 private:
  recording_solver solver_;
};

TEST(step_searcher, solves_the_first_attempt_and_resolves_those_after_a_rejection) {
  iteration at{0.0, 1.0, -1.0, 1.0, 10.0};
  searcher_with_recording_solver searcher{at.searcher};
  scripted_objective objective{{1.0, 2.0, 0.5}};
  searcher.search(searcher, objective, at.state, at.attempt);
  EXPECT_EQ(searcher.subproblem_solver().calls, "srr");
}

TEST(step_searcher, undoes_the_scaling_in_the_trial_point) {
  iteration at{3.0, 1.0, -1.0, 1.0, 10.0};
  at.set_scale(4.0);
  scripted_objective objective{{0.5}};
  at.search(objective);
  EXPECT_EQ(at.attempt.step[0], 1.0);
  EXPECT_EQ(at.attempt.step_norm, 1.0);
  EXPECT_EQ(at.attempt.x_new[0], 3.25);
}

TEST(step_searcher, accepts_a_step_without_predicted_change_whatever_happens) {
  for (const double value : {-5.0, 1.0, 7.0}) {
    iteration at{0.0, 1.0, 0.0, 1.0, 10.0};
    scripted_objective objective{{value}};
    at.search(objective);
    EXPECT_EQ(at.attempt.predicted, 0.0);
    EXPECT_EQ(at.attempt.ratio, 1.0);
    EXPECT_EQ(at.attempt.attempts, 1);
  }
}

TEST(step_searcher, collapses_when_the_predicted_change_is_too_small_to_be_seen) {
  // At value 0 the prediction itself is compared: g^2 / 2 = 1e-15.
  iteration at{0.0, 0.0, -std::sqrt(2e-15), 1.0, 10.0};
  scripted_objective objective{{1.0}};
  EXPECT_THROW(at.search(objective), optimizer_trust_region_collapse_error);
  EXPECT_EQ(at.attempt.attempts, 1);
}

TEST(step_searcher, does_not_collapse_on_a_small_change_that_is_a_decrease) {
  iteration at{0.0, 0.0, -std::sqrt(2e-15), 1.0, 10.0};
  scripted_objective objective{{-1e-15}};
  at.search(objective);
  EXPECT_EQ(at.attempt.attempts, 1);
}

TEST(step_searcher, compares_the_prediction_with_the_value) {
  // The prediction 0.5 is ten epsilons of 2.25e14: seen below, not seen above.
  iteration seen{0.0, 2e14, -1.0, 1.0, 10.0};
  scripted_objective two_values{{3e14, 1e14}};
  seen.search(two_values);
  EXPECT_EQ(seen.attempt.attempts, 2);
  iteration unseen{0.0, 2.5e14, -1.0, 1.0, 10.0};
  scripted_objective increase{{3e14}};
  EXPECT_THROW(unseen.search(increase), optimizer_trust_region_collapse_error);
  EXPECT_EQ(unseen.attempt.attempts, 1);
}

TEST(step_searcher, collapses_when_the_objective_is_undefined_at_every_trial_point) {
  iteration at{0.0, 1.0, -1.0, 1.0, 10.0};
  formula_objective objective{[](const auto& x) { return x[0]; }};
  objective.is_defined = [](const_vector_view) { return false; };
  EXPECT_THROW(at.search(objective), optimizer_trust_region_collapse_error);
  EXPECT_LT(at.attempt.radius, 1e-10);
  EXPECT_EQ(objective.calls.substr(0, 4), "pVpV");
}

TEST(step_searcher, collapses_on_a_prediction_that_is_not_finite) {
  for (const double slope : {std::nan(""), infinity, 1e300}) {
    iteration at{0.0, 1.0, slope, 1.0, 10.0};
    scripted_objective objective{{0.0}};
    EXPECT_THROW(at.search(objective), optimizer_trust_region_collapse_error);
    EXPECT_EQ(at.attempt.attempts, 1);
  }
}

// With a current value of infinity no decrease is ever seen, and a prediction relative to
// it is 0; with NaN no comparison holds, so that only the radius can end the search.
TEST(step_searcher, collapses_when_the_radius_has_reached_zero) {
  iteration at{0.0, std::nan(""), -1.0, 1.0, 10.0};
  scripted_objective objective{{0.0}};
  EXPECT_THROW(at.search(objective), optimizer_trust_region_collapse_error);
  EXPECT_EQ(at.attempt.radius, 0.0);
}

// next_radius after a step of norm 0.5 within a radius of 2
double next_radius(double ratio, double lambda) {
  iteration at{0.0, 1.0, -1.0, 1.0, 2.0};
  at.attempt.step_norm = 0.5;
  at.attempt.ratio = ratio;
  at.attempt.lambda = lambda;
  return at.searcher.next_radius(at.state, at.attempt);
}

TEST(next_radius, grows_only_above_three_quarters) {
  EXPECT_EQ(next_radius(0.76, 1.0), 4.0);
  EXPECT_EQ(next_radius(0.75, 1.0), 2.0);
}

TEST(next_radius, does_not_grow_after_a_newton_step) {
  EXPECT_EQ(next_radius(1.0, 0.0), 2.0);
}

TEST(next_radius, shrinks_only_below_a_quarter) {
  EXPECT_EQ(next_radius(0.24, 1.0), 0.125);
  EXPECT_EQ(next_radius(0.25, 1.0), 2.0);
}

TEST(next_radius, stays_at_a_nan) { EXPECT_EQ(next_radius(std::nan(""), 1.0), 2.0); }

TEST(shrunk_radius, is_a_quarter_of_the_shorter_of_step_and_radius) {
  iteration at{0.0, 1.0, -1.0, 1.0, 2.0};
  at.attempt.step_norm = 0.5;
  EXPECT_EQ(at.searcher.shrunk_radius(at.state, at.attempt), 0.125);
  at.attempt.step_norm = 2.1;
  EXPECT_EQ(at.searcher.shrunk_radius(at.state, at.attempt), 0.5);
}

}  // namespace
}  // namespace corvane::testing
