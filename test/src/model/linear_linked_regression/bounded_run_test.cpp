// SPDX-License-Identifier: BSD-3-Clause
//
// Every fit ends within a budget of trial points, those of its inner runs included. The
// data are some fits that took long once, and random problems on which the score has its
// infimum at strengths of 0 or infinity: separable classes, dependent columns, more columns
// than rows, columns of very different units, a group for each column.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "classification_problem.h"
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"
#include "optimization/optimizer_error.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

class counting_observer final : public run_observer {
 public:
  int num_trials = 0;
  void check() override { ++num_trials; }
  void observe_iteration(const iteration_record& /*record*/) override {}
};

struct fit_problem {
  classification_problem data;
  std::shared_ptr<const regularizer> penalty;
  linear_linked_regression_model_options options;
  double tolerance = 1e-4;
};

struct trial_counts {
  int outer;
  int inner;
  run_end end;
};

trial_counts count_trials(fit_problem problem) {
  counting_observer outer;
  counting_observer inner;
  trust_region_optimizer_options settings;
  settings.tolerance = settings.tolerance2 = problem.tolerance;
  settings.observer = &outer;
  problem.options.outer_optimizer = make_trust_region_optimizer(settings);
  settings.observer = &inner;
  problem.options.inner_optimizer = make_trust_region_optimizer(settings);
  const linear_linked_regression_model_descriptor descriptor{problem.options};
  run_end end = run_end::undefined;
  try {
    end = descriptor.fit(problem.data.y, problem.data.X, problem.penalty).result.end;
  } catch (const optimizer_undefined_error& failure) {
    end = failure.end();
  }
  return {outer.num_trials, inner.num_trials, end};
}

penalty_kind kind_called(const std::string& name) {
  if (name == "l2") return penalty_kind::ridge;
  if (name == "l1") return penalty_kind::lasso;
  return name == "elasticnet" ? penalty_kind::elastic : penalty_kind::bridge;
}

// A line of penalty, intercept, normalize, tolerance, n and p; one of the groups, -1 for a
// free column; one of the classes; and the n rows.
fit_problem read_problem(const std::string& name) {
  std::ifstream file{std::string{SLOW_FITS_FOLDER} + "/" + name + ".txt"};
  fit_problem problem;
  std::string penalty;
  bool with_intercept = false;
  index_t n = 0;
  index_t p = 0;
  file >> penalty >> with_intercept >> problem.options.rescale_features >>
      problem.tolerance >> n >> p;
  problem.options.center_features = problem.options.with_bias = with_intercept;
  std::vector<variable_mapping::entry> entries;
  for (index_t j = 0; j < p; ++j) {
    index_t group = 0;
    file >> group;
    if (group < 0)
      entries.emplace_back(0.0);
    else
      entries.emplace_back(group);
  }
  if (with_intercept) entries.emplace_back(0.0);
  problem.penalty = penalty_of(kind_called(penalty), variable_mapping{entries});
  problem.data = {dense_matrix{n, p}, dense_vector{n}};
  for (double& label : problem.data.y) file >> label;
  for (index_t i = 0; i < n; ++i)
    for (index_t j = 0; j < p; ++j) file >> problem.data.X(i, j);
  EXPECT_TRUE(file.good()) << name;
  return problem;
}

struct slow_fit {
  std::string name;
  int budget;
};

class slow_fits : public ::testing::TestWithParam<slow_fit> {};

TEST_P(slow_fits, end_within_their_budget) {
  const trial_counts counts = count_trials(read_problem(GetParam().name));
  RecordProperty("outer", counts.outer);
  RecordProperty("inner", counts.inner);
  EXPECT_LT(counts.outer + counts.inner, GetParam().budget);
}

INSTANTIATE_TEST_SUITE_P(each, slow_fits,
                         ::testing::Values(slow_fit{"one_of_a_class", 200000},
                                           slow_fit{"huge_units", 3000},
                                           slow_fit{"four_rows", 10000},
                                           slow_fit{"many_groups", 10000}),
                         [](const auto& instance) { return instance.param.name; });

fit_problem draw_problem(penalty_kind kind, unsigned seed) {
  std::mt19937 generator{seed};
  const auto draw = [&](index_t low, index_t high) {
    return std::uniform_int_distribution<index_t>{low, high}(generator);
  };
  const index_t n = draw(4, 40);
  const index_t p = draw(1, 30);
  fit_problem problem;
  problem.data = drawn_problem(n, p, seed);
  const classification_problem& data = problem.data;
  const bool is_separable = seed % 2 == 0;
  for (index_t i = 0; i < n && is_separable; ++i)
    problem.data.y[i] = data.X(i, 0) < 0.0 ? -1.0 : 1.0;
  problem.data.y[0] = -1.0;
  problem.data.y[1] = 1.0;
  const bool has_dependent_columns = seed % 3 == 0;
  for (index_t j = 2; j < p && has_dependent_columns; ++j)
    for (index_t i = 0; i < n; ++i)
      problem.data.X(i, j) = data.X(i, 0) - static_cast<double>(j) * data.X(i, 1);
  problem.options.rescale_features = seed % 5 != 0;
  for (index_t j = 0; j < p && !problem.options.rescale_features; ++j)
    for (index_t i = 0; i < n; ++i)
      problem.data.X(i, j) *= std::pow(10.0, static_cast<double>(j % 9) - 4.0);
  const index_t num_groups = seed % 4 == 0 ? p : std::min<index_t>(p, draw(1, 3));
  problem.penalty = penalty_of(kind, cyclic_groups(p + 1, num_groups, true));
  return problem;
}

TEST(random_fits, end_within_a_budget_of_trial_points) {
  constexpr unsigned num_seeds = 24;
  constexpr int most_outer = 3000;
  constexpr int most_inner = 60000;
  int num_within_tolerance = 0;
  for (const penalty_kind kind : all_penalties)
    for (unsigned seed = 0; seed < num_seeds; ++seed) {
      const trial_counts counts = count_trials(draw_problem(kind, seed));
      num_within_tolerance += counts.end == run_end::within_tolerance ? 1 : 0;
      EXPECT_LT(counts.outer, most_outer) << static_cast<int>(kind) << " " << seed;
      EXPECT_LT(counts.inner, most_inner) << static_cast<int>(kind) << " " << seed;
    }
  EXPECT_GT(num_within_tolerance, 2 * static_cast<int>(num_seeds));
}

// Wide and separable: the score falls to 0 with the strength. The weights of all columns
// are found in as many dimensions as there are rows.
TEST(separable_classes, of_thousands_of_columns_take_tens_of_trial_points) {
  constexpr index_t n = 83;
  constexpr index_t p = 2308;
  fit_problem problem;
  problem.data = drawn_problem(n, p, 3);
  for (index_t i = 0; i < n; ++i)
    for (index_t j = 0; j < p; j += 10) problem.data.X(i, j) += problem.data.y[i];
  const trial_counts counts = count_trials(problem);
  EXPECT_TRUE(counts.end == run_end::within_tolerance || counts.end == run_end::infimum)
      << describe(counts.end);
  EXPECT_LT(counts.outer, 200);
  EXPECT_LT(counts.inner, 1000);
}

}  // namespace

}  // namespace corvane::model
