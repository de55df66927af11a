// SPDX-License-Identifier: BSD-3-Clause
//
// The scores by which a ridge model chooses its penalties, made from raw data.
#pragma once

#include <memory>

#include "common/interruption.h"
#include "model/ridge_regression/common_penalty/common_penalty_objective.h"
#include "model/ridge_regression/data_normalizer.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"

namespace corvane::model::ridge_regression_detail {

// The leave-one-out score keeps the normalized data. The two others keep R and the rotated
// data; the normalized copies are freed before the first evaluation.
std::unique_ptr<ridge_regression_objective> make_score(
    ridge_objective_mode mode, const data_normalizer& normalizer, const_vector_view y,
    const_matrix_view X, interruption* interruption = nullptr);

// The score as a function of one common penalty, at the cost of one factorization; null
// where no short form of it is known. Reads the design again when it is evaluated.
std::unique_ptr<common_penalty_objective> make_common_penalty_score(
    ridge_objective_mode mode, bool center_features, const common_penalty_design& design);

}  // namespace corvane::model::ridge_regression_detail
