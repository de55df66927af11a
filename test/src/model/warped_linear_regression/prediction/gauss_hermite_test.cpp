// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/prediction/gauss_hermite.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace corvane::model {
namespace {

const double root_pi = std::sqrt(std::acos(-1.0));

// numpy.polynomial.hermite.hermgauss(21) of numpy 2: the nodes from the middle on, and
// their weights.
constexpr std::array<double, 11> numpy_nodes{0.0,
                                             0.47945070707910753,
                                             0.961499634418369,
                                             1.448934250650732,
                                             1.9449629491862537,
                                             2.453552124512838,
                                             2.979991207704598,
                                             3.5319728771376777,
                                             4.12199554749184,
                                             4.773992343411219,
                                             5.550351873264678};
constexpr std::array<double, 11> numpy_weights{
    0.47902370312017756,   0.3816690736135022,   0.19212032406699775,
    0.0601796466589123,    0.011414065837434397, 0.0012549820417264088,
    7.478398867310063e-05, 2.17188489805667e-06, 2.5712301800593154e-08,
    8.818611242049933e-11, 3.720365070136023e-14};

TEST(gauss_hermite, the_21_point_rule_is_that_of_numpy) {
  const gauss_hermite_rule rule{21};
  for (index_t k = 0; k < 11; ++k) {
    const auto entry = static_cast<std::size_t>(k);
    EXPECT_NEAR(rule.nodes()[10 + k], numpy_nodes[entry],
                1e-15 * (1.0 + numpy_nodes[entry]));
    EXPECT_NEAR(rule.nodes()[10 - k], -numpy_nodes[entry],
                1e-15 * (1.0 + numpy_nodes[entry]));
    EXPECT_NEAR(rule.weights()[10 + k] / numpy_weights[entry], 1.0, 1e-14);
    EXPECT_NEAR(rule.weights()[10 - k] / numpy_weights[entry], 1.0, 1e-14);
  }
}

TEST(gauss_hermite, one_point_is_zero_and_has_all_the_weight) {
  const gauss_hermite_rule rule{1};
  ASSERT_EQ(rule.count(), 1);
  EXPECT_EQ(rule.nodes()[0], 0.0);
  EXPECT_FALSE(std::signbit(rule.nodes()[0]));
  EXPECT_DOUBLE_EQ(rule.weights()[0], root_pi);
}

TEST(gauss_hermite, the_weights_of_each_rule_sum_to_the_root_of_pi) {
  for (index_t count = 1; count <= 50; ++count) {
    double sum = 0.0;
    const gauss_hermite_rule rule{count};
    for (const double weight : rule.weights()) sum += weight;
    EXPECT_NEAR(sum, root_pi, 1e-15 * 4.0) << count;
  }
}

TEST(gauss_hermite, nodes_ascend_and_interlace_with_those_of_the_rule_before) {
  for (index_t count = 2; count <= 50; ++count) {
    const gauss_hermite_rule rule{count};
    const gauss_hermite_rule before{count - 1};
    ASSERT_EQ(rule.count(), count);
    for (index_t k = 0; k + 1 < count; ++k) {
      EXPECT_LT(rule.nodes()[k], before.nodes()[k]) << count;
      EXPECT_LT(before.nodes()[k], rule.nodes()[k + 1]) << count;
    }
  }
}

// The integral of x^(2k) exp(-x^2) is Gamma(k + 1/2). In the highest moments the outermost
// nodes, with weights down to 1e-37, contribute nearly all of the sum.
TEST(gauss_hermite, every_rule_is_exact_for_polynomials_below_twice_its_count) {
  for (index_t count = 1; count <= 50; ++count) {
    const gauss_hermite_rule rule{count};
    for (index_t k = 0; k < count; ++k) {
      long double sum = 0.0L;
      for (index_t j = 0; j < count; ++j)
        sum += static_cast<long double>(rule.weights()[j]) *
               std::pow(static_cast<long double>(rule.nodes()[j]),
                        2.0L * static_cast<long double>(k));
      const long double exact = std::tgamma(static_cast<long double>(k) + 0.5L);
      // A node is rounded to 2^-53, and its 2 k-th power magnifies that.
      const double rounding = 1.2e-16 * (2.0 + 2.0 * static_cast<double>(k));
      EXPECT_NEAR(static_cast<double>(sum / exact), 1.0, rounding)
          << count << " power " << 2 * k;
    }
  }
}

TEST(gauss_hermite, a_count_above_50_gives_the_50_point_rule) {
  const gauss_hermite_rule largest{50};
  for (const index_t count : {51, 1000}) {
    const gauss_hermite_rule rule{count};
    ASSERT_EQ(rule.count(), 50);
    for (index_t k = 0; k < 50; ++k) EXPECT_EQ(rule.nodes()[k], largest.nodes()[k]);
  }
}

TEST(gauss_hermite, a_rule_without_points_is_refused) {
  EXPECT_THROW(gauss_hermite_rule{0}, std::invalid_argument);
  EXPECT_THROW(gauss_hermite_rule{-2}, std::invalid_argument);
}

}  // namespace
}  // namespace corvane::model
