// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_optimizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "formula_objective.h"
#include "optimization/trust_region_forwarding.h"
#include "optimization/trust_region_log_filter.h"

namespace corvane::testing {

namespace {

using numbers = formula_objective::numbers;

trust_region_result run(second_order_objective& objective, const std::vector<double>& x0,
                        const trust_region_optimizer_options& options = {}) {
  const auto optimizer = make_trust_region_optimizer(options);
  return optimize(*optimizer, objective, {x0.data(), static_cast<index_t>(x0.size())});
}

std::vector<double> copy_of(const dense_vector& x) { return {x.begin(), x.end()}; }

second_order_number ellipsoid(const numbers& x) {
  return square(x[0] - 1.0) + 50.0 * square(x[1] + 2.0) + 0.5 * x[0] * x[1];
}

TEST(optimizer, of_a_start_of_size_zero_evaluates_once) {
  formula_objective objective{[](const numbers&) { return second_order_number{7.0}; }};
  const trust_region_result result = run(objective, {});
  EXPECT_EQ(objective.calls, "VD");
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_TRUE(result.positive_definite);
  EXPECT_TRUE(std::isnan(result.value_change));
  EXPECT_TRUE(std::isnan(result.gradient_max));
  EXPECT_EQ(result.value, 7.0);
}

TEST(optimizer, ends_a_convex_quadratic_in_two_newton_steps_without_growing_the_radius) {
  // From (100, 100) the minimum at (99, 98) lies well within the radius.
  formula_objective objective{[](const numbers& x) {
    return square(x[0] - 99.0) + square(x[1] - 98.0) + (x[0] - 99.0) * (x[1] - 98.0);
  }};
  const auto log = make_trust_region_log_filter(make_trust_region_optimizer({}));
  const std::vector<double> x0{100.0, 100.0};
  const trust_region_result result = optimize(*log, objective, {x0.data(), 2});
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_NEAR(result.x[0], 99.0, 1e-12);
  EXPECT_NEAR(result.x[1], 98.0, 1e-12);
  EXPECT_LE(log->log().size(), 3U);  // the last record is the solution
  for (const trust_region_iteration_record& record : log->log()) {
    EXPECT_EQ(record.state.lambda, 0.0);
    EXPECT_EQ(record.state.radius, 0.25 * std::sqrt(20000.0));
  }
}

TEST(optimizer, calls_the_objective_in_the_order_that_it_may_rely_on) {
  formula_objective objective{[](const numbers& x) { return square(x[0] - 1.0); }};
  // From 4 the Newton step of length 3 (scaled by sqrt 2) leaves the radius of 1 at first.
  run(objective, {4.0});
  EXPECT_EQ(objective.calls.substr(0, 7), "VDbapVD");
  std::string repeated = "VD";
  for (std::size_t at = 2; at < objective.calls.size();) {
    repeated += "ba";
    at += 2;
    while (objective.calls.substr(at, 2) == "pV") {
      repeated += "pV";
      at += 2;
    }
    repeated += "D";
    at += 1;
    if (objective.calls.substr(at, 1) == "c") {
      repeated += "c";
      at += 1;
    }
  }
  EXPECT_EQ(objective.calls, repeated);
  EXPECT_EQ(objective.calls.back(), 'c');
}

// Fails where a call comes at another point, or with another value, than it may rely on.
class strict_about_points final : public formula_objective {
 public:
  using formula_objective::formula_objective;

  int num_accepted = 0;

  bool compute_value(const_vector_view x, double& value) override {
    const bool defined = formula_objective::compute_value(x, value);
    tried_ = copy_of(x);
    tried_value_ = value;
    return defined;
  }
  // The accepted point is that of the last value.
  bool compute_gradient(const_vector_view x, vector_view gradient) override {
    EXPECT_EQ(copy_of(x), tried_);
    previous_value_ = current_value_;
    current_ = tried_;
    current_value_ = tried_value_;
    ++num_accepted;
    return formula_objective::compute_gradient(x, gradient);
  }
  void begin_iteration(const_vector_view x, double value, const_vector_view /*gradient*/,
                       const_symmetric_view /*hessian*/) override {
    expect_current(x, value);
  }
  bool adjust_point(vector_view x, double& value, vector_view /*gradient*/,
                    symmetric_view /*hessian*/) override {
    expect_current(x, value);
    return false;
  }
  // Asked at the new point, with the value from before the step.
  bool accept_convergence(const_vector_view x, double value, const_vector_view /*gradient*/,
                          const_symmetric_view /*hessian*/) override {
    EXPECT_EQ(copy_of(x), current_);
    EXPECT_EQ(value, previous_value_);
    return true;
  }

 private:
  static std::vector<double> copy_of(const_vector_view x) { return {x.begin(), x.end()}; }
  void expect_current(const_vector_view x, double value) const {
    EXPECT_EQ(copy_of(x), current_);
    EXPECT_EQ(value, current_value_);
  }

