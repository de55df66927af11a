// SPDX-License-Identifier: BSD-3-Clause
#include "common/vector_math.h"

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
// (even - odd), so that both ranges need one quotient, a correction of the dominant term:
//
//   tanh h   = h - (even - odd / h) h / even
//   tanh |x| = 1 - 2 (even - odd) / ((2^k + 1) even + (2^k - 1) odd)
struct tangent {
  double t;
  double complement;  // 1 - t^2, from 1 - |t| where that is known to all its digits
};

tangent tanh_entry(double x) {
  // Beyond 19.1 the nearest double is 1, and beyond 300 the complement, below 1e-259, is
  // taken for 0. A NaN passes through.
  const bool is_far = std::abs(x) > 300.0;
  const double magnitude = is_far ? 300.0 : std::abs(x);
  const bool is_small = magnitude < 0.55;

  // Adding 1.5 * 2^52 rounds to a whole number, which is then in the lowest bits.
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
  const double t = (is_small ? h : 1.0) - missing;
  const double near_complement = is_small ? 1.0 - t * t : missing * (2.0 - missing);
  return {std::copysign(t, x), is_far ? 0.0 : near_complement};
}

// With x = 2^e m and m between sqrt(1/2) and sqrt(2),
//   log x = e log 2 + 2 artanh f,   f = (m - 1) / (m + 1),
// where the series of J. Gregory (1668), artanh f = f + f^3 / 3 + f^5 / 5 + ..., is below
// the rounding after f^21.
double log_entry(double x) {
  constexpr std::uint64_t half_root = 0x3fe6a09e667f3bcdU;  // of the double sqrt(1/2)
  constexpr double whole = 4503599627370496.0;              // 2^52
  const auto bits = std::bit_cast<std::uint64_t>(x);
  const std::uint64_t exponent = (bits - half_root) >> 52U;
  const auto m = std::bit_cast<double>(bits - (exponent << 52U));
  // In the lowest bits of 2^52 the exponent is a whole number.
  const double e =
      std::bit_cast<double>(exponent | std::bit_cast<std::uint64_t>(whole)) - whole;

  const double f = (m - 1.0) / (m + 1.0);
  const double ff = f * f;
  double tail = 1.0 / 21.0;
  for (const double denominator : {19.0, 17.0, 15.0, 13.0, 11.0, 9.0, 7.0, 5.0, 3.0})
    tail = tail * ff + 1.0 / denominator;
  // log 2 in two parts: the product of the upper one, of 42 bits, with e is exact.
  constexpr double ln2_upper = 0.6931471805598903;
  constexpr double ln2_lower = 5.497923018708371e-14;
  const double twice = f + f;
  const double result = e * ln2_upper + (twice + (twice * ff * tail + e * ln2_lower));
  return x <= largest_double ? result : x;
}

}  // namespace

void compute_tanh(const_vector_view x, vector_view tangents) {
  const double* const from = x.data();
  double* const to = tangents.data();
  const index_t count = tangents.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) to[i] = tanh_entry(from[i]).t;
  });
}

void compute_tanh(const_vector_view x, vector_view tangents, vector_view complements) {
  const double* const from = x.data();
  double* const to = tangents.data();
  double* const rest = complements.data();
  const index_t count = tangents.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      const tangent entry = tanh_entry(from[i]);
      to[i] = entry.t;
      rest[i] = entry.complement;
    }
  });
}

void compute_log(const_vector_view x, vector_view logs) {
  const double* const from = x.data();
  double* const to = logs.data();
  const index_t count = logs.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) to[i] = log_entry(from[i]);
  });
}

}  // namespace corvane
