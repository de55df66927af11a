// SPDX-License-Identifier: BSD-3-Clause
//
// The search for the hyperparameters of a linked linear model, over a prepared objective.
// Its body stands beside that of the descriptor.
#pragma once

#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"
#include "model/linear_linked_regression/regularizer.h"

namespace corvane::model::linear_linked_regression_detail {

// What is as long as the observations runs in loops of our own, unless there are more
// columns than these: a second thread then has work worth handing over.
inline constexpr index_t few_features = 256;

// What a run of the optimizer ended with, and the weights there.
struct optimized {
  trust_region_result result;
  dense_vector weights;
};

// From `start`, and by way of what is simpler within the penalty; the lowest end counts.
// Throws optimizer_undefined_error where no start value gives a defined score.
optimized optimize_hyperparameters(const linear_linked_regression_model_options& options,
                                   aloocv_objective& objective, const regularizer& penalty,
                                   const_vector_view start);

}  // namespace corvane::model::linear_linked_regression_detail
