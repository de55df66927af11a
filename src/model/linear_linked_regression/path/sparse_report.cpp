// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/sparse_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "common/blas_threads.h"
#include "common/finite.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/path/free_set_leave_one_out.h"
#include "model/linear_linked_regression/path/strength_search.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::sparse_path {

namespace {

namespace detail = linear_linked_regression_detail;

bool has_l2(penalty_mode mode) { return mode == penalty_mode::elasticnet; }

// Normalized data, and the problem over them.
struct posed_problem {
  posed_problem(logistic_data&& data, const logistic_options& given)
      : options{given},
        groups{std::move(data.groups)},
        normalized{detail::normalize(std::move(data), given)},
        one_thread{normalized.design.cols() <= detail::few_features},
        problem{const_matrix_view{normalized.design.data(), normalized.design.rows(),
                                  normalized.normalizer.num_features()},
                normalized.target, given.fit_intercept, given.observer} {
    problem.max_steps = std::min(problem.max_steps, given.max_iterations);
  }

  // Of the columns, from a table in units of the data.
  column_strengths read(const_matrix_view table) const {
    const dense_matrix theta = detail::hyperparameters_of_columns(
        options.penalty, normalized.units, groups, table);
    const index_t p = groups.size();
    column_strengths strengths{dense_vector{p}, dense_vector{p}};
    for (index_t j = 0; j < p; ++j) {
      const bool is_free = groups[j] == detail::no_group;
      const auto square = [](double root) { return root * root; };
      strengths.l1[j] = is_free ? 0.0 : square(theta(j, theta.cols() - 1));
      strengths.l2[j] = is_free || !has_l2(options.penalty) ? 0.0 : square(theta(j, 0));
    }
    return strengths;
  }

  // Roots, kind by kind.
  dense_vector hyperparameters(const group_strengths& strengths) const {
    const index_t num_groups = strengths.l1.size();
    dense_vector theta{num_groups * num_kinds(options.penalty)};
    for (index_t g = 0; g < num_groups; ++g) {
      if (has_l2(options.penalty)) theta[g] = std::sqrt(strengths.l2[g]);
      theta[theta.size() - num_groups + g] = std::sqrt(strengths.l1[g]);
    }
    return theta;
  }

  dense_matrix table(const group_strengths& strengths) const {
    return detail::strengths_of_columns(options.penalty, normalized.units, groups,
                                        hyperparameters(strengths));
  }

  logistic_options options;
  index_vector groups;
  detail::normalized_data normalized;
  single_blas_thread one_thread;
  sparse_problem problem;
};

// What an observer is told, and the history that is reported.
class search_history {
 public:
  search_history(const posed_problem& posed) : posed_{posed} {}

  void add(int evaluation, double loss, const group_strengths& strengths) {
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    const dense_vector theta = posed_.hyperparameters(strengths);
    values_.push_back(loss);
    points_.insert(points_.end(), theta.begin(), theta.end());
    if (posed_.options.observer != nullptr)
      posed_.options.observer->observe_iteration(
          {evaluation, loss, unknown, unknown, theta});
  }

  iteration_history history() const {
    const auto count = static_cast<index_t>(values_.size());
    const index_t size = static_cast<index_t>(points_.size()) / count;
    iteration_history result{dense_vector{count}, dense_vector{count}, dense_vector{count},
                             dense_matrix{count, size}};
    for (index_t k = 0; k < count; ++k) {
      result.values[k] = values_[static_cast<std::size_t>(k)];
      result.gradient_maxima[k] = result.radii[k] =
          std::numeric_limits<double>::quiet_NaN();
      for (index_t a = 0; a < size; ++a)
        result.hyperparameters(k, a) = points_[static_cast<std::size_t>(k * size + a)];
    }
    return result;
  }

 private:
  const posed_problem& posed_;
  std::vector<double> values_;
  std::vector<double> points_;
};

dense_vector sum_by_group(const_vector_view of_columns, const_index_view groups) {
  dense_vector sums{detail::count_groups(groups)};
  std::fill(sums.begin(), sums.end(), 0.0);
  for (index_t j = 0; j < groups.size(); ++j)
    if (groups[j] != detail::no_group) sums[groups[j]] += of_columns[j];
  return sums;
}

void describe_solution(const posed_problem& posed, const sparse_fit& found,
                       logistic_report& report) {
  const auto n = static_cast<double>(posed.problem.X.rows());
  dense_vector weights{posed.normalized.design.cols()};
  std::copy(found.weights.begin(), found.weights.end(), weights.begin());
  if (posed.problem.with_intercept)
    weights[weights.size() - 1] = std::sqrt(n) * found.intercept;
  detail::raw_solution raw = detail::in_units_of_data(posed.normalized, weights);
  report.coefficients = std::move(raw.coefficients);
  report.intercept = raw.intercept;

  leave_one_out without = leave_each_row_out(posed.problem, found);
  if (!is_finite(without.loss)) throw optimizer_undefined_error{};
  report.criterion = without.loss;
  report.loo_predictions = std::move(without.predictors);
  const dense_vector& dof = without.effective_dof;
  report.effective_dof =
      std::accumulate(dof.begin(), dof.end(), posed.problem.with_intercept ? 1.0 : 0.0);
  report.effective_dof_by_group = sum_by_group(dof, posed.groups);
}

run_end end_of(const posed_problem& posed, const sparse_fit& found) {
  if (found.is_optimal) return run_end::within_tolerance;
  return found.num_steps >= posed.options.max_iterations ? run_end::iteration_limit
                                                         : run_end::undefined;
}

// All but the strengths.
logistic_report report_at(const posed_problem& posed, const column_strengths& strengths) {
  const sparse_fit found = fit(posed.problem, strengths);
  logistic_report report;
  report.end = end_of(posed, found);
  if (report.end == run_end::undefined) throw optimizer_undefined_error{};
  describe_solution(posed, found, report);
  report.num_iterations = found.num_steps;
  report.num_evaluations = found.num_steps + 1;
  return report;
}

// The loss where the logarithms of the strengths of one kind of a group are larger by t.
double loss_beside(const posed_problem& posed, const column_strengths& strengths,
                   const sparse_fit& center, index_t group, bool of_l2, double t) {
  column_strengths moved = strengths;
  dense_vector& kind = of_l2 ? moved.l2 : moved.l1;
  for (index_t j = 0; j < posed.groups.size(); ++j)
    if (posed.groups[j] == group) kind[j] *= std::exp(t);
  const sparse_fit beside = refit(posed.problem, center, moved);
  return leave_each_row_out(posed.problem, beside).loss;
}

// (8 (V(h) - V(-h)) - (V(2h) - V(-2h))) / 12 h, of fourth order
double slope_of(const posed_problem& posed, const column_strengths& strengths,
                const sparse_fit& center, index_t group, bool of_l2) {
  constexpr double h = 1e-3;
  const auto difference = [&](double t) {
    return loss_beside(posed, strengths, center, group, of_l2, t) -
           loss_beside(posed, strengths, center, group, of_l2, -t);
  };
  return (8.0 * difference(h) - difference(2.0 * h)) / (12.0 * h);
}

}  // namespace

