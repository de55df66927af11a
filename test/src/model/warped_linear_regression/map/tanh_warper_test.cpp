// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/tanh_target_warper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/warped_linear_regression/inverse/root_solver.h"
#include "src/model/warped_linear_regression/warped_test_data.h"
#include "support/step_ladder.h"

namespace corvane::model {
namespace {

using warped_testing::normal_vector;
using warped_testing::view;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::unique_ptr<target_warper> make(const std::vector<double>& theta,
                                    const std::vector<double>& y, double shift = 0.0,
                                    double scale = 1.0) {
  const auto family =
      make_tanh_target_warper_descriptor(static_cast<index_t>(theta.size()) / 3);
  return family->make_warper(dense_vector{view(theta)}, view(y), shift, scale);
}

std::vector<double> latents_of(const target_warper& warper, const std::vector<double>& y) {
  std::vector<double> latent(y.size());
  warper.compute_latent(view(y), view(latent));
  return latent;
}

std::vector<double> inverse_of(const target_warper& warper,
                               const std::vector<double>& latent, double tolerance) {
  std::vector<double> y(latent.size());
  warper.invert(view(latent), view(y), tolerance);
  return y;
}

const std::vector<double> three_steps{1.2, 0.9, 0.3, -0.6, 2.1, -0.8, 0.4, 0.5, 0.0};

TEST(tanh_warper, keeps_parameters_and_training_latents) {
  const auto y = normal_vector(300, 1);
  const auto warper = make(three_steps, y);
  EXPECT_EQ((std::vector<double>{warper->parameters().begin(), warper->parameters().end()}),
            three_steps);
  const auto plain = warped_testing::warp(three_steps, y);
  for (index_t i = 0; i < 300; ++i)
    EXPECT_NEAR(warper->training_latents()[i], plain.latent[static_cast<std::size_t>(i)],
                1e-14);
}

TEST(tanh_warper, maps_its_training_targets_to_its_training_latents) {
  const auto y = normal_vector(300, 1);
  const auto warper = make(three_steps, y);
  const auto latent = latents_of(*warper, y);
  for (index_t i = 0; i < 300; ++i)
    EXPECT_NEAR(latent[static_cast<std::size_t>(i)], warper->training_latents()[i], 1e-15);
}

TEST(tanh_warper, the_derivative_is_that_of_the_latent_in_the_raw_target) {
  for (const double scale : {1.0, 0.01, 250.0}) {
    const auto warper = make(three_steps, normal_vector(50, 2), 3.0, scale);
    const std::vector<double> raw{3.0 - 2.0 * scale, 3.0, 3.0 + 0.4 * scale};
    std::vector<double> latent(3);
    std::vector<double> derivative(3);
    warper->compute_latent_with_derivative(view(raw), view(latent), view(derivative));
    EXPECT_EQ(latent, latents_of(*warper, raw));
    for (std::size_t i = 0; i < 3; ++i)
      EXPECT_TRUE(testing::is_derivative_of(
          [&](double t) { return latents_of(*warper, {raw[i] + t}); }, {derivative[i]},
          {.first_step = 0.1 * scale, .noise = 1e-13}));
  }
}

TEST(tanh_warper, a_scale_divides_the_derivative_and_does_not_multiply_the_latent) {
  const auto y = normal_vector(50, 2);
  const auto standard = make(three_steps, y);
  const auto scaled = make(three_steps, y, 10.0, 4.0);
  std::vector<double> plain_latent(1);
  std::vector<double> plain_derivative(1);
  std::vector<double> latent(1);
  std::vector<double> derivative(1);
  standard->compute_latent_with_derivative(view(std::vector<double>{0.5}),
                                           view(plain_latent), view(plain_derivative));
  scaled->compute_latent_with_derivative(view(std::vector<double>{12.0}), view(latent),
                                         view(derivative));
  EXPECT_EQ(latent[0], plain_latent[0]);
  EXPECT_EQ(derivative[0], plain_derivative[0] / 4.0);
}

TEST(tanh_warper, invert_undoes_compute_latent_over_twelve_decades_of_target_scale) {
  const auto standardized = normal_vector(10000, 4);
  for (double scale = 1e-6; scale < 2e6; scale *= 10.0)
    for (const auto& theta :
         {three_steps, {20.0, 6.0, 0.1}, {1e-3, 30.0, 0.0}, {0.5, 0.01, 2.0}}) {
      const auto warper = make(theta, standardized, 0.25 * scale, scale);
      std::vector<double> raw = standardized;
      for (double& value : raw) value = value * scale + 0.25 * scale;
      const auto latent = latents_of(*warper, raw);
      const auto back = inverse_of(*warper, latent, 1e-12);
      double worst = 0.0;
      for (std::size_t i = 0; i < raw.size(); ++i)
        // The slope is at least 1: an error in the latent is no smaller than in the target.
        worst = std::max(worst,
                         std::abs(back[i] - raw[i]) / scale / (1.0 + std::abs(latent[i])));
      EXPECT_LT(worst, 2e-12) << "scale " << scale << " alpha " << theta[0];
    }
}

TEST(tanh_warper, invert_of_an_empty_vector_is_empty) {
  EXPECT_TRUE(inverse_of(*make(three_steps, {1.0, 2.0}), {}, 1e-5).empty());
}

TEST(tanh_warper, invert_of_latents_that_all_equal_that_of_zero_gives_zero) {
  const auto warper = make(three_steps, normal_vector(50, 2));
  const double at_zero = latents_of(*warper, {0.0})[0];
  EXPECT_EQ(inverse_of(*warper, {at_zero, at_zero, at_zero}, 1e-5),
            (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(tanh_warper, invert_without_steps_is_the_identity_in_raw_units) {
  const auto warper = make({}, {1.0, 2.0}, 5.0, 2.0);
  const auto raw = inverse_of(*warper, {-1.0, 0.0, 0.5}, 1e-12);
  EXPECT_NEAR(raw[0], 3.0, 1e-11);
  EXPECT_NEAR(raw[1], 5.0, 1e-11);
  EXPECT_NEAR(raw[2], 6.0, 1e-11);
}

TEST(tanh_warper, a_latent_that_is_not_finite_cannot_be_inverted) {
  const auto warper = make(three_steps, normal_vector(50, 2));
  for (const double bad : {nan, infinity, -infinity})
    EXPECT_THROW(inverse_of(*warper, {0.1, bad}, 1e-5), std::runtime_error);
}

TEST(tanh_warper, any_finite_latent_is_inverted_as_closely_as_doubles_allow) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  const double largest = std::numeric_limits<double>::max();
  const std::vector<std::vector<double>> cases{
      {1e308},      {-1e308, 1e308}, {largest},       {-largest, 0.0, largest},
      {tiny},       {-tiny, tiny},   {1e-300, 1e300}, {1e-17},
      {-1e17, 1e-9}};
  const auto y = normal_vector(50, 2);
  for (const auto& theta : {three_steps, {300.0, 30.0, 0.01}, {1.0, 900.0, 0.0}})
    for (const auto& latent : cases) {
      const auto warper = make(theta, y);
      const auto found = inverse_of(*warper, latent, 1e-5);
      const auto below = latents_of(*warper, {std::nextafter(found[0], -infinity)})[0];
      const auto above = latents_of(*warper, {std::nextafter(found[0], infinity)})[0];
      const double residual = std::abs(latents_of(*warper, found)[0] - latent[0]);
      const double resolution =
          std::max(std::abs(above - latent[0]), std::abs(below - latent[0]));
      EXPECT_TRUE(residual <= 1e-5 * std::abs(latent[0]) || residual <= resolution)
          << latent[0] << " alpha " << theta[0];
    }
}

TEST(tanh_warper, a_tolerance_below_the_spacing_of_doubles_gives_the_closest_double) {
  const auto y = normal_vector(50, 2);
  const auto warper = make({30.0, 30.0, 0.5}, y);  // a slope of nearly a million
  const std::vector<double> latent{0.7, -300.0, 412.0};
  const auto found = inverse_of(*warper, latent, 1e-17);
  for (std::size_t i = 0; i < latent.size(); ++i) {
    const auto residual = [&](double x) {
      return std::abs(latents_of(*warper, {x})[0] - latent[i]);
    };
    EXPECT_LE(residual(found[i]), residual(std::nextafter(found[i], -infinity)));
    EXPECT_LE(residual(found[i]), residual(std::nextafter(found[i], infinity)));
  }
}

TEST(tanh_warper, a_tolerance_that_nothing_can_meet_passes_the_solver_failure_on) {
  const auto warper = make(three_steps, normal_vector(50, 2));
  EXPECT_THROW(inverse_of(*warper, {0.3}, 0.0), solver_max_iterations_exceeded_error);
  EXPECT_THROW(inverse_of(*warper, {0.3}, nan), solver_max_iterations_exceeded_error);
}

TEST(tanh_warper, a_target_beyond_the_range_of_double_is_reported) {
  const auto warper = make({}, {1.0}, 0.0, 1e10);
  EXPECT_THROW(inverse_of(*warper, {1e300}, 1e-5), std::runtime_error);
}

TEST(tanh_warper, rejects_unusable_parameters_and_says_what_was_expected) {
  const auto message = [](const std::vector<double>& theta, const std::vector<double>& y) {
    const auto family = make_tanh_target_warper_descriptor(1);
    try {
      family->make_warper(dense_vector{view(theta)}, view(y));
    } catch (const std::invalid_argument& error) {
      return std::string{error.what()};
    }
    return std::string{"accepted"};
  };
  EXPECT_EQ(message({1.0, 2.0}, {1.0}), "theta has 2 parameters, expected 3");
  EXPECT_EQ(message({1.0, 2.0, 3.0, 4.0}, {1.0}), "theta has 4 parameters, expected 3");
  EXPECT_EQ(message({1.0, nan, 0.0}, {1.0}), "theta holds a value that is not finite");
  EXPECT_EQ(message({1.0, 1e200, 0.0}, {1.0}), "theta is too large: the map overflows");
  EXPECT_EQ(message({1.0, 1.0, 0.0}, {}), "the training targets are empty");
  EXPECT_EQ(message({1.0, 1.0, 0.0}, {infinity}),
            "the training targets hold a value that is not finite");
  EXPECT_EQ(message({1.0, 1.0, 0.0}, {1.0}), "accepted");
}

TEST(tanh_warper, without_shift_and_scale_it_takes_standardized_targets) {
  const auto family = make_tanh_target_warper_descriptor(1);
  const std::vector<double> theta{1.0, 2.0, 0.5};
  const auto y = normal_vector(20, 8);
  const auto plain = family->make_warper(dense_vector{view(theta)}, view(y));
  EXPECT_EQ(latents_of(*plain, y), latents_of(*make(theta, y, 0.0, 1.0), y));
}

}  // namespace
}  // namespace corvane::model