  std::vector<double> tried_;
  std::vector<double> current_;
  double tried_value_ = 0.0;
  double current_value_ = 0.0;
  double previous_value_ = 0.0;
};

TEST(optimizer, asks_for_derivatives_at_the_point_of_the_last_value_and_begins_there) {
  strict_about_points objective{[](const numbers& x) {
    return 100.0 * square(x[1] - square(x[0])) + square(1.0 - x[0]);
  }};
  EXPECT_TRUE(run(objective, {-1.2, 1.0}).within_tolerance);
  EXPECT_GT(objective.num_accepted, 10);
}

// Notes the multiplier with which each search begins and the one with which it ends.
class multiplier_recorder final : public forwarding_optimizer<trust_region_optimizer> {
 public:
  explicit multiplier_recorder(std::shared_ptr<trust_region_optimizer> inner)
      : forwarding_optimizer{std::move(inner)}, searcher_{inner_step_searcher()} {}

  trust_region_step_searcher& step_searcher() override { return searcher_; }
  const std::vector<double>& begins() const { return searcher_.begins; }
  const std::vector<double>& ends() const { return searcher_.ends; }

 private:
  struct recording_searcher final : forwarding_step_searcher {
    using forwarding_step_searcher::forwarding_step_searcher;
    void search(trust_region_step_searcher& self, second_order_objective& objective,
                const trust_region_state& state, trust_region_step& attempt) override {
      begins.push_back(attempt.lambda);
      forwarding_step_searcher::search(self, objective, state, attempt);
      ends.push_back(attempt.lambda);
    }
    std::vector<double> begins;
    std::vector<double> ends;
  };

  recording_searcher searcher_;
};

TEST(optimizer, begins_each_iteration_with_the_multiplier_of_the_last_accepted_step) {
  formula_objective objective{[](const numbers& x) {
    return 100.0 * square(x[1] - square(x[0])) + square(1.0 - x[0]);
  }};
  multiplier_recorder optimizer{make_trust_region_optimizer({})};
  const std::vector<double> x0{-1.2, 1.0};
  EXPECT_TRUE(optimize(optimizer, objective, {x0.data(), 2}).within_tolerance);
  ASSERT_GT(optimizer.ends().size(), 3U);
  std::vector<double> expected{0.0};
  expected.insert(expected.end(), optimizer.ends().begin(), optimizer.ends().end() - 1);
  EXPECT_EQ(optimizer.begins(), expected);
  // Some step ended at the boundary, so that there was something to carry over.
  EXPECT_NE(expected, std::vector<double>(expected.size(), 0.0));
}

TEST(optimizer, goes_on_from_a_saddle_point_with_zero_gradient) {
  formula_objective objective{[](const numbers& x) {
    return square(x[0]) - square(x[1]) + 0.25 * square(square(x[1]));
  }};
  const trust_region_result result = run(objective, {0.0, 0.0});
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_NEAR(std::abs(result.x[1]), std::sqrt(2.0), 1e-3);
  EXPECT_NEAR(result.value, -1.0, 1e-6);
}

TEST(optimizer, reports_a_flat_spot_as_a_failure_at_the_start) {
  formula_objective objective{
      [](const numbers& x) { return 3.0 + 0.0 * square(x[0]) + 0.0 * x[1]; }};
  const trust_region_result result = run(objective, {1.5, -2.5});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::degenerate);
  EXPECT_EQ(copy_of(result.x), (std::vector<double>{1.5, -2.5}));
  EXPECT_EQ(result.value, 3.0);
  EXPECT_TRUE(std::isnan(result.value_change));
}

// A value that falls by half of what is left with each evaluation, with the same gradient
// everywhere.
class sloping_objective final : public formula_objective {
 public:
  explicit sloping_objective(double slope)
      : formula_objective{[=](const numbers& x) {
          return slope * (x[0] - x[0].value()) + 0.5 * square(x[0] - x[0].value());
        }} {}
  bool compute_value(const_vector_view /*x*/, double& value) override {
    value = 1.0 + std::ldexp(1e-4, -++num_values);
    return true;
  }
  int num_values = 0;
};

TEST(optimizer, takes_the_cube_root_of_the_tolerance_for_the_gradient_by_default) {
  trust_region_optimizer_options options;
  options.tolerance = 0.001;
  options.tolerance2 = 0.0;
  sloping_objective below{0.0999};
  EXPECT_TRUE(run(below, {8.0}, options).within_tolerance);
  EXPECT_EQ(below.num_values, 2);
  sloping_objective above{0.1001};
  EXPECT_FALSE(run(above, {8.0}, options).within_tolerance);
}

TEST(optimizer, never_stops_where_the_diagonal_of_the_hessian_is_zero) {
  formula_objective objective{[](const numbers& x) { return x[0]; }};
  trust_region_optimizer_options options;
  options.tolerance = 1e300;
  options.tolerance2 = 1e300;
  EXPECT_FALSE(run(objective, {1.0}, options).within_tolerance);
}

TEST(optimizer, needs_the_gradient_test_too_when_the_value_does_not_change) {
  // The value is the same everywhere: the first step is rejected until the region
  // collapses.
  class level final : public formula_objective {
   public:
    level()
        : formula_objective{[](const numbers& x) { return 5.0 * x[0] + square(x[0]); }} {}
    bool compute_value(const_vector_view /*x*/, double& value) override {
      value = 1.0;
      return true;
    }
  };
  level objective;
  const trust_region_result result = run(objective, {1.0});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::no_decrease);
  EXPECT_EQ(result.value_change, 0.0);
  EXPECT_NEAR(result.gradient_max, 7.0 / std::sqrt(2.0), 1e-14);
}

