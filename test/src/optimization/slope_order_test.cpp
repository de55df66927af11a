// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/slope_order.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace corvane {

namespace {

std::vector<index_t> order_of(const std::vector<double>& slopes) {
  std::vector<index_t> order(slopes.size());
  order_by_slope({slopes.data(), static_cast<index_t>(slopes.size())}, order.data());
  return order;
}

using places = std::vector<index_t>;

TEST(slope_order, takes_the_steepest_first_whether_up_or_down) {
  EXPECT_EQ(order_of({0.5, -3.0, 0.0, 2.0}), (places{1, 3, 0, 2}));
}

TEST(slope_order, leaves_equal_slopes_in_their_order) {
  EXPECT_EQ(order_of({1.0, 2.0, -1.0, 1.0, -2.0}), (places{1, 4, 0, 2, 3}));
}

TEST(slope_order, leaves_all_in_their_order_where_one_is_not_finite) {
  EXPECT_EQ(order_of({1.0, std::numeric_limits<double>::quiet_NaN(), 2.0}),
            (places{0, 1, 2}));
  EXPECT_EQ(order_of({1.0, 3.0, std::numeric_limits<double>::infinity()}),
            (places{0, 1, 2}));
}

TEST(slope_order, of_nothing_is_nothing) { EXPECT_EQ(order_of({}), places{}); }

}  // namespace

}  // namespace corvane
