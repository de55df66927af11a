// SPDX-License-Identifier: BSD-3-Clause
//
// The named ends of a run that are not the stopping test's, its limit, and its observer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "formula_objective.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_optimizer.h"
#include "optimization/trust_region_stats_filter.h"

namespace corvane::testing {

namespace {

using numbers = formula_objective::numbers;

trust_region_result run(second_order_objective& objective, const std::vector<double>& x0,
                        const trust_region_optimizer_options& options = {}) {
  const auto optimizer = make_trust_region_optimizer(options);
  return optimize(*optimizer, objective, {x0.data(), static_cast<index_t>(x0.size())});
}

// H. Rosenbrock, "An automatic method for finding the greatest or least value of a
// function", Computer J. 3 (1960).
second_order_number rosenbrock(const numbers& x) {
  return 100.0 * square(x[1] - square(x[0])) + square(1.0 - x[0]);
}

// Falls by 1 with each unit of x, for ever, and is too little curved to be tested.
second_order_number slope_without_end(const numbers& x) { return -1.0 * x[0]; }

TEST(run_end, is_the_limit_where_the_value_falls_for_ever) {
  formula_objective objective{slope_without_end};
  trust_region_optimizer_options options;
  options.max_iterations = 20;
  options.grow_factor = 1.0;
  const trust_region_result result = run(objective, {1.0}, options);
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::iteration_limit);
  EXPECT_EQ(result.num_iterations, 20);
  EXPECT_EQ(result.num_evaluations, 21);
  EXPECT_NEAR(result.x[0], 1.0 + 20 * 0.25, 20 * 0.025);
}

TEST(run_end, is_the_limit_by_default_too) {
  formula_objective objective{slope_without_end};
  trust_region_optimizer_options options;
  options.grow_factor = 1.0;
  EXPECT_EQ(run(objective, {1.0}, options).end, run_end::iteration_limit);
}

// The value does not see the last step to the minimum, the gradient does.
TEST(run_end, is_no_decrease_where_the_value_has_no_digits_left) {
  formula_objective objective{[](const numbers& x) { return square(x[0] - 1.0) + 1e8; }};
  trust_region_optimizer_options options;
  options.tolerance2 = 1e-12;
  const trust_region_result result = run(objective, {1.0 + 1e-5}, options);
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::no_decrease);
}

TEST(run_end, is_a_collapse_where_the_value_jumps_beside_the_point) {
  class jumping final : public formula_objective {
   public:
    jumping() : formula_objective{rosenbrock} {}
    bool compute_value(const_vector_view x, double& value) override {
      if (!formula_objective::compute_value(x, value)) return false;
      if (x[0] > -1.2) value += 1.0;
      return true;
    }
  };
  jumping objective;
  const trust_region_result result = run(objective, {-1.2, 1.44});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::trust_region_collapsed);
}

TEST(run_end, is_what_an_objective_says_of_its_infimum) {
  class bounded_below final : public formula_objective {
   public:
    using formula_objective::formula_objective;
    void begin_iteration(const_vector_view /*x*/, double value,
                         const_vector_view /*gradient*/,
                         const_symmetric_view /*hessian*/) override {
      if (value < 1e-3) throw optimizer_infimum_error{};
    }
  };
  bounded_below objective{[](const numbers& x) { return exp(-1.0 * x[0]); }};
  const trust_region_result result = run(objective, {1.0});
  EXPECT_FALSE(result.within_tolerance);
  EXPECT_EQ(result.end, run_end::infimum);
  EXPECT_LT(result.value, 1e-3);
  EXPECT_EQ(result.value, std::exp(-result.x[0]));
}

TEST(run_end, has_a_description_of_its_own_for_each) {
  const std::vector<run_end> ends{
      run_end::within_tolerance, run_end::no_decrease, run_end::trust_region_collapsed,
      run_end::iteration_limit,  run_end::infimum,     run_end::degenerate,
      run_end::undefined};
  std::set<std::string> descriptions;
  for (const run_end end : ends) descriptions.insert(describe(end));
  EXPECT_EQ(descriptions.size(), ends.size());
}

struct interrupted {};

// Records what it sees, and ends the run at a given question.
class recording_observer final : public run_observer {
 public:
  int num_checks = 0;
  int last_check = 1000000;
  std::vector<int> iterations;
  std::vector<double> values;
  std::vector<std::vector<double>> points;

  void check() override {
    if (++num_checks > last_check) throw interrupted{};
  }
  void observe_iteration(const iteration_record& record) override {
    iterations.push_back(record.iteration);
    values.push_back(record.value);
    points.emplace_back(record.x.begin(), record.x.end());
  }
};

TEST(run_observer, sees_the_start_and_each_iteration_up_to_the_result) {
  formula_objective objective{rosenbrock};
  recording_observer observer;
  trust_region_optimizer_options options;
  options.observer = &observer;
  const trust_region_result result = run(objective, {-1.2, 1.0}, options);
  ASSERT_EQ(observer.iterations.size(),
            static_cast<std::size_t>(result.num_iterations) + 1);
  for (std::size_t k = 0; k < observer.points.size(); ++k) {
    EXPECT_EQ(observer.iterations[k], static_cast<int>(k));
    const std::vector<double>& x = observer.points[k];
    EXPECT_EQ(observer.values[k], rosenbrock({x[0], x[1]}).value());
  }
  EXPECT_TRUE(std::is_sorted(observer.values.rbegin(), observer.values.rend()));
  EXPECT_EQ(observer.points.front(), (std::vector<double>{-1.2, 1.0}));
  EXPECT_EQ(observer.points.back(), (std::vector<double>{result.x[0], result.x[1]}));
}

TEST(run_observer, is_asked_before_each_trial_point) {
  formula_objective objective{rosenbrock};
  recording_observer observer;
  trust_region_optimizer_options options;
  options.observer = &observer;
  const trust_region_result result = run(objective, {-1.2, 1.0}, options);
  EXPECT_GT(result.num_evaluations, result.num_iterations + 1);  // some were rejected
  EXPECT_EQ(observer.num_checks, result.num_evaluations - 1);
}

TEST(run_observer, ends_the_run_with_its_own_exception_and_no_further_evaluation) {
  formula_objective objective{rosenbrock};
  recording_observer observer;
  observer.last_check = 3;
  trust_region_optimizer_options options;
  options.observer = &observer;
  EXPECT_THROW(run(objective, {-1.2, 1.0}, options), interrupted);
  EXPECT_EQ(std::count(objective.calls.begin(), objective.calls.end(), 'V'), 1 + 3);
}

TEST(run_observer, changes_no_result) {
  formula_objective objective{rosenbrock};
  recording_observer observer;
  trust_region_optimizer_options options;
  const trust_region_result alone = run(objective, {-1.2, 1.0}, options);
  options.observer = &observer;
  const trust_region_result observed = run(objective, {-1.2, 1.0}, options);
  EXPECT_EQ(alone.value, observed.value);
  EXPECT_EQ(alone.x[0], observed.x[0]);
  EXPECT_EQ(alone.num_evaluations, observed.num_evaluations);
}

TEST(run_counts, are_those_of_the_statistics_filter) {
  formula_objective objective{rosenbrock};
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  const std::vector<double> x0{-1.2, 1.0};
  const trust_region_result result = optimize(*filter, objective, {x0.data(), 2});
  EXPECT_EQ(result.num_iterations, filter->stats().iterations);
  EXPECT_EQ(result.num_evaluations, filter->stats().total_attempts + 1);
}

}  // namespace
}  // namespace corvane::testing
