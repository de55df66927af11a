// SPDX-License-Identifier: BSD-3-Clause
//
// The report of a fit: what it says against the model's own fit, against plain formulas,
// and under a change of units.
#include "model/linear_linked_regression/logistic_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <stdexcept>
#include <utility>

#include "classification_problem.h"
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"

namespace corvane::model {

namespace {

constexpr penalty_mode all_modes[] = {  // NOLINT(modernize-avoid-c-arrays)
    penalty_mode::l2, penalty_mode::l1, penalty_mode::elasticnet, penalty_mode::bridge};

index_vector groups_of(std::initializer_list<index_t> codes) {
  index_vector groups(static_cast<index_t>(codes.size()));
  std::copy(codes.begin(), codes.end(), groups.begin());
  return groups;
}

logistic_data data_of(const classification_problem& problem, const index_vector& groups) {
  return {problem.X, problem.y, groups};
}

logistic_report searched(const classification_problem& problem, const index_vector& groups,
                         const logistic_options& options) {
  return fit_logistic(data_of(problem, groups), options, {});
}

// Rows of equal numbers, one per kind.
dense_matrix strengths_of(index_t p, std::initializer_list<double> kinds) {
  dense_matrix strengths{p, static_cast<index_t>(kinds.size())};
  for (index_t j = 0; j < p; ++j) {
    index_t kind = 0;
    for (const double strength : kinds) strengths(j, kind++) = strength;
  }
  return strengths;
}

dense_matrix some_strengths(penalty_mode mode, index_t p) {
  return num_kinds(mode) == 1 ? strengths_of(p, {0.7}) : strengths_of(p, {0.7, 1.4});
}

double loss_of(double s, double z) { return std::log1p(std::exp(-s * z)); }

TEST(logistic_report, has_the_coefficients_of_the_models_own_fit) {
  const classification_problem problem = drawn_problem(80, 4, 3);
  const logistic_report report =
      searched(problem, groups_of({0, 0, 0, 0}), logistic_options{});
  linear_linked_regression_model_options options;
  trust_region_optimizer_options limits;
  limits.tolerance2 = limits.tolerance;
  options.outer_optimizer = make_trust_region_optimizer(limits);
  const auto fitted =
      linear_linked_regression_model_descriptor{options}.fit(problem.y, problem.X);
  for (index_t j = 0; j < 4; ++j) EXPECT_EQ(report.coefficients[j], fitted.weights[j]);
  EXPECT_EQ(report.intercept, fitted.bias);
  EXPECT_EQ(report.hyperparameters[0], fitted.result.x[0]);
  EXPECT_EQ(report.criterion, fitted.result.value);
}

TEST(logistic_report, criterion_is_the_loss_of_the_predictors_row_by_row) {
  const classification_problem problem = drawn_problem(60, 3, 5);
  for (const penalty_mode mode : all_modes) {
    const logistic_report report =
        searched(problem, groups_of({0, 1, -1}), {.penalty = mode});
    double sum = 0.0;
    for (index_t i = 0; i < 60; ++i)
      sum += loss_of(problem.y[i], report.loo_predictions[i]);
    EXPECT_NEAR(sum, report.criterion, 1e-11 * sum);
  }
}

void expect_same_fit_at_found_strengths(const classification_problem& problem,
                                        const index_vector& groups, penalty_mode mode) {
  const logistic_options options{.penalty = mode, .tolerance = 1e-8};
  const logistic_report found = searched(problem, groups, options);
  const logistic_report given =
      fit_logistic_at(data_of(problem, groups), options, found.strengths);
  for (index_t j = 0; j < 4; ++j)
    EXPECT_NEAR(given.coefficients[j], found.coefficients[j], 1e-6);
  EXPECT_NEAR(given.criterion, found.criterion, 1e-6 * found.criterion);
  EXPECT_NEAR(given.effective_dof, found.effective_dof, 1e-5);
  EXPECT_TRUE(given.end == run_end::within_tolerance);
}

// With a smoothed penalty the inner problem may have several minima, and the search may
// reach another one than a fit that starts at zero weights. On these data it has one.
TEST(logistic_report, strengths_found_and_then_given_are_the_same_fit) {
  for (const penalty_mode mode : all_modes)
    expect_same_fit_at_found_strengths(drawn_problem(70, 4, 18), groups_of({0, 0, -1, 0}),
                                       mode);
  expect_same_fit_at_found_strengths(drawn_problem(70, 4, 9), groups_of({1, 0, -1, 1}),
                                     penalty_mode::l2);
}

TEST(logistic_report, start_at_strengths_found_ends_at_once) {
  const classification_problem problem = drawn_problem(70, 4, 9);
  const index_vector groups = groups_of({1, 0, -1, 1});
  const logistic_options options{.tolerance = 1e-6};
  const logistic_report found = searched(problem, groups, options);
  const logistic_report again =
      fit_logistic(data_of(problem, groups), options, found.strengths);
  EXPECT_LE(again.num_iterations, 2);
  EXPECT_NEAR(again.criterion, found.criterion, 1e-6 * found.criterion);
}

// The rows of X are those of another unit per column, by powers of two.
TEST(logistic_report, units_of_columns_change_coefficients_and_strengths_alone) {
  const classification_problem problem = drawn_problem(50, 3, 11);
  const index_vector groups = groups_of({0, 0, 1});
  for (const int shift : {-1000, -30, 30, 1000}) {
    classification_problem scaled = problem;
    for (index_t i = 0; i < 50; ++i) scaled.X(i, 1) = std::ldexp(problem.X(i, 1), shift);
    for (const penalty_mode mode : {penalty_mode::l2, penalty_mode::l1}) {
      const logistic_report plain = searched(problem, groups, {.penalty = mode});
      const logistic_report other = searched(scaled, groups, {.penalty = mode});
      EXPECT_EQ(other.coefficients[0], plain.coefficients[0]);
      EXPECT_DOUBLE_EQ(std::ldexp(other.coefficients[1], shift), plain.coefficients[1]);
      EXPECT_EQ(other.criterion, plain.criterion);
      EXPECT_EQ(other.loo_predictions[7], plain.loo_predictions[7]);
      const int power = mode == penalty_mode::l2 ? 2 : 1;
      EXPECT_DOUBLE_EQ(other.strengths(1, 0),
                       std::ldexp(plain.strengths(1, 0), power * shift));
    }
  }
}

TEST(logistic_report, column_of_denormal_length_counts_as_constant) {
  classification_problem problem = drawn_problem(50, 3, 11);
  for (index_t i = 0; i < 50; ++i) problem.X(i, 1) *= 1e-312;
  for (const bool fit_intercept : {false, true}) {
    const logistic_report report =
        searched(problem, groups_of({0, 0, 1}), {.fit_intercept = fit_intercept});
    EXPECT_EQ(report.coefficients[1], 0.0);
    EXPECT_NE(report.coefficients[0], 0.0);
    EXPECT_TRUE(std::isfinite(report.strengths(1, 0)));
  }
}

TEST(logistic_report, coefficient_beyond_the_range_of_doubles_is_refused) {
  classification_problem problem = drawn_problem(50, 1, 11);
  double length = 0.0;
  for (const double x : problem.X) length = std::hypot(length, x);
  for (double& x : problem.X) x *= 1.5 * std::numeric_limits<double>::min() / length;
  EXPECT_THROW(
      fit_logistic_at(data_of(problem, groups_of({0})), {}, strengths_of(1, {0.0})),
      std::range_error);
}

TEST(logistic_criterion, gradient_is_the_same_whether_groups_or_columns_have_strengths) {
  const classification_problem problem = drawn_problem(60, 4, 13);
  const index_vector groups = groups_of({0, 1, -1, 0});
  const logistic_options options{.penalty = penalty_mode::elasticnet};
  const logistic_report found = searched(problem, groups, options);
  const logistic_criterion together =
      evaluate_logistic_criterion(data_of(problem, groups), options, found.strengths);
  dense_matrix apart = found.strengths;
  apart(0, 0) *= 1.0 + 1e-8;  // no longer equal, by next to nothing
  const logistic_criterion separate =
      evaluate_logistic_criterion(data_of(problem, groups), options, apart);
  EXPECT_NEAR(separate.value, together.value, 1e-6);
  for (index_t g = 0; g < 2; ++g)
    for (index_t kind = 0; kind < 2; ++kind)
      EXPECT_NEAR(separate.gradient(g, kind), together.gradient(g, kind), 1e-5);
}

TEST(logistic_criterion, gradient_is_that_of_differences) {
  const classification_problem problem = drawn_problem(60, 4, 13);
  const index_vector groups = groups_of({0, 1, -1, 0});
  for (const penalty_mode mode : all_modes) {
    const auto value_at = [&](index_t g, index_t kind, double t) {
      dense_matrix strengths = some_strengths(mode, 4);
      for (index_t j = 0; j < 4; ++j) {
        if (groups[j] != g) continue;
        const bool is_exponent = mode == penalty_mode::bridge && kind == 1;
        strengths(j, kind) =
            is_exponent ? strengths(j, kind) + t : strengths(j, kind) * std::exp(t);
      }
      return evaluate_logistic_criterion(data_of(problem, groups), {.penalty = mode},
                                         strengths);
    };
    for (index_t g = 0; g < 2; ++g) {
      for (index_t kind = 0; kind < num_kinds(mode); ++kind) {
        const auto error_at = [&](double h) {
          const double slope = value_at(g, kind, 0.0).gradient(g, kind);
          return std::abs((value_at(g, kind, h).value - value_at(g, kind, -h).value) /
                              (2.0 * h) -
                          slope);
        };
        // Of second order: a third of the step leaves a ninth of the error.
        const double coarse = error_at(0.03);
        const double fine = error_at(0.01);
        EXPECT_LT(fine, 0.2 * coarse + 1e-8);
        EXPECT_LT(fine, 1e-3);
      }
    }
  }
}

// Ends a computation after some questions.
class impatient final : public run_observer {
 public:
  struct had_enough {};
  explicit impatient(int patience) : patience_{patience} {}
  void check() override {
    if (--patience_ < 0) throw had_enough{};
  }
  void observe_iteration(const iteration_record& /*record*/) override {}

