// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/logistic_report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/blas_threads.h"
#include "common/finite.h"
#include "common/matrix_block.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/detail/optimum_diagnostics.h"
#include "model/linear_linked_regression/detail/row_space.h"
#include "model/linear_linked_regression/detail/search_recorder.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "optimization/optimizer_error.h"
#include "optimization/trust_region_measures.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using linear_linked_regression_detail::column_unit;
using linear_linked_regression_detail::normalized_data;
using linear_linked_regression_detail::optimized;
using linear_linked_regression_detail::quiet_observer;
using linear_linked_regression_detail::row_space;
using linear_linked_regression_detail::search_recorder;

namespace detail = linear_linked_regression_detail;

// Inner problems are solved nearly to rounding: the criterion and its derivatives take
// their solution for exact, and a search compares values that differ by little. A value
// changes by 1e-10 of itself in Newton steps whose square is below rounding; smaller
// gradients than this move no digit of it.
constexpr double tight_tolerance = 1e-10;
constexpr double tight_gradient_tolerance = 1e-5;

constexpr int inner_iterations = 10000;

std::shared_ptr<trust_region_optimizer> make_optimizer(double tolerance,
                                                       double gradient_tolerance,
                                                       int max_iterations,
                                                       run_observer* observer) {
  trust_region_optimizer_options options;
  options.tolerance = tolerance;
  options.tolerance2 = gradient_tolerance;
  options.max_iterations = max_iterations;
  options.observer = observer;
  return make_trust_region_optimizer(options);
}

std::shared_ptr<trust_region_optimizer> make_tight_optimizer(int max_iterations,
                                                             run_observer* observer) {
  return make_optimizer(tight_tolerance, tight_gradient_tolerance, max_iterations,
                        observer);
}

// A normalized problem over groups of columns, in fewer weights where groups are wide, and
// its objective.
struct posed_problem {
  posed_problem(normalized_data& data, const logistic_options& options,
                const_index_view groups_of_columns,
                std::shared_ptr<trust_region_optimizer> inner_optimizer)
      : groups{groups_of_columns},
        penalty{detail::penalty_over(options.penalty, groups, options.fit_intercept)},
        reduced{row_space::find(data.design, *penalty)},
        objective{std::move(inner_optimizer),
                  std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
                  run_penalty(),
                  std::move(reduced ? reduced->design : data.design),
                  std::move(data.target),
                  options.observer} {}

  // The penalty of the weights that the objective knows.
  const std::shared_ptr<const regularizer>& run_penalty() const {
    return reduced ? reduced->penalty : penalty;
  }

  // Those of the normalized columns.
  dense_vector weights() const {
    const const_vector_view solution = objective.optimum().weights;
    return reduced ? reduced->expand(solution) : dense_vector{solution};
  }

  // The parts of `of_weights` in each group of the problem. A rotation of the weights
  // within a group leaves its part the same.
  dense_vector sum_by_group(const_vector_view of_weights) const {
    const auto& members = run_penalty()->mapping().groups();
    dense_vector sums(static_cast<index_t>(members.size()));
    for (index_t g = 0; g < sums.size(); ++g) {
      sums[g] = 0.0;
      for (const index_t k : members[static_cast<std::size_t>(g)]) sums[g] += of_weights[k];
    }
    return sums;
  }

  index_vector groups;
  std::shared_ptr<const regularizer> penalty;
  std::optional<row_space> reduced;  // without the design
  aloocv_objective objective;
};

// From the groups of a problem, each of which lies within one of `groups`, to these.
dense_vector gather_groups(const_vector_view of_run_groups, const_index_view run_groups,
                           const_index_view groups) {
  dense_vector sums{detail::count_groups(groups)};
  std::fill(sums.begin(), sums.end(), 0.0);
  std::vector<bool> is_done(static_cast<std::size_t>(of_run_groups.size()), false);
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == detail::no_group) continue;
    const auto g = static_cast<std::size_t>(run_groups[j]);
    if (!is_done[g]) sums[groups[j]] += of_run_groups[run_groups[j]];
    is_done[g] = true;
  }
  return sums;
}

// What is told of the solution that the objective stands at.
logistic_report describe_solution(const normalized_data& data, const_index_view groups,
                                  posed_problem& posed) {
  const detail::inner_optimum optimum = posed.objective.optimum();
  logistic_report report;
  detail::raw_solution solution = detail::in_units_of_data(data, posed.weights());
  report.coefficients = std::move(solution.coefficients);
  report.intercept = solution.intercept;
  report.loo_predictions = dense_vector{optimum.loo_predictions};

  const dense_vector dof =
      detail::effective_dof_of_columns(optimum, posed.objective.loss_curvature());
  report.effective_dof = std::accumulate(dof.begin(), dof.end(), 0.0);
  report.effective_dof_by_group =
      gather_groups(posed.sum_by_group(dof), posed.groups, groups);
  return report;
}

