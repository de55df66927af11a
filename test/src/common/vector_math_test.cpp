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

// 1 - tanh^2 = 1 / cosh^2
TEST(vector_math, the_complement_of_tanh_keeps_its_digits_where_the_tangent_is_one) {
  std::mt19937_64 generator{4};
  std::uniform_real_distribution<double> uniform{-1.0, 1.0};
  for (const double range : {1e-300, 1e-8, 0.3, 0.6, 3.0, 20.0, 60.0, 299.0}) {
    std::vector<double> x(2000);
    for (double& entry : x) entry = range * uniform(generator);
    std::vector<double> t(x.size());
    std::vector<double> complement(x.size());
    const auto size = static_cast<index_t>(x.size());
    compute_tanh({x.data(), size}, {t.data(), size}, {complement.data(), size});
    EXPECT_EQ(t, tangents(x));
    for (std::size_t i = 0; i < x.size(); ++i) {
      const long double cosine = std::cosh(static_cast<long double>(x[i]));
      const auto exact = static_cast<double>(1.0L / (cosine * cosine));
      EXPECT_NEAR(complement[i], exact, 4.0 * 2.220446049250313e-16 * exact) << x[i];
    }
  }
}

TEST(vector_math, the_complement_of_tanh_vanishes_far_out_and_passes_nan_on) {
  const std::vector<double> x{infinity, -infinity, 1e9, -301.0, std::nan("")};
  std::vector<double> t(x.size());
  std::vector<double> complement(x.size());
  compute_tanh({x.data(), 5}, {t.data(), 5}, {complement.data(), 5});
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(complement[i], 0.0);
  EXPECT_TRUE(std::isnan(complement[4]));
}

std::vector<double> logarithms(const std::vector<double>& x) {
  std::vector<double> result(x.size());
  const auto size = static_cast<index_t>(x.size());
  compute_log({x.data(), size}, {result.data(), size});
  return result;
}

TEST(vector_math, log_is_within_two_units_in_the_last_place_at_all_magnitudes) {
  std::mt19937_64 generator{3};
  std::uniform_real_distribution<double> mantissa{1.0, 2.0};
  const auto expect_close = [](const std::vector<double>& x) {
    const auto result = logarithms(x);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const long double exact = std::log(static_cast<long double>(x[i]));
      const auto rounded = static_cast<double>(exact);
      const double ulp = std::nextafter(rounded, infinity) - rounded;
      const auto error = std::abs(static_cast<long double>(result[i]) - exact);
      EXPECT_LE(static_cast<double>(error), 2.0 * ulp) << x[i];
    }
  };
  for (int exponent = 0; exponent < 1024; ++exponent) {
    std::vector<double> x(exponent < 4 ? 5000 : 50);
    for (double& entry : x) entry = std::ldexp(mantissa(generator), exponent);
    expect_close(x);
  }
  for (const double joint : {1.0, std::sqrt(2.0), 2.0, 2.0 * std::sqrt(2.0)}) {
    std::vector<double> x{joint};
    for (int i = 0; i < 100; ++i) x.push_back(std::nextafter(x.back(), infinity));
    x.push_back(std::max(1.0, std::nextafter(joint, 0.0)));
    expect_close(x);
  }
}

TEST(vector_math, log_of_one_is_zero_and_what_is_not_finite_passes_through) {
  const auto result =
      logarithms({1.0, infinity, std::nan(""), std::numeric_limits<double>::max(), 1.0});
  EXPECT_EQ(result[0], 0.0);
  EXPECT_EQ(result[1], infinity);
  EXPECT_TRUE(std::isnan(result[2]));
  EXPECT_DOUBLE_EQ(result[3], std::log(std::numeric_limits<double>::max()));
  EXPECT_EQ(result[4], 0.0);
}

}  // namespace
}  // namespace corvane
