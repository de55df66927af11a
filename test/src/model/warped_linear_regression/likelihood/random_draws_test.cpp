// SPDX-License-Identifier: BSD-3-Clause
//
// Reference numbers: numpy 2, numpy.random.RandomState(0).randint(0, 2**32, size=200,
// dtype=numpy.uint32) gives the outputs w of MT19937 after init_genrand(0); from them in
// Python floats u = (w[0::2] + w[1::2] * 2.0**32) / 2.0**64, and the polar method over u.
#include "model/warped_linear_regression/likelihood/random_draws.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace corvane::model {
namespace {

constexpr std::array<std::uint32_t, 12> numpy_outputs{
    2357136044, 2546248239, 3071714933, 3626093760, 2588848963, 3684848379,
    2340255427, 3638918503, 1819583497, 2678185683, 2774094101, 1650906866};
constexpr std::array<double, 6> numpy_uniforms{0.5928446165166826, 0.8442657442565983,
                                               0.8579456199898299, 0.8472517373843312,
                                               0.6235636964961083, 0.3843817083737566};
constexpr std::array<double, 6> numpy_normals{1.1227949407889193,  0.3028052237074139,
                                              0.07085923768221188, 0.07304140205379003,
                                              -1.422325841843402,  1.5200694991087216};

TEST(random_draws, the_generator_gives_the_outputs_that_numpy_gives_for_seed_0) {
  std::mt19937 generator{0};
  for (const std::uint32_t expected : numpy_outputs) EXPECT_EQ(generator(), expected);
}

TEST(random_draws, a_uniform_draw_takes_two_outputs_the_low_half_first) {
  std::mt19937 generator{0};
  for (const double expected : numpy_uniforms) EXPECT_EQ(draw_uniform(generator), expected);
  std::mt19937 after_twelve{0};
  after_twelve.discard(12);
  EXPECT_EQ(generator, after_twelve);
}

TEST(random_draws, a_uniform_draw_stays_below_one) {
  EXPECT_EQ(unit_interval(0xffffffffU, 0xffffffffU), 0.9999999999999999);
  EXPECT_LT(unit_interval(0xffffffffU, 0xffffffffU), 1.0);
  EXPECT_EQ(unit_interval(0, 0), 0.0);
  EXPECT_EQ(unit_interval(0, 0x80000000U), 0.5);
}

TEST(random_draws, normal_draws_follow_the_polar_method) {
  std::mt19937 generator{0};
  normal_draws draws{generator};
  for (const double expected : numpy_normals)
    EXPECT_NEAR(draws.next(), expected, 1e-15 * std::abs(expected));
}

TEST(random_draws, the_second_draw_of_a_pair_does_not_touch_the_generator) {
  std::mt19937 generator{0};
  normal_draws draws{generator};
  draws.next();
  const std::mt19937 after_one = generator;
  draws.next();
  EXPECT_EQ(generator, after_one);
  draws.next();
  EXPECT_NE(generator, after_one);
}

TEST(random_draws, a_fresh_draw_state_has_no_spare) {
  std::mt19937 generator{0};
  normal_draws{generator}.next();
  EXPECT_NEAR(normal_draws{generator}.next(), numpy_normals[2], 1e-15);
}

TEST(random_draws, normal_draws_have_mean_zero_and_variance_one) {
  std::mt19937 generator{0};
  normal_draws draws{generator};
  double sum = 0.0;
  double squares = 0.0;
  constexpr int count = 20000;
  for (int i = 0; i < count; ++i) {
    const double draw = draws.next();
    sum += draw;
    squares += draw * draw;
  }
  EXPECT_NEAR(sum / count, 0.0, 4.0 / std::sqrt(count));
  EXPECT_NEAR(squares / count, 1.0, 4.0 * std::sqrt(2.0 / count));
}

}  // namespace
}  // namespace corvane::model
