// SPDX-License-Identifier: BSD-3-Clause
//
// The fit at given strengths, and the criterion's derivatives there.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "common/blas_threads.h"
#include "common/finite.h"
#include "common/matrix_block.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/search_recorder.h"
#include "model/linear_linked_regression/detail/smooth_problem.h"
#include "optimization/optimizer_error.h"
#include "optimization/trust_region_measures.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

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

// After its last step the inner run may find no further decrease above rounding. That point
// is a solution, too, if its gradient is small enough.
void set_solved_run(const trust_region_result& run, logistic_report& report) {
  set_run(run, report);
  if (run.end == run_end::no_decrease && gradient_max_of(run) <= tight_gradient_tolerance)
    report.end = run_end::within_tolerance;
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

double differentiate_at(smooth_problem& posed, slopes_in_theta& at) {
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
  const index_t num_run_groups = count_groups(run_groups);
  dense_matrix gradient{count_groups(groups), num_kinds(mode)};
  fill(gradient, 0.0);
  std::vector<bool> is_done(static_cast<std::size_t>(num_run_groups), false);
  for (index_t j = 0; j < groups.size(); ++j) {
    const index_t g = run_groups[j];
    if (g == no_group || is_done[static_cast<std::size_t>(g)]) continue;
    is_done[static_cast<std::size_t>(g)] = true;
    gradient(groups[j], 0) += strength_slope(at, g);
    if (mode == penalty_mode::bridge)
      gradient(groups[j], 1) +=
          exponent_slope(at, g, num_run_groups, units[static_cast<std::size_t>(j)]);
  }
  return gradient;
}

// Derivatives in the exponents of a bridge contain the length of each column.
bool can_keep_groups(penalty_mode mode, const_matrix_view of_columns,
                     const_index_view groups) {
  return mode != penalty_mode::bridge && agree_within_groups(of_columns, groups);
}

// Strengths of l2 that differ within a group are made equal by scaling the columns, which
// does not change the penalty. A strength of 0 cannot be.
void equalize_strengths(penalty_mode mode, const_index_view groups, normalized_data& data,
                        dense_matrix& of_columns) {
  if (mode != penalty_mode::l2 || agree_within_groups(of_columns, groups)) return;
  for (index_t j = 0; j < groups.size(); ++j)
    if (groups[j] != no_group && !(of_columns(j, 0) > 0.0)) return;
  absorb_strengths_in_scales(data, groups, of_columns);
}

// Columns without a penalty have strengths of 0, and NaN for an exponent.
dense_matrix without_unpenalized(penalty_mode mode, const_matrix_view strengths,
                                 const_index_view groups) {
  dense_matrix result{strengths};
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] != no_group) continue;
    for (index_t kind = 0; kind < result.cols(); ++kind) result(j, kind) = 0.0;
    if (mode == penalty_mode::bridge)
      result(j, 1) = std::numeric_limits<double>::quiet_NaN();
  }
  return result;
}

}  // namespace

logistic_report fit_smooth_at(logistic_data&& data, const logistic_options& options,
                              const_matrix_view strengths) {
  const index_vector groups = std::move(data.groups);
  normalized_data normalized = normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= few_features};
  dense_matrix of_columns =
      hyperparameters_of_columns(options.penalty, normalized.units, groups, strengths);
  equalize_strengths(options.penalty, groups, normalized, of_columns);
  const index_vector run_groups =
      agree_within_groups(of_columns, groups) ? groups : separate_groups(groups);
  const dense_vector theta = average_over_groups(of_columns, run_groups);
  quiet_observer inner{options.observer};
  smooth_problem posed{normalized, options, run_groups,
                       make_tight_optimizer(options.max_iterations, &inner)};
  const double criterion = evaluate_exactly(posed.objective, theta);
  logistic_report report = describe_solution(normalized, groups, posed);
  report.criterion = criterion;
  set_solved_run(posed.objective.inner_run(), report);
  report.strengths = without_unpenalized(options.penalty, strengths, groups);
  return report;
}

logistic_criterion evaluate_smooth_criterion(logistic_data&& data,
                                             const logistic_options& options,
                                             const_matrix_view strengths) {
  const index_vector groups = std::move(data.groups);
  normalized_data normalized = normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= few_features};
  dense_matrix of_columns =
      hyperparameters_of_columns(options.penalty, normalized.units, groups, strengths);
  equalize_strengths(options.penalty, groups, normalized, of_columns);
  const index_vector run_groups = can_keep_groups(options.penalty, of_columns, groups)
                                      ? groups
                                      : separate_groups(groups);
  quiet_observer inner{options.observer};
  smooth_problem posed{normalized, options, run_groups,
                       make_tight_optimizer(options.max_iterations, &inner)};
  slopes_in_theta at;
  at.theta = average_over_groups(of_columns, run_groups);
  const double value = differentiate_at(posed, at);
  return {value,
          gradient_by_group(options.penalty, at, run_groups, groups, normalized.units)};
}

}  // namespace corvane::model::linear_linked_regression_detail
