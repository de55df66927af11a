// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/logistic_report.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/detail/smooth_problem.h"
#include "model/linear_linked_regression/path/sparse_report.h"
#include "optimization/optimizer_error.h"

namespace corvane::model {

namespace {

namespace detail = linear_linked_regression_detail;

iteration_history history_of_start(const logistic_report& report) {
  constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
  const dense_vector& theta = report.hyperparameters;
  iteration_history history{dense_vector{1}, dense_vector{1}, dense_vector{1},
                            dense_matrix{1, theta.size()}};
  history.values[0] = report.criterion;
  history.gradient_maxima[0] = history.radii[0] = unknown;
  for (index_t a = 0; a < theta.size(); ++a) history.hyperparameters(0, a) = theta[a];
  return history;
}

// More strengths than a pattern search can find: the search over the smoothed penalty finds
// them, from `start`, and the fit at these is exact. That of the start is reported where
// its criterion is lower.
logistic_report search_many_strengths(const logistic_data& data,
                                      const logistic_options& options,
                                      const_matrix_view start) {
  logistic_report best =
      sparse_path::fit_sparse_at_means(logistic_data{data}, options, start);
  try {
    logistic_report smooth = detail::search_smooth(logistic_data{data}, options, start);
    logistic_report found =
        sparse_path::fit_sparse_at(logistic_data{data}, options, smooth.strengths);
    if (found.criterion < best.criterion) {
      best = std::move(found);
      best.hyperparameters = std::move(smooth.hyperparameters);
    }
    if (best.end == run_end::within_tolerance) best.end = smooth.end;
    best.num_iterations = smooth.num_iterations;
    best.num_evaluations = smooth.num_evaluations;
    best.history = std::move(smooth.history);
  } catch (const optimizer_undefined_error&) {
    // At the start or at the strengths found.
    best.end = run_end::undefined;
    best.num_iterations = best.num_evaluations = 0;
    best.history = history_of_start(best);
  }
  return best;
}

}  // namespace

logistic_report fit_logistic(logistic_data&& data, const logistic_options& options,
                             const_matrix_view start) {
  if (detail::count_groups(data.groups) == 0)
    throw std::invalid_argument{"no column has a penalty: there is nothing to optimize"};
  if (!sparse_path::is_sparse(options.penalty))
    return detail::search_smooth(std::move(data), options, start);
  if (sparse_path::has_few_strengths(options.penalty, data.groups))
    return sparse_path::fit_sparse(std::move(data), options, start);
  if (start.size() > 0) return search_many_strengths(data, options, start);
  return search_many_strengths(
      data, options, sparse_path::find_common_strengths(logistic_data{data}, options));
}

logistic_report fit_logistic_at(logistic_data&& data, const logistic_options& options,
                                const_matrix_view strengths) {
  return sparse_path::is_sparse(options.penalty)
             ? sparse_path::fit_sparse_at(std::move(data), options, strengths)
             : detail::fit_smooth_at(std::move(data), options, strengths);
}

logistic_criterion evaluate_logistic_criterion(logistic_data&& data,
                                               const logistic_options& options,
                                               const_matrix_view strengths) {
  return sparse_path::is_sparse(options.penalty)
             ? sparse_path::evaluate_sparse_criterion(std::move(data), options, strengths)
             : detail::evaluate_smooth_criterion(std::move(data), options, strengths);
}

}  // namespace corvane::model
