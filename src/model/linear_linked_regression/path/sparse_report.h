// SPDX-License-Identifier: BSD-3-Clause
//
// The report of a logistic fit with an l1 or elastic net penalty, which is not smoothed:
// weights are exactly 0 where the penalty says so, and the criterion is the free-set
// leave-one-out loss.
#pragma once

#include "model/linear_linked_regression/logistic_report.h"

namespace corvane::model::sparse_path {

bool is_sparse(penalty_mode mode);

// Whether a pattern search can find a strength of each kind for each of these groups.
bool has_few_strengths(penalty_mode mode, const_index_view groups);

// These are what logistic_report.h says, for penalties that are sparse. A search takes few
// strengths.
logistic_report fit_sparse(logistic_data&& data, const logistic_options& options,
                           const_matrix_view start);
logistic_report fit_sparse_at(logistic_data&& data, const logistic_options& options,
                              const_matrix_view strengths);
// Fits at one strength of each kind for each group, the geometric mean of those given.
// Reports the hyperparameters as well.
logistic_report fit_sparse_at_means(logistic_data&& data, const logistic_options& options,
                                    const_matrix_view strengths);
// The gradient is one of differences.
logistic_criterion evaluate_sparse_criterion(logistic_data&& data,
                                             const logistic_options& options,
                                             const_matrix_view strengths);

// The strengths, of each column, that are best where all groups have them in common.
dense_matrix find_common_strengths(logistic_data&& data, const logistic_options& options);

}  // namespace corvane::model::sparse_path
