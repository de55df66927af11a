// SPDX-License-Identifier: BSD-3-Clause
//
// The inverse of many latents at once, which starts from a table, against that of a few at
// a time, which starts from the root solver.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "model/warped_linear_regression/inverse/root_solver.h"
#include "model/warped_linear_regression/inverse/step_inverse_table.h"
#include "model/warped_linear_regression/inverse/step_sum.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using warped_testing::normal_vector;
using warped_testing::view;

constexpr double largest = std::numeric_limits<double>::max();

std::unique_ptr<target_warper> make(const std::vector<double>& theta,
                                    const std::vector<double>& y, double shift = 0.0,
                                    double scale = 1.0) {
  const auto family =
      make_tanh_target_warper_descriptor(static_cast<index_t>(theta.size()) / 3);
  return family->make_warper(dense_vector{view(theta)}, view(y), shift, scale);
}

// In calls of `at_once` latents each.
std::vector<double> inverse_of(const target_warper& warper,
                               const std::vector<double>& latent, double tolerance,
                               index_t at_once) {
  std::vector<double> y(latent.size());
  const const_vector_view from = view(latent);
  for (index_t first = 0; first < from.size(); first += at_once) {
    const index_t count = std::min(at_once, from.size() - first);
    warper.invert(from.part(first, count), view(y).part(first, count), tolerance);
  }
  return y;
}

constexpr index_t all = 1000000;
constexpr index_t few = 3;

// Steep, flat, high, low, far from the targets, and several of them; the fifth is that of
// fits of an exponential, whose inverse is curved far from the targets.
const std::vector<std::vector<double>> thetas{
    {},
    {1.2, 0.9, 0.3, -0.6, 2.1, -0.8, 0.4, 0.5, 0.0},
    {20.0, 6.0, 0.1},
    {1e-3, 30.0, 0.0},
    {121.5, 2.0, 4.0},
    {0.5, 0.01, 2.0},
    {3.0, 1.0, 500.0},
    {1000.0, 1000.0, 0.5},
    {300.0, 12.0, 0.7, -2.0, 40.0, -1.1, 0.3, 900.0, 0.2}};

// Whatever the tolerance, which is on the latent alone.
TEST(step_inverse, the_inverse_of_a_latent_depends_on_the_others_by_rounding_alone) {
  const auto standardized = normal_vector(1000, 4);
  const auto draws = normal_vector(1000, 5);
  for (double scale = 1e-6; scale < 2e6; scale *= 10.0)
    for (const auto& theta : thetas) {
      const auto warper = make(theta, standardized, 0.25 * scale, scale);
      const auto [low, high] = std::minmax_element(warper->training_latents().begin(),
                                                   warper->training_latents().end());
      // Among the latents of the training targets and well beyond, and near zero.
      std::vector<double> latent;
      latent.reserve(draws.size() + 14);
      for (const double draw : draws) latent.push_back(0.5 * draw * (*high - *low));
      for (int decade = -12; decade < 2; ++decade)
        latent.push_back(std::pow(10.0, decade) * (*high - *low));
      constexpr double tolerance = 1e-2;
      const auto at_once = inverse_of(*warper, latent, tolerance, all);
      const auto one_by_one = inverse_of(*warper, latent, tolerance, few);
      for (std::size_t i = 0; i < latent.size(); ++i)
        ASSERT_NEAR(at_once[i], one_by_one[i], 1e-10 * std::abs(one_by_one[i]))
            << "scale " << scale << " alpha " << (theta.empty() ? 0.0 : theta[0])
            << " latent " << latent[i];
    }
}

// Fits of an exponential end in a high step whose upper half lies beyond the data: their
// latents are differences of terms that are 10^6 times larger.
TEST(step_inverse, an_inverse_beyond_a_high_step_has_all_digits) {
  auto y = normal_vector(400, 4);
  double mean = 0.0;
  for (double& entry : y) mean += (entry = std::exp(2.0 * entry)) / 400.0;
  double squares = 0.0;
  for (double& entry : y) squares += std::pow(entry -= mean, 2.0);
  for (double& entry : y) entry /= std::sqrt(squares);
  const auto warper = make({664.0, 8.1, 0.17}, y);
  std::vector<double> latent;
  for (const double trained : warper->training_latents()) latent.push_back(1.5 * trained);
  const auto at_once = inverse_of(*warper, latent, 1e-5, all);
  const auto one_by_one = inverse_of(*warper, latent, 1e-5, 1);
  for (std::size_t i = 0; i < latent.size(); ++i)
    ASSERT_NEAR(at_once[i], one_by_one[i], 1e-14 + 1e-13 * std::abs(one_by_one[i]));
}

