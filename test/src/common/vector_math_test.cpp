// SPDX-License-Identifier: BSD-3-Clause
#include "common/vector_math.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace corvane {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::vector<double> tangents(const std::vector<double>& x) {
  std::vector<double> result(x.size());
  const auto size = static_cast<index_t>(x.size());
  compute_tanh({x.data(), size}, {result.data(), size});
  return result;
}

// The distance from the exact value in units of its last place.
double error_in_ulp(double computed, double x) {
  const long double exact = std::tanh(static_cast<long double>(x));
  const double rounded = std::abs(static_cast<double>(exact));
  const double ulp = std::nextafter(rounded, infinity) - rounded;
  return std::abs(static_cast<double>(static_cast<long double>(computed) - exact)) / ulp;
}

TEST(vector_math, tanh_is_within_two_units_in_the_last_place_at_all_magnitudes) {
  static_assert(std::numeric_limits<long double>::digits > 60, "the oracle is more exact");
  std::mt19937_64 generator{1};
  std::uniform_real_distribution<double> mantissa{1.0, 2.0};
  for (int exponent = -1080; exponent < 1024; ++exponent) {
    std::vector<double> x(std::abs(exponent) < 8 ? 20000 : 50);
    for (std::size_t i = 0; i < x.size(); ++i)
      x[i] = std::ldexp(i % 2 == 0 ? mantissa(generator) : -mantissa(generator), exponent);
    const auto result = tangents(x);
    double worst = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i)
      worst = std::max(worst, error_in_ulp(result[i], x[i]));
    EXPECT_LE(worst, 2.0) << exponent;
  }
}

TEST(vector_math, tanh_is_continuous_where_its_formula_changes) {
  for (const double joint : {0.55, std::log(2.0) * 0.75, std::log(2.0) * 1.25, 20.0}) {
    std::vector<double> x(201, joint);
    for (std::size_t i = 0; i < 100; ++i) {
      x[101 + i] = std::nextafter(x[100 + i], infinity);
      x[99 - i] = std::nextafter(x[100 - i], 0.0);
    }
    const auto result = tangents(x);
    for (std::size_t i = 0; i < x.size(); ++i)
      EXPECT_LE(error_in_ulp(result[i], x[i]), 2.0) << x[i];
  }
}

TEST(vector_math, tanh_keeps_zeros_tiny_numbers_and_their_signs) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  const std::vector<double> x{0.0, -0.0, tiny, -tiny, 1e-300, -1e-10};
  const auto result = tangents(x);
  for (std::size_t i = 0; i < x.size(); ++i)
    EXPECT_EQ(std::bit_cast<std::uint64_t>(result[i]), std::bit_cast<std::uint64_t>(x[i]));
}

TEST(vector_math, tanh_saturates_at_one_and_passes_nan_on) {
  const auto result = tangents({infinity, -infinity, 1e308, -25.0,
                                std::numeric_limits<double>::quiet_NaN(), 20.0, 19.1});
  EXPECT_EQ(result[0], 1.0);
  EXPECT_EQ(result[1], -1.0);
  EXPECT_EQ(result[2], 1.0);
  EXPECT_EQ(result[3], -1.0);
  EXPECT_TRUE(std::isnan(result[4]));
  EXPECT_EQ(result[5], 1.0);
  EXPECT_EQ(result[6], 1.0);
}

TEST(vector_math, tanh_of_an_entry_does_not_depend_on_its_neighbours) {
  std::mt19937_64 generator{2};
  std::normal_distribution<double> normal;
  std::vector<double> x(37);
  for (double& entry : x) entry = normal(generator);
  const auto together = tangents(x);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_EQ(tangents({x[i]})[0], together[i]);
}

double sum_of_logs(double largest, const std::vector<double>& factors, std::size_t part) {
  log_sum sum{largest};
  for (std::size_t i = 0; i < factors.size(); i += part)
    sum.add({factors.data() + i, static_cast<index_t>(std::min(part, factors.size() - i))});
  return sum.total();
}

TEST(vector_math, the_log_sum_is_the_sum_of_the_logarithms) {
  std::mt19937_64 generator{3};
  for (const double largest : {1.0, 1.5, 40.0, 1e15, 1e160, 1e307}) {
    std::uniform_real_distribution<double> exponent{0.0, 1.0};
    std::vector<double> factors(5003);
    for (double& factor : factors) factor = std::pow(largest, exponent(generator));
    factors.front() = largest;
    long double exact = 0.0L;
    for (const double factor : factors) exact += std::log(static_cast<long double>(factor));
    const double rounding = 1e-15 * std::sqrt(5003.0) * (1.0 + std::log(largest));
    for (const std::size_t part : {std::size_t{512}, std::size_t{3}, factors.size()})
      EXPECT_NEAR(sum_of_logs(largest, factors, part), static_cast<double>(exact),
                  rounding + 1e-15 * static_cast<double>(exact))
          << largest << " " << part;
  }
}

TEST(vector_math, the_log_sum_of_nothing_is_zero_and_of_no_bound_is_not_finite) {
  EXPECT_EQ(sum_of_logs(3.0, {}, 8), 0.0);
  EXPECT_EQ(sum_of_logs(3.0, std::vector<double>(20, 1.0), 8), 0.0);
  EXPECT_FALSE(std::isfinite(sum_of_logs(infinity, std::vector<double>(20, infinity), 20)));
  EXPECT_TRUE(
      std::isnan(sum_of_logs(std::nan(""), std::vector<double>(20, std::nan("")), 20)));
}

}  // namespace
}  // namespace corvane
