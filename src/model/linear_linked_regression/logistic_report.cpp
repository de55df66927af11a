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
#include "model/linear_linked_regression/detail/canonical_problem.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/detail/optimum_diagnostics.h"
#include "model/linear_linked_regression/detail/row_space.h"
#include "model/linear_linked_regression/detail/search_recorder.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "optimization/optimizer_error.h"
#include "optimization/trust_region_measures.h"
#include "optimization/trust_region_optimizer.h"
#include "optimization/variable_order.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using linear_linked_regression_detail::canonical_problem;
using linear_linked_regression_detail::column_unit;
using linear_linked_regression_detail::make_canonical;
using linear_linked_regression_detail::normalized_data;
using linear_linked_regression_detail::optimized;
using linear_linked_regression_detail::quiet_observer;
using linear_linked_regression_detail::row_space;
using linear_linked_regression_detail::search_recorder;

namespace detail = linear_linked_regression_detail;

// Of fits at given strengths and of the criterion's derivatives, which take the inner
// problem for solved exactly. A value changes by 1e-10 of itself in Newton steps whose
// square is below rounding; smaller gradients than this move no digit of it.
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

std::shared_ptr<trust_region_optimizer> make_tight_optimizer(
    const logistic_options& options, run_observer* observer) {
  return make_optimizer(tight_tolerance, tight_gradient_tolerance, options.max_iterations,
                        observer);
}

// The canonical problem, in fewer weights where groups are wide.
std::optional<row_space> reduce(canonical_problem& canonical) {
  std::optional<row_space> reduced = row_space::find(canonical.design, *canonical.penalty);
  if (reduced) {
    canonical.design = std::move(reduced->design);
    canonical.penalty = reduced->penalty;
  }
  return reduced;
}

// A normalized problem over groups of columns, and its objective.
struct posed_problem {
  posed_problem(normalized_data& data, const logistic_options& options,
                const_index_view groups_of_columns,
                std::shared_ptr<trust_region_optimizer> inner_optimizer)
      : groups{groups_of_columns},
        penalty{detail::penalty_over(options.penalty, groups, options.fit_intercept)},
        canonical{make_canonical(std::move(data.design), data.normalizer.num_features(),
                                 data.target, *penalty, options.observer)},
        reduced{reduce(canonical)},
        objective{std::move(inner_optimizer),
                  std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
                  canonical.penalty,
                  std::move(canonical.design),
                  std::move(canonical.target),
                  options.observer} {}

  // Those of the normalized columns, in the caller's order.
  dense_vector weights() const {
    const const_vector_view solution = objective.optimum().weights;
    const dense_vector run = reduced ? reduced->expand(solution) : dense_vector{solution};
    dense_vector ordered{run.size()};
    to_caller(canonical.columns.view(), run, ordered);
    for (index_t j = 0; j < ordered.size(); ++j) ordered[j] *= canonical.signs[j];
    return ordered;
  }

  // The parts of `of_weights` in each group of the problem, in the caller's order. A
  // rotation of the weights within a group leaves its part the same.
  dense_vector sum_by_group(const_vector_view of_weights) const {
    const auto& members = canonical.penalty->mapping().groups();
    const auto num_groups = static_cast<index_t>(members.size());
    dense_vector run(num_groups);
    for (index_t g = 0; g < num_groups; ++g) {
      run[g] = 0.0;
      for (const index_t k : members[static_cast<std::size_t>(g)]) run[g] += of_weights[k];
    }
    // Hyperparameters of the first kind stand in the order of the groups.
    dense_vector ordered(num_groups);
    to_caller(canonical.hyperparameters.view().part(0, num_groups), run, ordered);
    return ordered;
  }

  dense_vector in_run_order(const_vector_view theta) const {
    dense_vector ordered{theta.size()};
    to_run(canonical.hyperparameters.view(), theta, ordered);
    return ordered;
  }

  index_vector groups;
  std::shared_ptr<const regularizer> penalty;  // in the caller's order
  canonical_problem canonical;                 // without the data
  std::optional<row_space> reduced;            // without the design
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
  const canonical_problem& order = posed.canonical;
  logistic_report report;
  detail::raw_solution solution = detail::in_units_of_data(data, posed.weights());
  report.coefficients = std::move(solution.coefficients);
  report.intercept = solution.intercept;
  report.loo_predictions = dense_vector{optimum.loo_predictions.size()};
  to_caller(order.rows.view(), optimum.loo_predictions, report.loo_predictions);

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

// The score at given hyperparameters, in the order of the run, with an inner problem that
// is solved to rounding.
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

// Where the search starts, in the order of the run; also given to it as its initializer,
// which makes the start the caller's own.
dense_vector start_of_search(const posed_problem& posed, const logistic_options& options,
                             const normalized_data& data, const_matrix_view start,
                             linear_linked_regression_model_options& search) {
  dense_vector theta{posed.penalty->num_hyperparameters()};
  if (start.size() == 0) {
    posed.penalty->initialize_hyperparameters(theta);
  } else {
    theta =
        detail::average_over_groups(detail::hyperparameters_of_columns(
                                        options.penalty, data.units, posed.groups, start),
                                    posed.groups);
    search.initializer = [](vector_view) {};
  }
  return posed.in_run_order(theta);
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

// Value and slopes, in the caller's order.
double differentiate_at(posed_problem& posed, slopes_in_theta& at) {
  const index_t size = at.theta.size();
  const dense_vector theta = posed.in_run_order(at.theta);
  dense_vector gradient{size};
  symmetric_matrix hessian{size, size};
  const double value = evaluate_exactly(posed.objective, theta);
  if (!posed.objective.compute_gradient_hessian(theta, gradient, hessian))
    throw optimizer_undefined_error{};
  const variable_order order = posed.canonical.hyperparameters.view();
  at.gradient = dense_vector{size};
  at.hessian = symmetric_matrix{size, size};
  to_caller(order, gradient, at.gradient);
  to_caller(order, const_symmetric_view{hessian}, at.hessian);
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
  const canonical_problem& order = posed.canonical;
  search_recorder recorder{options.observer, order.hyperparameters.view()};
  linear_linked_regression_model_options search;
  search.outer_optimizer = make_optimizer(options.tolerance, options.tolerance,
                                          options.max_iterations, &recorder);
  const dense_vector first = start_of_search(posed, options, normalized, start, search);
  const optimized best =
      optimize_hyperparameters(search, posed.objective, *order.penalty, first);
  double criterion = 0.0;
  if (!posed.objective.settle_at(best.result.x, best.weights, criterion))
    throw optimizer_undefined_error{};

  logistic_report report = describe_solution(normalized, groups, posed);
  report.criterion = criterion;
  set_run(best.result, report);
  report.history = recorder.history_of_run_to(best.result.value);
  report.hyperparameters = dense_vector{best.result.x.size()};
  to_caller(order.hyperparameters.view(), best.result.x, report.hyperparameters);
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
                      make_tight_optimizer(options, &inner)};
  const double criterion = evaluate_exactly(posed.objective, posed.in_run_order(theta));
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
                      make_tight_optimizer(options, &inner)};
  slopes_in_theta at;
  at.theta = detail::average_over_groups(of_columns, run_groups);
  const double value = differentiate_at(posed, at);
  return {value,
          gradient_by_group(options.penalty, at, run_groups, groups, normalized.units)};
}

}  // namespace corvane::model
