// SPDX-License-Identifier: BSD-3-Clause
//
// Random draws that are the same bit for bit on every platform; the methods of the standard
// library's distributions are not specified. The generator itself, MT19937, is specified by
// the standard.
#pragma once

#include <cstdint>
#include <optional>
#include <random>

namespace corvane::model {

// (low + high 2^32) / 2^64, below 1.0 also where the sum rounds to 2^64.
double unit_interval(std::uint32_t low, std::uint32_t high);

// Uniform on [0, 1), from two successive outputs.
double draw_uniform(std::mt19937& generator);

// Standard normal draws by the polar method of G. Marsaglia and T. Bray, "A convenient
// method for generating normal variables", SIAM Review 6 (1964): they come in pairs, of
// which the second one is kept for the next call.
class normal_draws {
 public:
  explicit normal_draws(std::mt19937& generator) : generator_{&generator} {}
  double next();

 private:
  std::mt19937* generator_;
  std::optional<double> spare_;
};

}  // namespace corvane::model
