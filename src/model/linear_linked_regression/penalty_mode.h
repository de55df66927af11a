// SPDX-License-Identifier: BSD-3-Clause
//
// The penalties by the words that callers name them by.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "model/linear_linked_regression/regularizer.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

enum class penalty_mode : std::int32_t { l2 = 0, l1 = 1, elasticnet = 2, bridge = 3 };

// "l2", "l1", "elasticnet" and "bridge", compared exactly.
std::optional<penalty_mode> find_penalty_mode(std::string_view word);

// How many hyperparameters a group has: an elastic net has an l2 and an l1 strength, a
// bridge a strength and an exponent.
constexpr index_t num_kinds(penalty_mode mode) {
  return mode == penalty_mode::l2 || mode == penalty_mode::l1 ? 1 : 2;
}

// The mapping says which hyperparameters act on which weight. All but l2 are smoothed where
// a weight is within 0.01 of zero.
std::shared_ptr<const regularizer> make_penalty(penalty_mode mode,
                                                variable_mapping&& mapping);

}  // namespace corvane::model