void set_run(const trust_region_result& run, logistic_report& report) {
  report.end = run.end;
  report.num_iterations = run.num_iterations;
  report.num_evaluations = run.num_evaluations;
}

double gradient_max_of(const trust_region_result& run) {
  return measure_stop(run.value, run.value, run.gradient, run.hessian, double_epsilon)
      .gradient_max;
}

// The score at given hyperparameters, with an inner problem that is solved to rounding.
double evaluate_exactly(aloocv_objective& objective, const_vector_view theta) {
  constexpr double rounding = 1e-10;
  double value = 0.0;
  const bool is_defined =
      objective.compute_value(theta, value) &&
      (gradient_max_of(objective.inner_run()) <= rounding || objective.polish_solution()) &&
      objective.compute_value(theta, value);
  if (!is_defined) throw optimizer_undefined_error{};
  return value;
}

// A last descent may leave the inner run nothing to gain that it could see: this is its
// solution, too, where the gradient says so.
void set_solved_run(const trust_region_result& run, logistic_report& report) {
  set_run(run, report);
  if (run.end == run_end::no_decrease && gradient_max_of(run) <= tight_gradient_tolerance)
    report.end = run_end::within_tolerance;
}

// One run from `start` in the units of the data. Where there is none, it is made from the
// start of the penalty; should that leave the score undefined, as a lasso that is too weak
// to tell two equal columns apart, from the first of its doublings that does not.
optimized search(posed_problem& posed, const logistic_options& options,
                 const normalized_data& data, const_matrix_view start,
                 trust_region_optimizer& optimizer) {
  if (start.size() > 0)
    return optimize_hyperparameters(
        optimizer, posed.objective,
        detail::average_over_groups(detail::hyperparameters_of_columns(
                                        options.penalty, data.units, posed.groups, start),
                                    posed.groups));
  dense_vector theta{posed.penalty->num_hyperparameters()};
  posed.penalty->initialize_hyperparameters(theta);
  // A strength, theta^2, becomes up to 3e14 times that of the start.
  constexpr int num_doublings = 24;
  for (int k = 0;; ++k) {
    try {
      return optimize_hyperparameters(optimizer, posed.objective, theta);
    } catch (const optimizer_undefined_error&) {
      if (k == num_doublings) throw;
    }
    for (double& entry : theta) entry *= 2.0;
  }
}

void require_a_penalized_column(const_index_view groups) {
  if (detail::count_groups(groups) == 0)
    throw std::invalid_argument{"no column has a penalty: there is nothing to optimize"};
}

// From dV/dtheta of all hyperparameters, with their second derivatives, to derivatives in
// what a caller knows:
//   of strength s, theta^2 = s length^-q     dV/dlog s = theta/2 dV/dtheta
//   of exponent q = alpha^2 + 1, at fixed s  dV/dq = dV/dalpha / (2 alpha)
//                                                    - log(length) theta/2 dV/dtheta
// where the first term is d2V/dalpha2 / 2 at alpha = 0.
struct slopes_in_theta {
  dense_vector theta;
  dense_vector gradient;
  symmetric_matrix hessian;
};

double strength_slope(const slopes_in_theta& at, index_t a) {
  return 0.5 * at.theta[a] * at.gradient[a];
}

double exponent_slope(const slopes_in_theta& at, index_t group, index_t num_groups,
                      const column_unit& unit) {
  const index_t a = num_groups + group;
  const double alpha = at.theta[a];
  const double own = alpha == 0.0 ? at.hessian(a, a) : at.gradient[a] / alpha;
  return 0.5 * own - unit.log() * strength_slope(at, group);
}

double differentiate_at(posed_problem& posed, slopes_in_theta& at) {
  const index_t size = at.theta.size();
  at.gradient = dense_vector{size};
  at.hessian = symmetric_matrix{size, size};
  const double value = evaluate_exactly(posed.objective, at.theta);
  if (!posed.objective.compute_gradient_hessian(at.theta, at.gradient, at.hessian))
    throw optimizer_undefined_error{};
  return value;
}

// `run_groups` are those that the slopes belong to: the caller's groups, or single columns.
dense_matrix gradient_by_group(penalty_mode mode, const slopes_in_theta& at,
                               const_index_view run_groups, const_index_view groups,
                               const std::vector<column_unit>& units) {
  const index_t num_run_groups = detail::count_groups(run_groups);
  dense_matrix gradient{detail::count_groups(groups), num_kinds(mode)};
  fill(gradient, 0.0);
  std::vector<bool> is_done(static_cast<std::size_t>(num_run_groups), false);
  for (index_t j = 0; j < groups.size(); ++j) {
    const index_t g = run_groups[j];
    if (g == detail::no_group || is_done[static_cast<std::size_t>(g)]) continue;
    is_done[static_cast<std::size_t>(g)] = true;
    gradient(groups[j], 0) += strength_slope(at, g);
    if (mode == penalty_mode::elasticnet)
      gradient(groups[j], 1) += strength_slope(at, num_run_groups + g);
    if (mode == penalty_mode::bridge)
      gradient(groups[j], 1) +=
          exponent_slope(at, g, num_run_groups, units[static_cast<std::size_t>(j)]);
  }
  return gradient;
}