TEST(step_inverse, every_latent_of_many_is_met_to_within_the_tolerance) {
  const auto y = normal_vector(1000, 6);
  for (const auto& theta : thetas)
    for (const double tolerance : {1e-3, 1e-5, 1e-9}) {
      const auto warper = make(theta, y);
      // What the terms of a latent are rounded to.
      double rounding = 1e-15;
      for (std::size_t k = 0; k < theta.size(); k += 3)
        rounding += 1e-15 * theta[k] * theta[k];
      const auto latent = normal_vector(10000, 7);
      const auto found = inverse_of(*warper, latent, tolerance, all);
      std::vector<double> back(latent.size());
      warper->compute_latent(view(found), view(back));
      for (std::size_t i = 0; i < latent.size(); ++i) {
        std::vector<double> neighbours{std::nextafter(found[i], -largest),
                                       std::nextafter(found[i], largest)};
        warper->compute_latent(view(neighbours), view(neighbours));
        const double resolution = neighbours[1] - neighbours[0];
        ASSERT_LE(std::abs(back[i] - latent[i]),
                  1.001 * tolerance * std::abs(latent[i]) + 2.0 * resolution + rounding)
            << "alpha " << (theta.empty() ? 0.0 : theta[0]) << " latent " << latent[i];
      }
    }
}

TEST(step_inverse, latents_that_are_all_equal_need_no_table) {
  const auto warper = make(thetas[1], normal_vector(50, 2));
  const auto one = inverse_of(*warper, {0.7}, 1e-10, all);
  for (const double value : inverse_of(*warper, std::vector<double>(5000, 0.7), 1e-10, all))
    EXPECT_EQ(value, one[0]);
}

TEST(step_inverse, a_range_as_wide_as_that_of_double_is_left_to_the_solver) {
  const auto warper = make(thetas[1], normal_vector(50, 2));
  std::vector<double> latent(600, 0.25);
  latent.front() = -0.9 * largest;
  latent.back() = 0.9 * largest;
  const auto found = inverse_of(*warper, latent, 1e-10, all);
  EXPECT_NEAR(found.front() / latent.front(), 1.0, 1e-9);
  EXPECT_NEAR(found.back() / latent.back(), 1.0, 1e-9);
  std::vector<double> back(latent.size());
  warper->compute_latent(view(found), view(back));
  for (std::size_t i = 1; i + 1 < latent.size(); ++i) EXPECT_NEAR(back[i], 0.25, 1e-9);
}

TEST(step_inverse, a_tolerance_that_nothing_can_meet_fails_for_many_as_for_one) {
  const auto warper = make(thetas[1], normal_vector(50, 2));
  EXPECT_THROW(inverse_of(*warper, normal_vector(5000, 3), 0.0, all),
               solver_max_iterations_exceeded_error);
}

// The error of a cubic through values and slopes falls with the fourth power of the width.
TEST(step_inverse, the_table_is_of_fourth_order) {
  const auto exact = [](double v) { return std::asinh(v); };
  const auto worst = [&](double width) {
    scoped_allocator scope;
    const auto cells = static_cast<index_t>(std::lround(6.0 / width));
    tanh_warper_detail::step_inverse_table table{scope, -2.0, 4.0, cells};
    const vector_view x = scope.vector(table.num_knots());
    const vector_view slopes = scope.vector(table.num_knots());
    for (index_t j = 0; j < x.size(); ++j) {
      x[j] = exact(table.knot(j));
      slopes[j] = std::cosh(x[j]);
    }
    table.fill(x, slopes);
    double error = 0.0;
    for (int i = 0; i <= 1000; ++i) {
      const double latent = -2.0 + 0.006 * i;
      double found = 0.0;
      table.interpolate({&latent, 1}, {&found, 1});
      error = std::max(error, std::abs(found - exact(latent)));
    }
    return error;
  };
  EXPECT_LT(worst(0.1), 2e-6);
  for (const double width : {0.2, 0.1, 0.05})
    EXPECT_GT(worst(width), 12.0 * worst(0.5 * width));
}

TEST(step_inverse, the_table_gives_its_knots_and_stays_within_its_ends) {
  scoped_allocator scope;
  tanh_warper_detail::step_inverse_table table{scope, 1.0, 3.0, 4};
  const std::vector<double> x{0.0, 1.0, 4.0, 5.0, 9.0};
  const std::vector<double> slopes(5, 0.5);
  table.fill(view(x), view(slopes));
  for (index_t j = 0; j < table.num_knots(); ++j) {
    const double latent = table.knot(j);
    double found = 0.0;
    table.interpolate({&latent, 1}, {&found, 1});
    EXPECT_DOUBLE_EQ(found, x[static_cast<std::size_t>(j)]);
  }
}

TEST(step_inverse, the_sum_over_an_array_is_that_at_each_point) {
  std::vector<tanh_warper_detail::step_coefficients> steps(3);
  tanh_warper_detail::fill_step_coefficients(view(thetas[1]), steps.data());
  const std::vector<double> means{0.1, -0.2, 0.3};
  const auto x = normal_vector(tanh_warper_detail::step_sum_array::max_points, 8);
  scoped_allocator scope;
  tanh_warper_detail::step_sum_array array{scope, steps, view(means)};
  tanh_warper_detail::step_sum point{scope, steps, view(means)};
  array.evaluate(view(x));
  for (std::size_t i = 0; i < x.size(); ++i) {
    const auto at = static_cast<index_t>(i);
    EXPECT_NEAR(array.values()[at], point.value(x[i]), 1e-14);
    EXPECT_NEAR(array.slopes()[at], point.derivative(x[i]), 1e-14);
    EXPECT_NEAR(array.curvatures()[at], point.second_derivative(x[i]), 1e-13);
  }
}

}  // namespace
}  // namespace corvane::model
