// SPDX-License-Identifier: BSD-3-Clause
//
// Everything that a logistic estimator reports about a fit, in the units of the data:
//   minimize over b, c   sum_i log(1 + exp(-s_i (c + x_i b))) + sum_j penalty_j(b_j)
// with s_i = -1 or +1, and as penalty_j(b)
//   l2          strength_j b^2 / 2
//   l1          strength_j |b|
//   elasticnet  strength_j b^2 / 2 + second strength_j |b|
//   bridge      strength_j |b|^exponent_j
// For l1 and elastic net this is exact, and leave-one-out that of path/sparse_report.h; a
// bridge is smoothed in the weights w_j = b_j length_j. Tables of strengths have a row per
// column of X and a column per kind: one for l2 and l1; l2, l1; strength, exponent.
#pragma once

#include "model/linear_linked_regression/penalty_mode.h"
#include "n_array/n_array.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct logistic_options {
  penalty_mode penalty = penalty_mode::l2;
  bool fit_intercept = true;
  bool normalize = true;
  double tolerance = 1e-4;  // of a search; at given strengths the fit is exact to rounding
  int max_iterations = 10000;
  run_observer* observer = nullptr;  // not owned; sees each iteration over hyperparameters
};

// y holds two distinct values. The group of a column is -1 where it has no penalty, else
// 0 to G - 1.
struct logistic_data {
  dense_matrix X;
  dense_vector y;
  index_vector groups;
};

// k iterations, the start point included.
struct iteration_history {
  dense_vector values;
  dense_vector gradient_maxima;
  dense_vector radii;
  dense_matrix hyperparameters;  // k by Q
};

struct logistic_report {
  dense_vector coefficients;
  double intercept = 0.0;
  dense_matrix strengths;  // of a column without penalty 0, its exponent NaN
  // Those of the search: roots of the strengths of normalized columns, and roots of
  // exponents less 1, for all groups kind by kind. Empty at given strengths.
  dense_vector hyperparameters;
  double criterion = 0.0;        // the sum of the approximate leave-one-out losses
  dense_vector loo_predictions;  // the linear predictors that these are of, row by row
  double effective_dof = 0.0;    // intercept included
  dense_vector effective_dof_by_group;
  // Of the search; at given strengths those of the fit itself.
  run_end end = run_end::within_tolerance;
  int num_iterations = 0;
  int num_evaluations = 0;
  iteration_history history;  // of the search; of many strengths of l1, of a smoothed score
};

// Chooses the strengths, G of each kind per normalized column. One run starts at the
// geometric mean of the roots that `start` has in each group; where `start` is empty the
// search finds its start. Throws std::invalid_argument and invalid_target_error for
// data that cannot be fitted, optimizer_undefined_error where no start gives a score, and
// std::range_error where a coefficient is beyond the range of doubles.
logistic_report fit_logistic(logistic_data&& data, const logistic_options& options,
                             const_matrix_view start);

// Fits at given strengths, without a search. Of columns without penalty they are not read.
logistic_report fit_logistic_at(logistic_data&& data, const logistic_options& options,
                                const_matrix_view strengths);

struct logistic_criterion {
  double value = 0.0;
  // G by kinds: derivatives in the logarithm of a factor that all strengths of a group
  // have in common, and in a number added to all its exponents.
  dense_matrix gradient;
};

// The criterion at given strengths. Where those of normalized columns are equal within each
// group the cost is that of a step of the search; else it is of a search in which each
// column has a group of its own.
logistic_criterion evaluate_logistic_criterion(logistic_data&& data,
                                               const logistic_options& options,
                                               const_matrix_view strengths);

}  // namespace corvane::model
