// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/stalled_run.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace corvane {

namespace {

// Bit for bit, so that a NaN equals itself.
bool is_same(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool is_same(const_vector_view a, const_vector_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](double x, double y) { return is_same(x, y); });
}

}  // namespace

void stalled_run::observe(const trust_region_state& state) {
  unchanged_ = equals(state);
  // Of the whole run, not in a row: a cycle has iterations that lower the value, too.
  if (!(state.value < value_)) ++idle_iterations_;
  remember(state);
}

void stalled_run::remember(const trust_region_state& state) {
  lambda_ = state.lambda;
  radius_ = state.radius;
  value_ = state.value;
  x_ = state.x;
  gradient_ = state.gradient;
}

bool stalled_run::equals(const trust_region_state& state) const {
  return is_same(lambda_, state.lambda) && is_same(radius_, state.radius) &&
         is_same(value_, state.value) && is_same(x_, state.x) &&
         is_same(gradient_, state.gradient);
}

}  // namespace corvane