// The lengths of its columns part the exponents of a bridge.
bool can_keep_groups(penalty_mode mode, const_matrix_view of_columns,
                     const_index_view groups) {
  return mode != penalty_mode::bridge && detail::agree_within_groups(of_columns, groups);
}

// Strengths of l2 that differ within a group go into the scales of the columns, which costs
// nothing: the penalty is the same in any units. One of 0 cannot.
void level_strengths(penalty_mode mode, const_index_view groups, normalized_data& data,
                     dense_matrix& of_columns) {
  if (mode != penalty_mode::l2 || detail::agree_within_groups(of_columns, groups)) return;
  for (index_t j = 0; j < groups.size(); ++j)
    if (groups[j] != detail::no_group && !(of_columns(j, 0) > 0.0)) return;
  detail::take_up_strengths(data, groups, of_columns);
}

// Exponents and zeros mark what has no penalty.
dense_matrix without_unpenalized(penalty_mode mode, const_matrix_view strengths,
                                 const_index_view groups) {
  dense_matrix result{strengths};
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] != detail::no_group) continue;
    for (index_t kind = 0; kind < result.cols(); ++kind) result(j, kind) = 0.0;
    if (mode == penalty_mode::bridge)
      result(j, 1) = std::numeric_limits<double>::quiet_NaN();
  }
  return result;
}

}  // namespace

logistic_report fit_logistic(logistic_data&& data, const logistic_options& options,
                             const_matrix_view start) {
  const index_vector groups = std::move(data.groups);
  require_a_penalized_column(groups);
  normalized_data normalized = detail::normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= detail::few_features};
  quiet_observer inner{options.observer};
  posed_problem posed{
      normalized, options, groups,
      make_optimizer(options.tolerance, options.tolerance, inner_iterations, &inner)};
  search_recorder recorder{options.observer, posed.penalty->num_hyperparameters()};
  const auto optimizer = make_optimizer(options.tolerance, options.tolerance,
                                        options.max_iterations, &recorder);
  const optimized best = search(posed, options, normalized, start, *optimizer);
  double criterion = 0.0;
  if (!posed.objective.settle_at(best.result.x, best.weights, criterion))
    throw optimizer_undefined_error{};

  logistic_report report = describe_solution(normalized, groups, posed);
  report.criterion = criterion;
  set_run(best.result, report);
  report.history = recorder.history_of_run_to(best.result.value);
  report.hyperparameters = best.result.x;
  report.strengths = detail::strengths_of_columns(options.penalty, normalized.units, groups,
                                                  report.hyperparameters);
  return report;
}

logistic_report fit_logistic_at(logistic_data&& data, const logistic_options& options,
                                const_matrix_view strengths) {
  const index_vector groups = std::move(data.groups);
  normalized_data normalized = detail::normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= detail::few_features};
  dense_matrix of_columns = detail::hyperparameters_of_columns(
      options.penalty, normalized.units, groups, strengths);
  level_strengths(options.penalty, groups, normalized, of_columns);
  const index_vector run_groups = detail::agree_within_groups(of_columns, groups)
                                      ? groups
                                      : detail::separate_groups(groups);
  const dense_vector theta = detail::average_over_groups(of_columns, run_groups);
  quiet_observer inner{options.observer};
  posed_problem posed{normalized, options, run_groups,
                      make_tight_optimizer(options.max_iterations, &inner)};
  const double criterion = evaluate_exactly(posed.objective, theta);
  logistic_report report = describe_solution(normalized, groups, posed);
  report.criterion = criterion;
  set_solved_run(posed.objective.inner_run(), report);
  report.strengths = without_unpenalized(options.penalty, strengths, groups);
  return report;
}

logistic_criterion evaluate_logistic_criterion(logistic_data&& data,
                                               const logistic_options& options,
                                               const_matrix_view strengths) {
  const index_vector groups = std::move(data.groups);
  normalized_data normalized = detail::normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= detail::few_features};
  dense_matrix of_columns = detail::hyperparameters_of_columns(
      options.penalty, normalized.units, groups, strengths);
  level_strengths(options.penalty, groups, normalized, of_columns);
  const index_vector run_groups = can_keep_groups(options.penalty, of_columns, groups)
                                      ? groups
                                      : detail::separate_groups(groups);
  quiet_observer inner{options.observer};
  posed_problem posed{normalized, options, run_groups,
                      make_tight_optimizer(options.max_iterations, &inner)};
  slopes_in_theta at;
  at.theta = detail::average_over_groups(of_columns, run_groups);
  const double value = differentiate_at(posed, at);
  return {value,
          gradient_by_group(options.penalty, at, run_groups, groups, normalized.units)};
}

}  // namespace corvane::model