 private:
  int patience_;
};

TEST(logistic_report, observer_ends_it_from_within_an_inner_problem) {
  const classification_problem problem = drawn_problem(2000, 3, 17);
  const index_vector groups = groups_of({0, 0, 0});
  for (const int patience : {0, 1, 10, 30}) {
    impatient observer{patience};
    EXPECT_THROW(searched(problem, groups, {.observer = &observer}), impatient::had_enough);
    impatient other{patience / 10};
    EXPECT_THROW(fit_logistic_at(data_of(problem, groups), {.observer = &other},
                                 strengths_of(3, {1.0})),
                 impatient::had_enough);
  }
}

TEST(logistic_report, history_holds_the_point_that_is_reported_and_none_is_lower) {
  const classification_problem problem = drawn_problem(60, 3, 18);
  for (const penalty_mode mode : all_modes) {
    const logistic_report report =
        searched(problem, groups_of({0, 1, -1}), {.penalty = mode});
    const index_t count = report.history.values.size();
    ASSERT_EQ(count, report.num_iterations + 1);
    const auto least =
        std::min_element(report.history.values.begin(), report.history.values.end());
    const index_t chosen = least - report.history.values.begin();
    EXPECT_NEAR(*least, report.criterion, 1e-6 * report.criterion);
    for (index_t a = 0; a < report.hyperparameters.size(); ++a)
      EXPECT_EQ(std::abs(report.history.hyperparameters(chosen, a)),
                std::abs(report.hyperparameters[a]));
  }
}

// With many groups the search over a smoothed penalty is followed by exact fits.
index_vector nine_groups() { return groups_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 8}); }

