// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/warped_linear_regression/likelihood/random_draws.h"
#include "optimization/optimizer_error.h"
#include "src/model/warped_linear_regression/warped_model_data.h"

namespace corvane::model {
namespace {

using warped_testing::draw_model;
using warped_testing::make_model;
using warped_testing::model_data;
using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::options_for;
using warped_testing::predictions;
using warped_testing::view;

std::vector<double> copy_of(const_vector_view values) {
  return {values.begin(), values.end()};
}

// The message of what `fit` throws, or of its success.
std::string refusal(const std::vector<double>& y, const dense_matrix& X) {
  try {
    make_model(1).fit(view(y), X);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "fitted";
}

TEST(warped_fit, two_fits_of_the_same_data_are_identical) {
  const model_data data = draw_model(200, 3, 0.5, 1);
  const auto model = make_model(2);
  const warped_fit first = model.fit(view(data.y), data.X);
  const warped_fit second = model.fit(view(data.y), data.X);
  EXPECT_EQ(copy_of(first.result.x), copy_of(second.result.x));
  EXPECT_EQ(copy_of(first.regressors), copy_of(second.regressors));
  EXPECT_EQ(first.noise_variance, second.noise_variance);
}

TEST(warped_fit, the_map_is_that_of_its_parameters_and_the_targets) {
  const model_data data = draw_model(120, 3, 0.4, 5);
  const auto model = make_model(2);
  const warped_fit fit = model.fit(view(data.y), data.X);
  const auto map = model.make_warper(fit.result.x, view(data.y));
  EXPECT_EQ(copy_of(fit.target_warper->training_latents()),
            copy_of(map->training_latents()));
}

TEST(warped_fit, the_default_start_is_uniform_draws_between_minus_one_and_one) {
  const model_data data = draw_model(50, 2, 0.5, 1);
  const auto started_at = [&](std::function<void(vector_view)> initializer) {
    auto options = options_for(1);
    options.initializer = std::move(initializer);
    const warped_linear_regression_model_descriptor model{std::move(options)};
    return copy_of(model.fit(view(data.y), data.X).result.x);
  };
  EXPECT_EQ(started_at({}), started_at([](vector_view theta) {
              std::mt19937 generator{0};
              for (double& entry : theta) entry = 2.0 * draw_uniform(generator) - 1.0;
            }));
}

TEST(warped_fit, a_known_map_is_recovered) {
  const model_data data = draw_model(5000, 5, 0.3, 11);
  const warped_fit fit = make_model(1).fit(view(data.y), data.X);
  EXPECT_TRUE(fit.result.within_tolerance);
  // The model determines latents up to an affine map: compare after the best one.
  const auto n = static_cast<double>(data.y.size());
  std::vector<double> found(data.y.size());
  fit.target_warper->compute_latent(view(data.y), view(found));
  double mean_f = 0.0;
  double mean_t = 0.0;
  for (std::size_t i = 0; i < found.size(); ++i) {
    mean_f += found[i] / n;
    mean_t += data.latent[i] / n;
  }
  double cross = 0.0;
  double square = 0.0;
  for (std::size_t i = 0; i < found.size(); ++i) {
    cross += (found[i] - mean_f) * (data.latent[i] - mean_t);
    square += (found[i] - mean_f) * (found[i] - mean_f);
  }
  double worst = 0.0;
  for (std::size_t i = 0; i < found.size(); ++i)
    worst = std::max(
        worst, std::abs(mean_t + cross / square * (found[i] - mean_f) - data.latent[i]));
  const auto [low, high] = std::minmax_element(data.latent.begin(), data.latent.end());
  RecordProperty("largest_latent_error", std::to_string(worst / (*high - *low)));
  EXPECT_LT(worst / (*high - *low), 0.05);
}

TEST(warped_fit, the_fitted_point_is_stationary) {
  const model_data data = draw_model(400, 3, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  ASSERT_TRUE(fit.result.within_tolerance);
  const auto problem = model.make_objective(view(data.y), data.X);
  dense_vector gradient(3);
  symmetric_matrix hessian(3, 3);
  ASSERT_TRUE(problem->compute_gradient_hessian(fit.result.x, gradient, hessian));
  for (index_t j = 0; j < 3; ++j)
    EXPECT_LT(std::abs(gradient[j]), 1e-3 * std::sqrt(std::abs(hessian(j, j))));
}

TEST(warped_fit, regressors_and_noise_are_least_squares_of_the_training_latents) {
  const model_data data = draw_model(120, 3, 0.4, 5);
  const warped_fit fit = make_model(1).fit(view(data.y), data.X);
  const dense_matrix design = fit.normalizer.normalized_features(data.X);
  const const_vector_view z = fit.target_warper->training_latents();
  std::vector<double> residual = copy_of(z);
  for (index_t i = 0; i < 120; ++i)
    for (index_t j = 0; j < 3; ++j)
      residual[static_cast<std::size_t>(i)] -= design(i, j) * fit.regressors[j];
  double squares = 0.0;
  for (const double entry : residual) squares += entry * entry;
  EXPECT_NEAR(fit.noise_variance / (squares / 117.0), 1.0, 1e-12);
  for (index_t j = 0; j < 3; ++j) {  // the normal equations
    double along = 0.0;
    for (index_t i = 0; i < 120; ++i)
      along += design(i, j) * residual[static_cast<std::size_t>(i)];
    EXPECT_NEAR(along, 0.0, 1e-13);
  }
}

TEST(warped_fit, r_transposed_is_a_factor_of_the_normal_matrix) {
  const model_data data = draw_model(60, 4, 0.4, 5);
  const warped_fit fit = make_model(1).fit(view(data.y), data.X);
  const dense_matrix design = fit.normalizer.normalized_features(data.X);
  for (index_t a = 0; a < 4; ++a)
    for (index_t b = 0; b <= a; ++b) {
      double normal = 0.0;
      for (index_t i = 0; i < 60; ++i) normal += design(i, a) * design(i, b);
      double product = 0.0;
      for (index_t k = 0; k <= b; ++k)
        product += fit.r_transposed(a, k) * fit.r_transposed(b, k);
      EXPECT_NEAR(product, normal, 1e-14);
    }
}

TEST(warped_fit, with_one_residual_the_noise_variance_divides_by_one) {
  const dense_matrix X = normal_matrix(6, 5, 3);
  const auto y = normal_vector(6, 4);
  auto options = options_for(1);
  options.center_features = false;  // centered columns of 6 rows have rank 5 at most
  options.center_target = false;
  const warped_linear_regression_model_descriptor model{std::move(options)};
  const warped_fit fit = model.fit(view(y), X);
  const dense_matrix design = fit.normalizer.normalized_features(X);
  double squares = 0.0;
  for (index_t i = 0; i < 6; ++i) {
    double residual = fit.target_warper->training_latents()[i];
    for (index_t j = 0; j < 5; ++j) residual -= design(i, j) * fit.regressors[j];
    squares += residual * residual;
  }
  EXPECT_NEAR(fit.noise_variance, squares, 1e-10 * (1.0 + squares));
}

TEST(warped_fit, predictions_follow_a_shift_and_scale_of_the_target) {
  const model_data data = draw_model(300, 3, 0.4, 7);
  const auto model = make_model(1);
  const auto plain = predictions(model, model.fit(view(data.y), data.X), data.X, 21, 1e-10);
  for (const double a : {1e-6, 1e4}) {
    std::vector<double> moved = data.y;
    for (double& value : moved) value = a * value + 3.0 * a;
    const auto followed =
        predictions(model, model.fit(view(moved), data.X), data.X, 21, 1e-10);
    for (std::size_t i = 0; i < plain.size(); ++i)
      EXPECT_NEAR(followed[i] / a, plain[i] + 3.0, 1e-6);
  }
}

TEST(warped_fit, the_objective_of_a_constant_target_is_undefined_everywhere) {
  const std::vector<double> y(20, 0.1);
  const auto problem = make_model(1).make_objective(view(y), normal_matrix(20, 2, 1));
  for (const std::vector<double>& theta :
       {std::vector<double>{0.0, 0.0, 0.0}, {1.0, 2.0, 0.5}, {-3.0, 0.1, 0.0}}) {
    double value = 0.0;
    EXPECT_FALSE(problem->compute_value(view(theta), value));
  }
}

// Its latents are constant too, under every map: what is left of it is what is left of a
// constant by least squares.
TEST(warped_fit, a_constant_target_that_is_not_centered_is_fitted) {
  const index_t n = 20;
  const dense_matrix X = normal_matrix(n, 1, 1);
  auto options = options_for(1);
  options.center_target = false;
  options.center_features = false;
  const warped_linear_regression_model_descriptor model{std::move(options)};
  const std::vector<double> y(static_cast<std::size_t>(n), 3.7);
  const warped_fit fit = model.fit(view(y), X);
  EXPECT_TRUE(fit.result.within_tolerance);
  double sum = 0.0;
  double squares = 0.0;
  for (const double x : X) {
    sum += x;
    squares += x * x;
  }
  // The constant 1 / sqrt(n) has length 1.
  const double residual = 1.0 - sum * sum / (squares * static_cast<double>(n));
  EXPECT_NEAR(fit.noise_variance, residual / static_cast<double>(n - 1), 1e-9);
  EXPECT_THROW(model.fit(view(std::vector<double>(static_cast<std::size_t>(n), 0.0)), X),
               std::invalid_argument);
}

TEST(warped_fit, data_that_cannot_be_fitted_are_refused_with_their_problem_named) {
  const dense_matrix X = normal_matrix(20, 2, 1);
  const auto y = normal_vector(20, 2);
  EXPECT_EQ(refusal(std::vector<double>(20, 3.7), X), "target_vector is constant");
  EXPECT_EQ(refusal(y, normal_matrix(19, 2, 1)),
            "feature_matrix and target_vector are mismatched");
  EXPECT_EQ(refusal(normal_vector(2, 1), normal_matrix(2, 2, 1)),
            "number of features must be less than the number of data points");
  EXPECT_EQ(refusal({}, dense_matrix(0, 2)), "feature_matrix has no rows");
  EXPECT_EQ(refusal(y, dense_matrix(20, 0)), "feature_matrix has no columns");
  dense_matrix twice = X;
  for (index_t i = 0; i < 20; ++i) twice(i, 1) = twice(i, 0);
  EXPECT_EQ(refusal(y, twice), "feature_matrix has linear dependent columns");
}

TEST(warped_fit, values_that_are_not_finite_are_refused_at_once) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity()}) {
    dense_matrix X = normal_matrix(20, 2, 1);
    auto y = normal_vector(20, 2);
    X(7, 1) = bad;
    EXPECT_EQ(refusal(y, X),
              "feature_matrix column 1 holds a value that is not finite, in row 7");
    y[3] = bad;
    EXPECT_EQ(refusal(y, normal_matrix(20, 2, 1)),
              "target_vector holds a value that is not finite, in row 3");
  }
}

TEST(warped_fit, a_descriptor_without_a_family_is_refused) {
  EXPECT_THROW(warped_linear_regression_model_descriptor{{}}, std::invalid_argument);
}

TEST(warped_fit, without_an_optimizer_it_makes_its_own) {
  const model_data data = draw_model(200, 2, 0.4, 7);
  auto options = options_for(1);
  options.optimizer = nullptr;
  const warped_linear_regression_model_descriptor model{std::move(options)};
  EXPECT_TRUE(model.fit(view(data.y), data.X).result.within_tolerance);
}

TEST(warped_fit, what_the_initializer_throws_passes_through) {
  const model_data data = draw_model(50, 2, 0.4, 7);
  auto options = options_for(1);
  options.initializer = [](vector_view) { throw std::domain_error("no start"); };
  const warped_linear_regression_model_descriptor model{std::move(options)};
  EXPECT_THROW(model.fit(view(data.y), data.X), std::domain_error);
}

TEST(warped_fit, what_the_optimizer_throws_passes_through) {
  const model_data data = draw_model(50, 2, 0.4, 7);
  auto options = options_for(1);
  options.initializer = [](vector_view theta) { theta[0] = theta[1] = theta[2] = 1e200; };
  const warped_linear_regression_model_descriptor model{std::move(options)};
  EXPECT_THROW(model.fit(view(data.y), data.X), optimizer_undefined_error);
}

TEST(warped_fit, a_warper_is_made_without_a_fit_in_the_units_of_its_targets) {
  const auto model = make_model(1);
  const auto y = normal_vector(100, 3);
  const std::vector<double> theta{0.3, 4.0, 0.01};
  const auto warper = model.make_warper(view(theta), view(y));
  double mean = 0.0;
  for (const double value : y) mean += value / 100.0;
  double squares = 0.0;
  for (const double value : y) squares += (value - mean) * (value - mean);
  std::vector<double> standardized = y;
  for (double& value : standardized) value = (value - mean) / std::sqrt(squares);
  const auto plain = warped_testing::warp(theta, standardized);
  std::vector<double> latent(100);
  warper->compute_latent(view(y), view(latent));
  for (std::size_t i = 0; i < 100; ++i) EXPECT_NEAR(latent[i], plain.latent[i], 1e-14);
}

TEST(warped_fit, the_inspected_objective_has_restarts_without_end) {
  const model_data data = draw_model(50, 2, 0.4, 7);
  const auto problem = make_model(2).make_objective(view(data.y), data.X);
  EXPECT_EQ(problem->remaining_restarts(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(problem->num_parameters(), 6);
}

}  // namespace
}  // namespace corvane::model