TEST(optimizer, counts_a_collapse_at_a_point_that_passes_the_test_as_success) {
  formula_objective objective{[](const numbers& x) { return square(x[0] - 1.0); }};
  objective.is_defined = [first = true](const_vector_view) mutable {
    return std::exchange(first, false);
  };
  const trust_region_result result = run(objective, {1.0 + 1e-4});
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::within_tolerance);
  EXPECT_EQ(result.x[0], 1.0 + 1e-4);
}

TEST(optimizer, counts_a_collapse_at_a_point_that_fails_the_test_as_failure) {
  formula_objective objective{[](const numbers& x) { return square(x[0] - 1.0); }};
  objective.is_defined = [first = true](const_vector_view) mutable {
    return std::exchange(first, false);
  };
  const trust_region_result result = run(objective, {3.0});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::trust_region_collapsed);
  EXPECT_TRUE(result.positive_definite);
  EXPECT_EQ(result.x[0], 3.0);
  EXPECT_EQ(result.value, 4.0);
}

TEST(optimizer, throws_when_the_objective_is_undefined_at_the_start) {
  formula_objective objective{[](const numbers& x) { return x[0]; }};
  objective.is_defined = [](const_vector_view) { return false; };
  EXPECT_THROW(run(objective, {1.0}), optimizer_undefined_error);
}

TEST(optimizer, keeps_the_last_point_when_the_derivatives_are_undefined_at_the_next) {
  formula_objective objective{ellipsoid};
  objective.has_derivatives = [](const_vector_view x) { return x[0] == 40.0; };
  const trust_region_result result = run(objective, {40.0, 30.0});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::undefined);
  EXPECT_EQ(copy_of(result.x), (std::vector<double>{40.0, 30.0}));
  EXPECT_EQ(result.value, ellipsoid({40.0, 30.0}).value());
}

TEST(optimizer, lets_exceptions_of_other_kinds_pass) {
  formula_objective objective{ellipsoid};
  objective.accept = []() -> bool { throw std::string{"mine"}; };
  EXPECT_THROW(run(objective, {40.0, 30.0}), std::string);
}

TEST(optimizer, reaches_the_same_minimum_without_scaling) {
  formula_objective objective{ellipsoid};
  trust_region_optimizer_options options;
  options.scale_variables = false;
  const trust_region_result result = run(objective, {40.0, 30.0}, options);
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_NEAR(result.x[0], 300.0 / 199.75, 1e-6);
}

TEST(optimizer, is_not_swayed_by_what_adjust_point_returns) {
  formula_objective refusing{ellipsoid};
  formula_objective agreeing{ellipsoid};
  agreeing.adjust = [](vector_view) { return true; };
  const trust_region_result expected = run(refusing, {40.0, 30.0});
  const trust_region_result result = run(agreeing, {40.0, 30.0});
  EXPECT_TRUE(expected.within_tolerance);
  EXPECT_TRUE(result.within_tolerance);
  EXPECT_EQ(copy_of(result.x), copy_of(expected.x));
  EXPECT_EQ(agreeing.calls, refusing.calls);
}

TEST(optimizer, does_not_take_a_point_with_nan_derivatives_for_a_solution) {
  class broken final : public formula_objective {
   public:
    broken() : formula_objective{[](const numbers& x) { return square(x[0]); }} {}
    bool compute_gradient(const_vector_view /*x*/, vector_view gradient) override {
      gradient[0] = std::numeric_limits<double>::quiet_NaN();
      return true;
    }
  };
  broken objective;
  EXPECT_FALSE(run(objective, {1.0}).within_tolerance);
}

TEST(optimizer_errors, carry_their_names_and_are_optimizer_errors) {
  EXPECT_STREQ(optimizer_error{}.what(), "optimizer_error");
  EXPECT_STREQ(optimizer_degenerate_error{}.what(), "optimizer_degenerate_error");
  EXPECT_STREQ(optimizer_undefined_error{}.what(), "optimizer_undefined_error");
  EXPECT_STREQ(optimizer_trust_region_collapse_error{}.what(),
               "optimizer_trust_region_collapse_error");
  EXPECT_THROW(throw optimizer_degenerate_error{}, optimizer_error);
  EXPECT_THROW(throw optimizer_undefined_error{}, optimizer_error);
  EXPECT_THROW(throw optimizer_trust_region_collapse_error{}, std::exception);
}

}  // namespace
}  // namespace corvane::testing