void expect_hyperparameters_of_strengths(const classification_problem& problem,
                                         const logistic_report& report) {
  ASSERT_EQ(report.hyperparameters.size(), 9);
  const double mean_length = std::sqrt(static_cast<double>(problem.X.rows()));
  for (index_t j = 0; j < 10; ++j) {
    double sum = 0.0;
    double squares = 0.0;
    for (const double x : const_matrix_view{problem.X}.column(j)) sum += x;
    for (const double x : const_matrix_view{problem.X}.column(j))
      squares += std::pow(x - sum / (mean_length * mean_length), 2.0);
    const double root = report.hyperparameters[std::min<index_t>(j, 8)];
    EXPECT_NEAR(report.strengths(j, 0), root * root * std::sqrt(squares),
                1e-9 * report.strengths(j, 0));
  }
}

TEST(logistic_report, hyperparameters_of_many_groups_are_those_of_the_strengths) {
  const classification_problem problem = drawn_problem(60, 10, 19);
  const logistic_options options{.penalty = penalty_mode::l1};
  const index_vector groups = nine_groups();
  const logistic_report found = searched(problem, groups, options);
  expect_hyperparameters_of_strengths(problem, found);
  for (const double strength : {1e-3, 1.0, 30.0, 1e4})
    expect_hyperparameters_of_strengths(
        problem,
        fit_logistic(data_of(problem, groups), options, strengths_of(10, {strength})));
  // No step is made from the strengths found, which are reported again.
  const logistic_report again =
      fit_logistic(data_of(problem, groups),
                   {.penalty = penalty_mode::l1, .max_iterations = 1}, found.strengths);
  expect_hyperparameters_of_strengths(problem, again);
}

// With fewer rows than columns the smoothed score of weak penalties has no value.
TEST(logistic_report, search_whose_score_is_undefined_at_the_start_says_so) {
  const classification_problem problem = drawn_problem(6, 10, 0);
  const index_vector groups = nine_groups();
  const dense_matrix start = strengths_of(10, {1e-7});
  const logistic_options options{.penalty = penalty_mode::l1};
  const logistic_report report = fit_logistic(data_of(problem, groups), options, start);
  EXPECT_TRUE(report.end == run_end::undefined) << describe(report.end);
  EXPECT_EQ(report.num_iterations, 0);
  ASSERT_EQ(report.history.values.size(), 1);
  EXPECT_EQ(report.history.values[0], report.criterion);
  for (index_t a = 0; a < 9; ++a)
    EXPECT_EQ(report.history.hyperparameters(0, a), report.hyperparameters[a]);
  expect_hyperparameters_of_strengths(problem, report);
}

}  // namespace

}  // namespace corvane::model
