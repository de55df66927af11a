// SPDX-License-Identifier: BSD-3-Clause
#include "common/column_moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "common/finite.h"

namespace corvane {
namespace {

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

TEST(column_moments, are_those_of_wider_arithmetic_for_any_count) {
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

TEST(column_moments, the_mean_of_equal_values_is_that_value) {
  for (const double value : {0.1, 1.0 / 3.0, -1.7e308})
    for (const std::size_t size : {1U, 3U, 49U})
      EXPECT_EQ(mean_of(view_of(numbers(size, value))), value);
}

TEST(column_moments, compensated_ones_keep_what_the_order_of_the_values_changes) {
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

TEST(column_moments, what_overflows_is_not_finite) {
  const numbers large{1.7e308, 1.6e308, -1.0};
  EXPECT_FALSE(is_finite(mean_of(view_of(large))));
  EXPECT_FALSE(is_finite(sum_squares_about(0.0, view_of(large))));
  EXPECT_FALSE(is_finite(compensated_squares_about(0.0, view_of(large))));
}

}  // namespace
}  // namespace corvane
