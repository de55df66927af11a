// SPDX-License-Identifier: BSD-3-Clause
#include "common/compensated_sum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

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
  EXPECT_EQ(compensated_mean({terms.data(), 4}), 0.5);
}

}  // namespace
}  // namespace corvane
