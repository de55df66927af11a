// SPDX-License-Identifier: BSD-3-Clause
//
// That the ladder accepts what is a derivative, and above all that it rejects what is not.
#include "support/step_ladder.h"

#include <cmath>
#include <limits>

namespace corvane::testing {

namespace {

// Around t = 0: exp has every derivative, and |t|^3 a kink in its third.
std::vector<double> smooth_and_kinked(double t) {
  return {std::exp(t), std::abs(t) * t * t + t};
}

TEST(step_ladder, accepts_the_derivative_of_each_entry) {
  EXPECT_TRUE(is_derivative_of(smooth_and_kinked, {1.0, 1.0}, {}));
}

TEST(step_ladder, accepts_a_one_sided_derivative) {
  const auto ramp = [](double t) {
    return std::vector<double>{t < 0.0 ? std::sin(t) : std::sin(3.0 * t)};
  };
  EXPECT_TRUE(is_derivative_of(ramp, {3.0}, {.kind = difference::forward}));
  EXPECT_TRUE(is_derivative_of(ramp, {1.0}, {.kind = difference::backward}));
  EXPECT_FALSE(is_derivative_of(ramp, {3.0}, {}));
}

TEST(step_ladder, rejects_a_claim_that_is_wrong_in_the_eighth_digit) {
  EXPECT_FALSE(is_derivative_of(smooth_and_kinked, {1.0 + 1e-8, 1.0}, {}));
  EXPECT_FALSE(is_derivative_of(smooth_and_kinked, {1.0, 1.0 - 1e-8}, {}));
}

TEST(step_ladder, rejects_a_claim_that_is_not_a_number) {
  EXPECT_FALSE(is_derivative_of(smooth_and_kinked,
                                {std::numeric_limits<double>::quiet_NaN(), 1.0}, {}));
}

TEST(step_ladder, rejects_errors_that_fall_as_the_step_alone) {
  EXPECT_FALSE(falls_as_square_of_step(
      {{0.4, 0.4, 1e-9}, {0.2, 0.2, 1e-9}, {0.1, 0.1, 1e-9}, {0.05, 0.05, 1e-9}}));
}

TEST(step_ladder, tells_a_faster_fall_from_a_square_one) {
  const std::vector<rung> cubic{{0.4, 0.064, 1e-9}, {0.2, 0.008, 1e-9}, {0.1, 0.001, 1e-9}};
  EXPECT_FALSE(falls_as_square_of_step(cubic));
  EXPECT_TRUE(falls_as_square_of_step(cubic, expected_fall::square_or_faster));
}

}  // namespace

}  // namespace corvane::testing