bool is_sparse(penalty_mode mode) {
  return mode == penalty_mode::l1 || mode == penalty_mode::elasticnet;
}

bool has_few_strengths(penalty_mode mode, const_index_view groups) {
  constexpr index_t most = 8;
  return detail::count_groups(groups) * num_kinds(mode) <= most;
}

logistic_report fit_sparse(logistic_data&& data, const logistic_options& options,
                           const_matrix_view start) {
  const posed_problem posed{std::move(data), options};
  search_history history{posed};
  const search_options settings{
      .groups = posed.groups,
      .with_l2 = has_l2(options.penalty),
      .tolerance = options.tolerance,
      .max_evaluations = options.max_iterations,
      .observe = [&](int evaluation, double loss, const group_strengths& strengths) {
        history.add(evaluation, loss, strengths);
      }};
  strength_search search{posed.problem, settings};
  const search_result found =
      start.size() == 0
          ? search.find()
          : search.find_from(average_over_groups(posed.read(start), posed.groups));

  logistic_report report;
  const sparse_fit best = fit(posed.problem, spread(found.strengths, posed.groups));
  describe_solution(posed, best, report);
  report.hyperparameters = posed.hyperparameters(found.strengths);
  report.strengths = posed.table(found.strengths);
  report.end = best.is_optimal ? found.end : end_of(posed, best);
  report.num_iterations = found.num_evaluations - 1;
  report.num_evaluations = found.num_evaluations;
  report.history = history.history();
  return report;
}

logistic_report fit_sparse_at(logistic_data&& data, const logistic_options& options,
                              const_matrix_view strengths) {
  const posed_problem posed{std::move(data), options};
  logistic_report report = report_at(posed, posed.read(strengths));
  report.strengths = dense_matrix{strengths};
  for (index_t j = 0; j < posed.groups.size(); ++j)
    for (index_t kind = 0; kind < strengths.cols(); ++kind)
      if (posed.groups[j] == detail::no_group) report.strengths(j, kind) = 0.0;
  return report;
}

logistic_report fit_sparse_at_means(logistic_data&& data, const logistic_options& options,
                                    const_matrix_view strengths) {
  const posed_problem posed{std::move(data), options};
  const group_strengths means = average_over_groups(posed.read(strengths), posed.groups);
  logistic_report report = report_at(posed, spread(means, posed.groups));
  report.strengths = posed.table(means);
  report.hyperparameters = posed.hyperparameters(means);
  return report;
}

logistic_criterion evaluate_sparse_criterion(logistic_data&& data,
                                             const logistic_options& options,
                                             const_matrix_view strengths) {
  const posed_problem posed{std::move(data), options};
  const column_strengths of_columns = posed.read(strengths);
  const sparse_fit center = fit(posed.problem, of_columns);
  const double value = leave_each_row_out(posed.problem, center).loss;
  if (!center.is_optimal || !is_finite(value)) throw optimizer_undefined_error{};
  logistic_criterion result{
      value, dense_matrix{detail::count_groups(posed.groups), num_kinds(options.penalty)}};
  for (index_t g = 0; g < result.gradient.rows(); ++g)
    for (index_t kind = 0; kind < result.gradient.cols(); ++kind)
      result.gradient(g, kind) =
          slope_of(posed, of_columns, center, g, has_l2(options.penalty) && kind == 0);
  return result;
}

dense_matrix find_common_strengths(logistic_data&& data, const logistic_options& options) {
  const posed_problem posed{std::move(data), options};
  const search_options settings{.groups = posed.groups,
                                .with_l2 = has_l2(options.penalty),
                                .tolerance = options.tolerance,
                                .max_evaluations = options.max_iterations};
  return posed.table(strength_search{posed.problem, settings}.find_common().strengths);
}

}  // namespace corvane::model::sparse_path
