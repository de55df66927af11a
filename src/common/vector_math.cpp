// SPDX-License-Identifier: BSD-3-Clause
#include "common/vector_math.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "common/finite.h"
#include "common/vector_dispatch.h"

namespace corvane {

namespace {

// tanh h = odd / even is the eighth convergent h / (1 + h^2 / (3 + h^2 / (5 + ...))) of
// J. Lambert (1761), whose relative error is below 1e-18 up to h = 0.55. From there on
// |x| = k ln(2) / 2 + h with k whole and |h| <= ln(2) / 4. Then e^(2 h) = (even + odd) /
// (even - odd), so that both ranges come to a quotient that is added to what dominates:
//
//   tanh h   = h - (even - odd / h) h / even
//   tanh |x| = 1 - 2 (even - odd) / ((2^k + 1) even + (2^k - 1) odd)
double tanh_entry(double x) {
  // Beyond 19.1 the nearest double is 1. A NaN passes through.
  const double magnitude = std::abs(x) > 20.0 ? 20.0 : std::abs(x);
  const bool is_small = magnitude < 0.55;

  // Adding 1.5 * 2^52 rounds to a whole number, which then stands in the lowest bits.
  constexpr double two_over_ln2 = 2.8853900817779268;
  constexpr double shifter = 6755399441055744.0;
  const double shifted = magnitude * two_over_ln2 + shifter;
  const double whole = shifted - shifter;
  const double k = is_small ? 0.0 : whole;
  // ln(2) / 2 in two parts: the product of the upper one, of 42 bits, with k is exact.
  constexpr double half_ln2_upper = 0.34657359027994517;
  constexpr double half_ln2_lower = 2.7489615093541856e-14;
  const double h = (magnitude - k * half_ln2_upper) - k * half_ln2_lower;
  const auto power = std::bit_cast<double>(  // 2^k, of the large range
      (std::bit_cast<std::uint64_t>(shifted) << 52U) + std::bit_cast<std::uint64_t>(1.0));

  const double hh = h * h;
  const double excess = (((hh + 594.0) * hh + 45045.0) * hh + 675675.0) * hh;
  const double odd = (((36.0 * hh + 6930.0) * hh + 270270.0) * hh + 2027025.0) * h;
  const double even = (((hh + 630.0) * hh + 51975.0) * hh + 945945.0) * hh + 2027025.0;
  const double sum = (power + 1.0) * even + (power - 1.0) * odd;
  const double small_missing = excess * h;
  const double large_missing = 2.0 * (even - odd);
  const double missing =
      (is_small ? small_missing : large_missing) / (is_small ? even : sum);
  return std::copysign((is_small ? h : 1.0) - missing, x);
}

// Doubles reach to 2^1024; the margin is for factors that rounding has put a little above
// the largest. None where the largest is not finite.
index_t factors_within_range(double largest) {
  constexpr double plenty = 1e6;
  if (!is_finite(largest)) return 0;
  return static_cast<index_t>(
      std::min(1000.0 / std::log2(std::max(largest, 1.001)), plenty));
}

}  // namespace

void compute_tanh(const_vector_view x, vector_view tangents) {
  const double* const from = x.data();
  double* const to = tangents.data();
  const index_t count = tangents.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) to[i] = tanh_entry(from[i]);
  });
}

log_sum::log_sum(double largest) : max_rounds_{factors_within_range(largest)} {
  lanes_.fill(1.0);
}

void log_sum::add(const_vector_view factors) {
  index_t done = 0;
  while (max_rounds_ > 0 && factors.size() - done >= num_lanes) {
    if (rounds_ == max_rounds_) close_lanes();
    const index_t rounds =
        std::min((factors.size() - done) / num_lanes, max_rounds_ - rounds_);
    multiply(factors.data() + done, rounds);
    rounds_ += rounds;
    done += rounds * num_lanes;
  }
  for (; done < factors.size(); ++done) logs_.add(std::log(factors[done]));
}

void log_sum::multiply(const double* factors, index_t rounds) {
  std::array<double, num_lanes> products = lanes_;
  for (index_t round = 0; round < rounds; ++round, factors += num_lanes)
    for (std::size_t lane = 0; lane < products.size(); ++lane)
      products[lane] *= factors[lane];
  lanes_ = products;
}

void log_sum::close_lanes() {
  for (const double product : lanes_) logs_.add(std::log(product));
  lanes_.fill(1.0);
  rounds_ = 0;
}

double log_sum::total() {
  close_lanes();
  return logs_.total();
}

}  // namespace corvane
