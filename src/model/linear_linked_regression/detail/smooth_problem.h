// SPDX-License-Identifier: BSD-3-Clause
//
// A logistic problem whose penalty has derivatives, those of l1 and bridge by smoothing:
// its solution at given hyperparameters, and what is reported of that.
#pragma once

#include <memory>
#include <optional>

#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/detail/row_space.h"
#include "model/linear_linked_regression/logistic_report.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model::linear_linked_regression_detail {

std::shared_ptr<trust_region_optimizer> make_optimizer(double tolerance,
                                                       double gradient_tolerance,
                                                       int max_iterations,
                                                       run_observer* observer);

// Inner problems are solved nearly to rounding: the criterion and its derivatives take
// their solution for exact, and a search compares values that differ by little. A value
// changes by 1e-10 of itself in Newton steps whose square is below rounding; smaller
// gradients than this move no digit of it.
inline constexpr double tight_tolerance = 1e-10;
inline constexpr double tight_gradient_tolerance = 1e-5;

std::shared_ptr<trust_region_optimizer> make_tight_optimizer(int max_iterations,
                                                             run_observer* observer);

// A normalized problem over groups of columns, in fewer weights where groups are wide, and
// its objective.
struct smooth_problem {
  // Takes design and target out of `data`.
  smooth_problem(normalized_data& data, const logistic_options& options,
                 const_index_view groups_of_columns,
                 std::shared_ptr<trust_region_optimizer> inner_optimizer);

  // The penalty of the weights that the objective knows.
  const std::shared_ptr<const regularizer>& run_penalty() const {
    return reduced ? reduced->penalty : penalty;
  }
  // Those of the normalized columns.
  dense_vector weights() const;
  // The parts of `of_weights` in each group of the problem. A rotation of the weights
  // within a group leaves its part the same.
  dense_vector sum_by_group(const_vector_view of_weights) const;

  index_vector groups;
  std::shared_ptr<const regularizer> penalty;
  std::optional<row_space> reduced;  // without the design
  aloocv_objective objective;
};

// The report of the objective's current solution; `groups` are the caller's.
logistic_report describe_solution(const normalized_data& data, const_index_view groups,
                                  smooth_problem& posed);
void set_run(const trust_region_result& run, logistic_report& report);

// These are what logistic_report.h says. Where no start is given, a search over several
// strengths begins at the best point of a coarse scan.
logistic_report search_smooth(logistic_data&& data, const logistic_options& options,
                              const_matrix_view start);
logistic_report fit_smooth_at(logistic_data&& data, const logistic_options& options,
                              const_matrix_view strengths);
logistic_criterion evaluate_smooth_criterion(logistic_data&& data,
                                             const logistic_options& options,
                                             const_matrix_view strengths);

}  // namespace corvane::model::linear_linked_regression_detail
