// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"
#include "support/step_ladder.h"

namespace corvane::model {
namespace {

using testing::is_derivative_of;
using warped_testing::normal_vector;
using warped_testing::view;

// All that the family says at one theta, from the separate operations.
struct family_point {
  family_point(const std::vector<double>& theta, const std::vector<double>& y)
      : latent(y.size()),
        jacobian(static_cast<index_t>(y.size()), static_cast<index_t>(theta.size())),
        gradient(theta.size()),
        latent_hessian(static_cast<index_t>(y.size()),
                       2 * static_cast<index_t>(theta.size())),
        hessian(static_cast<index_t>(theta.size()), static_cast<index_t>(theta.size())) {
    const auto family =
        make_tanh_target_warper_descriptor(static_cast<index_t>(theta.size()) / 3);
    family->compute_latent(view(theta), view(y), log_jacobian, view(latent));
    family->compute_latent_with_gradient(view(theta), view(y), view(latent), jacobian,
                                         view(gradient));
    family->compute_latent_with_hessian(view(theta), view(y), view(latent), jacobian,
                                        latent_hessian, hessian);
  }

  double log_jacobian = 0.0;
  std::vector<double> latent;
  dense_matrix jacobian;
  std::vector<double> gradient;
  dense_matrix latent_hessian;
  symmetric_matrix hessian;
};

std::vector<double> moved(std::vector<double> theta, std::size_t j, double t) {
  theta[j] += t;
  return theta;
}

std::vector<double> column(const dense_matrix& matrix, index_t j) {
  const const_vector_view entries = matrix.view().column(j);
  return {entries.begin(), entries.end()};
}

// Targets for which the steps are neither flat nor saturated everywhere.
std::vector<double> targets_for(const std::vector<double>& theta, index_t count) {
  double steepest = 1.0;
  for (std::size_t k = 1; k < theta.size(); k += 3)
    steepest = std::max(steepest, theta[k] * theta[k]);
  std::vector<double> y = normal_vector(count, 7);
  for (double& value : y) value /= steepest;
  return y;
}

// One to five steps, with parameters from 1e-3 to 30; the position follows the steepness,
// so that the step lies among the targets.
std::vector<std::vector<double>> points() {
  std::vector<std::vector<double>> all;
  for (const double size : {1e-3, 0.1, 1.0, 5.0, 30.0})
    for (std::size_t steps = 1; steps <= 5; ++steps) {
      std::vector<double> theta;
      for (std::size_t k = 0; k < steps; ++k) {
        const double beta = size * (1.0 + 0.1 * static_cast<double>(k));
        theta.push_back(size * (k % 2 == 0 ? 1.0 : -0.7));
        theta.push_back(k % 3 == 0 ? beta : -beta);
        theta.push_back((0.3 - 0.2 * static_cast<double>(k)) / std::max(1.0, beta * beta));
      }
      all.push_back(theta);
    }
  return all;
}

// Steps in the parameter short against the length on which the map changes.
testing::ladder_options ladder_at(const std::vector<double>& theta, std::size_t j) {
  const double beta = std::max(1.0, std::abs(theta[j - j % 3 + 1]));
  const double length =
      j % 3 == 2 ? 1.0 / (beta * beta) : std::max(1e-3, std::abs(theta[j]));
  return {.first_step = 0.05 * length, .rungs = 9, .noise = 1e-12};
}

TEST(tanh_family, the_latent_jacobian_is_the_derivative_of_the_latent) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 23);
    const family_point at{theta, y};
    for (std::size_t j = 0; j < theta.size(); ++j)
      EXPECT_TRUE(is_derivative_of(
          [&](double t) {
            return family_point{moved(theta, j, t), y}.latent;
          },
          column(at.jacobian, static_cast<index_t>(j)), ladder_at(theta, j)))
          << theta[0] << " entry " << j << " of " << theta.size();
  }
}

