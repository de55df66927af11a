// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/prediction/gauss_hermite.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace corvane::model {

namespace {

// The sum of (c + 1) / 2 over the counts c below this one, rounded down each.
constexpr index_t entries_before(index_t count) { return count * count / 4; }

// The rules are symmetric: of each, the nodes that are not negative, ascending.
using half_table =
    std::array<double, entries_before(gauss_hermite_rule::largest_count + 1)>;
constexpr half_table half_nodes{
#include "model/warped_linear_regression/prediction/gauss_hermite_nodes.inc"
};
constexpr half_table half_weights{
#include "model/warped_linear_regression/prediction/gauss_hermite_weights.inc"
};
static_assert(half_nodes.back() > 0.0 && half_weights.back() > 0.0, "the tables are full");

}  // namespace

gauss_hermite_rule::gauss_hermite_rule(index_t count)
    : count_{std::min(count, largest_count)} {
  if (count < 1)
    throw std::invalid_argument("a quadrature rule needs at least 1 point, not " +
                                std::to_string(count));
  const index_t half = (count_ + 1) / 2;
  for (index_t k = 0; k < half; ++k) {
    const auto entry = static_cast<std::size_t>(entries_before(count_) + k);
    const auto right = static_cast<std::size_t>(count_ - half + k);
    const auto left = static_cast<std::size_t>(half - 1 - k);
    // In this order: the middle node of an odd rule is its own mirror image, and is +0.
    nodes_[left] = -half_nodes[entry];
    nodes_[right] = half_nodes[entry];
    weights_[left] = weights_[right] = half_weights[entry];
  }
}

}  // namespace corvane::model
