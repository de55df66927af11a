// SPDX-License-Identifier: BSD-3-Clause
#include "common/compensated_sum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/finite.h"

namespace corvane {
namespace {

double total_of(const std::vector<double>& terms) {
  return compensated_total({terms.data(), static_cast<index_t>(terms.size())});
}

TEST(compensated_sum, of_1e16_and_1_and_minus_1e16_is_exactly_1) {
  EXPECT_EQ(total_of({1e16, 1.0, -1e16}), 1.0);
}

TEST(compensated_sum, keeps_a_large_sum_that_arrives_after_a_small_one) {
  EXPECT_EQ(total_of({1.0, 1e100, 1.0, -1e100}), 2.0);
}

TEST(compensated_sum, keeps_what_cancels_within_a_lane_and_between_lanes) {
  for (const std::size_t n : {3U, 48U, 50U}) {
    std::vector<double> terms(n, 0.0);
    terms[0] = 1e16;
    terms[1] = 1.0;
    terms[n - 1] = -1e16;
    EXPECT_EQ(total_of(terms), 1.0) << n;
  }
}

TEST(compensated_sum, of_nothing_is_zero) { EXPECT_EQ(total_of({}), 0.0); }

TEST(compensated_sum, of_one_term_is_the_term) {
  EXPECT_EQ(total_of({0.1}), 0.1);
  EXPECT_TRUE(std::isnan(total_of({std::numeric_limits<double>::quiet_NaN()})));
}

TEST(compensated_sum, of_many_small_terms_on_a_large_one_loses_none) {
  std::vector<double> terms(4097, 0x1p-40);
  terms[0] = 0x1p13;  // each term alone vanishes against half a unit in its last place
  EXPECT_EQ(total_of(terms), 0x1p13 + 0x1p-28);
}

// The terms are multiples of 2^-20 below 2^33, so that integers hold their exact sum.
TEST(compensated_sum, is_the_rounded_exact_sum_of_terms_of_different_size) {
  std::mt19937_64 generator{7};
  std::uniform_int_distribution<std::int64_t> mantissas{-1000, 1000};
  std::uniform_int_distribution<int> shifts{0, 40};
  std::vector<double> terms;
  std::int64_t exact = 0;
  for (int i = 0; i < 500; ++i) {
    const std::int64_t units =
        mantissas(generator) * (std::int64_t{1} << shifts(generator));
    exact += units;
    terms.push_back(std::ldexp(static_cast<double>(units), -20));
  }
  EXPECT_EQ(total_of(terms), std::ldexp(static_cast<double>(exact), -20));
}

TEST(compensated_sum, the_mean_divides_by_the_count) {
  const std::vector<double> terms = {1e16, 1.0, -1e16, 1.0};
  EXPECT_EQ(mean_of({terms.data(), 4}), 0.5);
  EXPECT_EQ(mean_of({terms.data(), 0}), 0.0);
}

using numbers = std::vector<double>;

const_vector_view view_of(const numbers& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

numbers drawn(std::size_t size, double center, unsigned seed = 1) {
  std::mt19937 generator{seed};
  std::normal_distribution<double> normal{center, 1.0};
  numbers values(size);
  std::generate(values.begin(), values.end(), [&] { return normal(generator); });
  return values;
}

long double exact_squares_about(double center, const numbers& values) {
  long double sum = 0.0L;
  for (const double value : values) {
    const long double distance =
        static_cast<long double>(value) - static_cast<long double>(center);
    sum += distance * distance;
  }
  return sum;
}

TEST(compensated_sum, moments_are_those_of_wider_arithmetic_for_any_count) {
  for (const std::size_t size : {1U, 2U, 7U, 8U, 9U, 64U, 1000U, 100001U})
    for (const double center : {0.0, 1e6}) {
      const numbers values = drawn(size, center);
      long double sum = 0.0L;
      for (const double value : values) sum += static_cast<long double>(value);
      const auto mean = static_cast<double>(sum / static_cast<long double>(size));
      EXPECT_NEAR(mean_of(view_of(values)), mean, double_epsilon * std::abs(mean)) << size;
      const auto squares = static_cast<double>(exact_squares_about(center + 0.5, values));
      EXPECT_NEAR(compensated_squares_about(center + 0.5, view_of(values)), squares,
                  2.0 * double_epsilon * squares);
      EXPECT_NEAR(sum_squares_about(center + 0.5, view_of(values)), squares,
                  1e-12 * squares);
    }
}

TEST(compensated_sum, the_mean_of_equal_values_is_that_value) {
  for (const double value : {0.1, 1.0 / 3.0, -1.7e308})
    for (const std::size_t size : {1U, 3U, 49U})
      EXPECT_EQ(mean_of(view_of(numbers(size, value))), value);
}

TEST(compensated_sum, does_not_depend_on_the_order_of_the_values) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    numbers values = drawn(5000, 0.0, seed);
    const double mean = mean_of(view_of(values));
    const double squares = compensated_squares_about(0.3, view_of(values));
    std::shuffle(values.begin(), values.end(), std::mt19937{seed});
    EXPECT_NEAR(mean_of(view_of(values)), mean, 1e-19);
    EXPECT_NEAR(compensated_squares_about(0.3, view_of(values)), squares,
                double_epsilon * squares);
  }
}

TEST(compensated_sum, what_overflows_is_not_finite) {
  const numbers large{1.7e308, 1.6e308, -1.0};
  EXPECT_FALSE(is_finite(mean_of(view_of(large))));
  EXPECT_FALSE(is_finite(sum_squares_about(0.0, view_of(large))));
  EXPECT_FALSE(is_finite(compensated_squares_about(0.0, view_of(large))));
}

}  // namespace
}  // namespace corvane
