// SPDX-License-Identifier: BSD-3-Clause
#include "common/finite.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace corvane {
namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(finite, the_constants_are_the_documented_numbers) {
  EXPECT_EQ(largest_double, 1.7976931348623157e308);
  EXPECT_EQ(double_epsilon, 2.220446049250313e-16);
  EXPECT_EQ(double_epsilon, 0x1p-52);
}

TEST(finite, the_largest_double_is_finite_and_infinities_and_nan_are_not) {
  for (const double x : {0.0, -1.0, 5e-324, largest_double, -largest_double})
    EXPECT_TRUE(is_finite(x)) << x;
  for (const double x : {inf, -inf, nan}) EXPECT_FALSE(is_finite(x)) << x;
}

TEST(finite, one_bad_element_anywhere_makes_an_array_not_finite) {
  for (const double bad : {inf, -inf, nan})
    for (std::size_t where = 0; where < 6; ++where) {
      std::vector<double> values(6, 1.0);
      EXPECT_TRUE(all_finite(const_vector_view{values.data(), 6}));
      values[where] = bad;
      EXPECT_FALSE(all_finite(const_vector_view{values.data(), 6}));
      EXPECT_FALSE(all_finite(const_matrix_view{values.data(), 2, 3}));
    }
}

TEST(finite, a_symmetric_matrix_is_judged_by_its_stored_triangle) {
  std::vector<double> values(9, 1.0);
  const symmetric_view a{values.data(), 3, 3};
  values[1 * 3 + 0] = nan;  // above the diagonal: not stored
  EXPECT_TRUE(all_finite(const_symmetric_view{a}));
  a(2, 1) = nan;
  EXPECT_FALSE(all_finite(const_symmetric_view{a}));
}

TEST(finite, an_empty_array_is_finite) {
  EXPECT_TRUE(all_finite(const_vector_view{}));
  EXPECT_TRUE(all_finite(const_symmetric_view{}));
}

}  // namespace
}  // namespace corvane
