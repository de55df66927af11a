// SPDX-License-Identifier: BSD-3-Clause
//
// The search for the hyperparameters of a linked linear model, over a prepared objective.
#pragma once

#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model::linear_linked_regression_detail {

// With at most this many columns the loops over observations run in one BLAS thread: the
// work per call is too small to share.
inline constexpr index_t few_features = 256;

// What a run of the optimizer ended with, and the weights there.
struct optimized {
  trust_region_result result;
  dense_vector weights;
};

// One run from `start`. Throws optimizer_undefined_error where the score is undefined at
// `start`.
optimized optimize_hyperparameters(trust_region_optimizer& optimizer,
                                   aloocv_objective& objective, const_vector_view start);

}  // namespace corvane::model::linear_linked_regression_detail