// A logarithm of nearly 1 is rounded like 1: so the ladder looks at the sum of 1 + log.
TEST(tanh_family, the_log_jacobian_gradient_is_its_derivative) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 23);
    const family_point at{theta, y};
    for (std::size_t j = 0; j < theta.size(); ++j) {
      testing::ladder_options options = ladder_at(theta, j);
      options.noise = 1e-14;
      EXPECT_TRUE(is_derivative_of(
          [&](double t) {
            return std::vector<double>{23.0 +
                                       family_point{moved(theta, j, t), y}.log_jacobian};
          },
          {at.gradient[j]}, options))
          << theta[0] << " entry " << j << " of " << theta.size();
    }
  }
}

// Each entry is a factor times the deviation of a term from its mean: the terms t and s are
// rounded like 1, u s like u, and of their spread little may be left where a step is flat.
double rounding_of_column(const std::vector<double>& theta, const family_point& at,
                          std::size_t a) {
  const double alpha = std::abs(theta[a - a % 3]);
  const double beta = std::abs(theta[a - a % 3 + 1]);
  const std::array factors{2.0 * alpha, 2.0 * alpha * alpha * beta,
                           alpha * alpha * beta * beta};
  double largest = 0.0;
  for (const double entry : column(at.jacobian, static_cast<index_t>(a)))
    largest = std::max(largest, std::abs(entry));
  return std::max(1e-12, 1e-14 * factors[a % 3] / largest);
}

TEST(tanh_family, the_packed_latent_hessian_is_the_derivative_of_the_jacobian) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 23);
    const family_point at{theta, y};
    index_t packed = 0;
    for (std::size_t step = 0; step < theta.size(); step += 3)
      for (std::size_t a = step; a < step + 3; ++a)
        for (std::size_t b = a; b < step + 3; ++b, ++packed) {
          testing::ladder_options options = ladder_at(theta, b);
          options.noise = rounding_of_column(theta, at, a);
          EXPECT_TRUE(is_derivative_of(
              [&](double t) {
                return column(family_point{moved(theta, b, t), y}.jacobian,
                              static_cast<index_t>(a));
              },
              column(at.latent_hessian, packed), options))
              << theta[0] << " pair " << a << ", " << b << " of " << theta.size();
        }
  }
}

TEST(tanh_family, the_log_jacobian_hessian_is_the_derivative_of_its_gradient) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 23);
    const family_point at{theta, y};
    for (std::size_t j = 0; j < theta.size(); ++j) {
      std::vector<double> claimed;
      for (std::size_t i = 0; i < theta.size(); ++i)
        claimed.push_back(at.hessian(static_cast<index_t>(i), static_cast<index_t>(j)));
      EXPECT_TRUE(is_derivative_of(
          [&](double t) {
            return family_point{moved(theta, j, t), y}.gradient;
          },
          claimed, ladder_at(theta, j)))
          << theta[0] << " column " << j << " of " << theta.size();
    }
  }
}

TEST(tanh_family, the_slope_of_each_member_is_the_derivative_of_its_latent_in_the_target) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 7);
    const auto member =
        make_tanh_target_warper_descriptor(static_cast<index_t>(theta.size()) / 3)
            ->make_warper(dense_vector{view(theta)}, view(y), 0.5, 4.0);
    std::vector<double> raw(y);
    for (double& target : raw) target = 4.0 * target + 0.5;
    std::vector<double> latent(y.size());
    std::vector<double> slope(y.size());
    member->compute_latent_with_derivative(view(raw), view(latent), view(slope));
    double steepest = 1.0;
    for (std::size_t k = 1; k < theta.size(); k += 3)
      steepest = std::max(steepest, theta[k] * theta[k]);
    const auto at = [&](double t) {
      std::vector<double> there(raw);
      for (double& target : there) target += t;
      member->compute_latent(view(there), view(latent));
      return latent;
    };
    EXPECT_TRUE(is_derivative_of(
        at, slope, {.first_step = 0.2 / steepest, .rungs = 8, .noise = 1e-12}))
        << theta[0] << " of " << theta.size();
  }
}

TEST(tanh_family, latent_and_log_jacobian_are_those_of_the_plain_formula) {
  for (const auto& theta : points()) {
    const auto y = targets_for(theta, 301);  // more than one block of rows
    const family_point at{theta, y};
    const auto plain = warped_testing::warp(theta, y);
    double largest = 0.0;
    for (const double latent : plain.latent) largest = std::max(largest, std::abs(latent));
    for (std::size_t i = 0; i < y.size(); ++i)
      EXPECT_NEAR(at.latent[i], plain.latent[i], 1e-13 * largest);
    EXPECT_NEAR(at.log_jacobian, plain.log_jacobian,
                1e-11 * (1.0 + std::abs(plain.log_jacobian)));
  }
}

