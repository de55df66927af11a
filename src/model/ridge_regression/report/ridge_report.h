// SPDX-License-Identifier: BSD-3-Clause
//
// All that a ridge estimator reports, in the units of the data. With an intercept the
// features are centered and a constant column without a penalty is added. Strengths are
// those of a ridge fit to the raw data: coefficients and intercept minimize
//   sum over i of (y_i - c - x_i b)^2 + sum over j of alpha_j b_j^2.
#pragma once

#include "model/ridge_regression/scores/ridge_regression_objective.h"
#include "n_array/n_array.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct ridge_request {
  ridge_objective_mode criterion = ridge_objective_mode::gcv;
  bool fit_intercept = true;
  bool normalize = true;  // work on columns and target of length 1
  index_vector groups;    // codes 0 to k - 1, one per column; empty: each column alone
  dense_vector start;     // strengths, one per column; empty: see fit_ridge
  double tolerance = 0.0001;
  int max_iterations = 10000;
  run_observer* observer = nullptr;
};

struct ridge_report {
  dense_vector coef;
  double intercept = 0.0;
  dense_vector alpha;            // p; beyond the range of doubles the largest of these
  double criterion_value = 0.0;  // squared units of the target
  index_vector groups;
  dense_vector leverage;       // n
  dense_vector loo_residuals;  // n; infinite or NaN where the leverage is 1
  double effective_dof = 0.0;  // the intercept included
  dense_vector effective_dof_by_group;
  trust_region_result run;
};

// The search begins at request.start, or where that is empty at the optimum of one penalty
// common to all groups, whose search is not observed; its root is moved into 0.1 to 1. If
// the run ends above that optimum, a second one, also observed, starts there. Both take
// ownership of X and y: columns whose squares would underflow are scaled in place, so that
// they have an effect, and those whose spread is denormal are made constant. Throw what
// ridge_regression_model_descriptor::fit throws, std::runtime_error with "dependent
// columns: [...]" where the range risk needs independent ones, std::overflow_error where a
// result is beyond the range of doubles, and what the observer throws.
ridge_report fit_ridge(dense_matrix&& X, dense_vector&& y, const ridge_request& request);
// Without a search, at p strengths, each at least 0. Where these do not determine all
// coefficients, the shortest solution for columns of length 1. Without a run record.
ridge_report solve_ridge(dense_matrix&& X, dense_vector&& y, const ridge_request& request,
                         const_vector_view alpha);

// Codes of at most `num_groups` groups, found as fit_with_num_groups does.
index_vector cluster_ridge_columns(dense_matrix&& X, dense_vector&& y,
                                   const ridge_request& request, index_t num_groups);

struct ridge_criterion_value {
  double value = 0.0;     // squared units of the target
  dense_vector gradient;  // by the logarithms of the strengths, summed over each group
};
// At p strengths, each above 0. Throws optimizer_undefined_error where the criterion is not
// defined there.
ridge_criterion_value evaluate_ridge_criterion(dense_matrix&& X, dense_vector&& y,
                                               const ridge_request& request,
                                               const_vector_view alpha);

}  // namespace corvane::model
