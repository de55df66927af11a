// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/random_draws.h"

#include <cmath>

namespace corvane::model {

double unit_interval(std::uint32_t low, std::uint32_t high) {
  const double u = (low + high * 4294967296.0) / 18446744073709551616.0;
  return u >= 1.0 ? 0.9999999999999999 : u;
}

double draw_uniform(std::mt19937& generator) {
  const auto low = static_cast<std::uint32_t>(generator());
  const auto high = static_cast<std::uint32_t>(generator());
  return unit_interval(low, high);
}

double normal_draws::next() {
  if (spare_) {
    const double kept = *spare_;
    spare_.reset();
    return kept;
  }
  while (true) {
    const double a = 2.0 * draw_uniform(*generator_) - 1.0;
    const double b = 2.0 * draw_uniform(*generator_) - 1.0;
    const double q = a * a + b * b;
    if (q > 1.0 || q == 0.0) continue;
    const double factor = std::sqrt(-2.0 * std::log(q) / q);
    spare_ = a * factor;
    return b * factor;
  }
}

}  // namespace corvane::model