TEST(tanh_family, sums_over_several_blocks_of_rows_are_those_of_the_parts) {
  // The log Jacobian depends on each target alone, so its derivatives add up over parts.
  const std::vector<double> theta{0.9, -1.3, 0.2, 0.5, 1.9, -0.6};
  const auto y = normal_vector(1000, 3);
  const family_point whole{theta, y};
  std::vector<double> gradient(theta.size(), 0.0);
  dense_matrix hessian(6, 6);
  for (double& entry : hessian) entry = 0.0;
  for (std::size_t first = 0; first < y.size(); first += 100) {
    const family_point part{
        theta,
        {y.begin() + static_cast<long>(first), y.begin() + static_cast<long>(first) + 100}};
    for (std::size_t j = 0; j < theta.size(); ++j) gradient[j] += part.gradient[j];
    for (index_t j = 0; j < 6; ++j)
      for (index_t i = j; i < 6; ++i) hessian(i, j) += part.hessian(i, j);
  }
  for (std::size_t j = 0; j < theta.size(); ++j)
    EXPECT_NEAR(whole.gradient[j], gradient[j], 1e-10);
  for (index_t j = 0; j < 6; ++j)
    for (index_t i = j; i < 6; ++i) EXPECT_NEAR(whole.hessian(i, j), hessian(i, j), 1e-9);
}

TEST(tanh_family, without_steps_it_is_the_identity) {
  const std::vector<double> y{0.5, -3.0, 8.0};
  const family_point at{{}, y};
  EXPECT_EQ(at.latent, y);
  EXPECT_EQ(at.log_jacobian, 0.0);
}

TEST(tanh_family, at_theta_zero_it_is_the_identity_with_a_jacobian_of_zeros) {
  const auto y = normal_vector(40, 5);
  const family_point at{std::vector<double>(6, 0.0), y};
  EXPECT_EQ(at.latent, y);
  EXPECT_EQ(at.log_jacobian, 0.0);
  for (const double entry : at.jacobian) EXPECT_EQ(entry, 0.0);
  for (const double entry : at.gradient) EXPECT_EQ(entry, 0.0);
}

TEST(tanh_family, the_signs_of_heights_and_steepnesses_do_not_matter) {
  const auto y = normal_vector(40, 6);
  const family_point plus{{1.3, 0.8, 0.1}, y};
  for (const std::vector<double>& theta :
       {std::vector<double>{-1.3, 0.8, 0.1}, {1.3, -0.8, 0.1}, {-1.3, -0.8, 0.1}}) {
    const family_point other{theta, y};
    EXPECT_EQ(other.latent, plus.latent);
    EXPECT_EQ(other.log_jacobian, plus.log_jacobian);
  }
}

TEST(tanh_family, the_mean_of_the_latents_is_that_of_the_targets) {
  const auto y = normal_vector(500, 9);
  const family_point at{{2.0, 1.1, 0.4, -1.0, 3.0, -0.7}, y};
  double difference = 0.0;
  for (std::size_t i = 0; i < y.size(); ++i) difference += at.latent[i] - y[i];
  EXPECT_NEAR(difference / 500.0, 0.0, 1e-15);
}

TEST(tanh_family, a_theta_of_another_length_is_refused_with_what_was_expected) {
  const auto family = make_tanh_target_warper_descriptor(2);
  const std::vector<double> y{1.0, 2.0};
  std::vector<double> latent(2);
  double log_jacobian = 0.0;
  try {
    family->compute_latent(view(y), view(y), log_jacobian, view(latent));
    FAIL() << "accepted";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "theta has 2 parameters, expected 6");
  }
}

TEST(tanh_family, a_negative_number_of_steps_is_refused) {
  EXPECT_THROW(make_tanh_target_warper_descriptor(-1), std::invalid_argument);
}

}  // namespace
}  // namespace corvane::model
