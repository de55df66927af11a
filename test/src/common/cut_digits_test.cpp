// SPDX-License-Identifier: BSD-3-Clause
#include "common/cut_digits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace corvane {
namespace {

std::vector<double> cut(std::vector<double> values, int digits) {
  cut_digits({values.data(), static_cast<index_t>(values.size())}, digits);
  return values;
}

using numbers = std::vector<double>;

TEST(cut_digits, rounds_to_the_nearest_multiple_and_an_even_one_in_the_middle) {
  EXPECT_EQ(cut({0.3, -0.3, 1.0, 0.0, 0.124, 0.126}, 2),
            (numbers{0.25, -0.25, 1.0, 0.0, 0.0, 0.25}));
  EXPECT_EQ(cut({0.125, 0.375, -0.125, -0.375}, 2), (numbers{0.0, 0.5, -0.0, -0.5}));
}

TEST(cut_digits, a_negative_number_of_digits_leaves_tens_of_binary_places) {
  EXPECT_EQ(cut({1000.0, 1023.0, 37.0}, -10), (numbers{1024.0, 1024.0, 0.0}));
}

TEST(cut_digits, equals_division_rounding_and_multiplication) {
  for (const int digits : {0, 8, 32, 40})
    for (double x = 1e-12; x < 100.0; x *= 1.37) {
      const double multiple = std::ldexp(1.0, -digits);
      EXPECT_EQ(cut({x, -x}, digits), (numbers{std::nearbyint(x / multiple) * multiple,
                                               -std::nearbyint(x / multiple) * multiple}))
          << x << " to " << digits;
    }
}

TEST(cut_digits, makes_numbers_equal_that_differ_in_their_last_digits) {
  EXPECT_EQ(cut({1.0 / 3.0}, 32), cut({1.0 / 3.0 + 1e-15}, 32));
}

TEST(cut_digits, leaves_numbers_alone_that_have_no_such_digits) {
  const numbers large{1e9 + 0.1, 0.1};
  EXPECT_EQ(cut(large, 32), large);
  EXPECT_EQ(cut({1e300, 0.1}, -2000), (numbers{1e300, 0.1}));
  EXPECT_EQ(cut({0.1}, 2000), (numbers{0.1}));
}

}  // namespace
}  // namespace corvane
