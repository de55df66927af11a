// SPDX-License-Identifier: BSD-3-Clause
//
// exp(x), and log(1 + x) for x >= 0, as plain arithmetic without branches: a loop that
// calls them becomes vector instructions, and gives the same results on every machine. Both
// are within 2 units in the last place.
//
// With k whole and |r| <= ln(2) / 2,  exp(k ln 2 + r) = 2^k exp(r).  With m between 1/sqrt2
// and sqrt2, f = m - 1 and s = f / (2 + f),
//   log(2^k m) = k ln 2 + f - f^2 / 2 + s (f^2 / 2 + 2 (s^2 / 3 + s^4 / 5 + ...)),
// J.-M. Muller, Elementary Functions, 3rd ed. (2016), sections 10.2 and 11.4.
#pragma once

#include <bit>
#include <cstdint>

#include "common/finite.h"

namespace corvane {

namespace exponential_detail {

// ln 2 in two parts: products of the upper one, of 32 bits, with whole numbers below 2^20
// are exact.
inline constexpr double ln2_upper = 6.93147180369123816490e-01;
inline constexpr double ln2_lower = 1.90821492927058770002e-10;
// Adding 1.5 * 2^52 rounds to a whole number, which is then in the lowest bits.
inline constexpr double shifter = 6755399441055744.0;

// 2^k for whole k between -1022 and 1023
inline double power_of_two(double k) {
  return std::bit_cast<double>((std::bit_cast<std::uint64_t>(k + shifter) << 52U) +
                               std::bit_cast<std::uint64_t>(1.0));
}

}  // namespace exponential_detail

// Infinite from 709.79 on, zero below -745.2, and a NaN for a NaN.
inline double exponential(double x) {
  const double above = x > 710.0 ? 710.0 : x;
  const double bounded = above < -750.0 ? -750.0 : above;
  constexpr double one_over_ln2 = 1.4426950408889634;
  const double k =
      (bounded * one_over_ln2 + exponential_detail::shifter) - exponential_detail::shifter;
  const double r =
      (bounded - k * exponential_detail::ln2_upper) - k * exponential_detail::ln2_lower;
  // (exp(r) - 1 - r) / r^2, up to r^13 / 13!
  const double rr = r * r;
  const double even =
      ((((1.0 / 479001600.0 * rr + 1.0 / 3628800.0) * rr + 1.0 / 40320.0) * rr +
        1.0 / 720.0) *
           rr +
       1.0 / 24.0) *
          rr +
      1.0 / 2.0;
  const double odd =
      ((((1.0 / 6227020800.0 * rr + 1.0 / 39916800.0) * rr + 1.0 / 362880.0) * rr +
        1.0 / 5040.0) *
           rr +
       1.0 / 120.0) *
          rr +
      1.0 / 6.0;
  const double fraction = 1.0 + (r + rr * (even + r * odd));
  // In two factors: 2^k itself may be out of range where the product is not.
  const double half = (0.5 * k + exponential_detail::shifter) - exponential_detail::shifter;
  return fraction * exponential_detail::power_of_two(half) *
         exponential_detail::power_of_two(k - half);
}

// For x >= 0. Infinite for an infinite x, and a NaN for a NaN.
inline double log_of_one_plus(double x) {
  const double u = 1.0 + x;
  const double lost = x < 1.0 ? x - (u - 1.0) : 1.0 - (u - x);  // what u has rounded off
  constexpr auto one = std::bit_cast<std::uint64_t>(1.0);
  constexpr auto root_of_half = std::bit_cast<std::uint64_t>(0.70710678118654752440);
  const auto bits = std::bit_cast<std::uint64_t>(u);
  const std::uint64_t exponent = (bits + (one - root_of_half)) >> 52U;  // k + 1023
  const double f = std::bit_cast<double>(bits - (exponent << 52U) + one) - 1.0;
  constexpr std::uint64_t two_to_52 = 0x4330000000000000U;
  const double k =
      std::bit_cast<double>(exponent | two_to_52) - (4503599627370496.0 + 1023.0);
  const double s = f / (2.0 + f);
  const double z = s * s;
  const double tail =
      z *
      (2.0 / 3.0 +
       z * (2.0 / 5.0 +
            z * (2.0 / 7.0 +
                 z * (2.0 / 9.0 + z * (2.0 / 11.0 +
                                       z * (2.0 / 13.0 +
                                            z * (2.0 / 15.0 +
                                                 z * (2.0 / 17.0 + z * (2.0 / 19.0)))))))));
  const double half_square = 0.5 * f * f;
  const double small =
      s * (half_square + tail) + (k * exponential_detail::ln2_lower + lost / u);
  const double log = k * exponential_detail::ln2_upper + (f - (half_square - small));
  return x > largest_double ? x : log;
}

}  // namespace corvane
