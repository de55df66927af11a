// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "src/model/warped_linear_regression/warped_model_data.h"

namespace corvane::model {
namespace {

using warped_testing::draw_model;
using warped_testing::make_model;
using warped_testing::model_data;
using warped_testing::normal_matrix;
using warped_testing::options_for;
using warped_testing::predictions;
using warped_testing::view;

struct latent_prediction {
  std::vector<double> mean;
  std::vector<double> variance;
};

latent_prediction predict_latent(const warped_linear_regression_model_descriptor& model,
                                 const warped_fit& fit, const dense_matrix& X) {
  const auto rows = static_cast<std::size_t>(X.rows());
  latent_prediction out{std::vector<double>(rows), std::vector<double>(rows)};
  model.predict_latent(fit, X, view(out.mean), view(out.variance));
  return out;
}

double inverse_at(const target_warper& warper, double latent) {
  double target = 0.0;
  warper.invert({&latent, 1}, {&target, 1}, 1e-13);
  return target;
}

// The mean of w^-1(Z) over Z = mean + stddev N(0, 1), by the trapezoidal rule in Z over
// eleven standard deviations on each side: for a smooth integrand with such tails its error
// falls faster than any power of the step.
double mean_by_quadrature(const target_warper& warper, double mean, double stddev) {
  constexpr int intervals = 4000;
  const double step = 22.0 / intervals;
  std::vector<double> latent;
  for (int k = 0; k <= intervals; ++k) latent.push_back(mean + stddev * (-11.0 + step * k));
  std::vector<double> target(latent.size());
  warper.invert(view(latent), view(target), 1e-13);
  double sum = 0.0;
  for (int k = 0; k <= intervals; ++k) {
    const double x = -11.0 + step * k;
    sum += std::exp(-0.5 * x * x) * target[static_cast<std::size_t>(k)];
  }
  return sum * step / std::sqrt(2.0 * std::acos(-1.0));
}

// A fit whose map is given: beta and the noise are made up, and the map is one step.
warped_fit fit_with_map(const model_data& data, const std::vector<double>& theta) {
  const auto model = make_model(1);
  warped_fit fit = model.fit(view(data.y), data.X);
  fit.target_warper = model.make_warper(view(theta), view(data.y));
  return fit;
}

TEST(warped_prediction, the_mean_is_that_of_fine_quadrature) {
  const model_data data = draw_model(400, 3, 0.25, 3);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  const dense_matrix rows = normal_matrix(10, 3, 99);
  const auto latent = predict_latent(model, fit, rows);
  const auto mean = predictions(model, fit, rows, 50, 1e-12);
  double range = *std::max_element(data.y.begin(), data.y.end()) -
                 *std::min_element(data.y.begin(), data.y.end());
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_NEAR(mean[i],
                mean_by_quadrature(*fit.target_warper, latent.mean[i],
                                   std::sqrt(latent.variance[i])),
                1e-6 * range);
}

TEST(warped_prediction, twenty_one_points_suffice_for_a_map_of_small_slope) {
  const model_data data = draw_model(400, 3, 0.25, 3);
  const auto model = make_model(1);
  const warped_fit fit = fit_with_map(data, {0.1, 2.0, 0.01});
  const dense_matrix rows = normal_matrix(10, 3, 99);
  const auto latent = predict_latent(model, fit, rows);
  const auto mean = predictions(model, fit, rows, 21, 1e-12);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_NEAR(mean[i],
                mean_by_quadrature(*fit.target_warper, latent.mean[i],
                                   std::sqrt(latent.variance[i])),
                1e-6);
}

TEST(warped_prediction, the_variance_is_that_of_the_textbook) {
  const model_data data = draw_model(50, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  const dense_matrix design = fit.normalizer.normalized_features(data.X);
  double a = 0.0;  // X'X = (a b; b c)
  double b = 0.0;
  double c = 0.0;
  for (index_t i = 0; i < 50; ++i) {
    a += design(i, 0) * design(i, 0);
    b += design(i, 0) * design(i, 1);
    c += design(i, 1) * design(i, 1);
  }
  const dense_matrix rows = normal_matrix(8, 2, 17);
  const dense_matrix x = fit.normalizer.normalized_features(rows);
  const auto latent = predict_latent(model, fit, rows);
  for (index_t i = 0; i < 8; ++i) {
    const auto entry = static_cast<std::size_t>(i);
    const double leverage =
        (c * x(i, 0) * x(i, 0) - 2.0 * b * x(i, 0) * x(i, 1) + a * x(i, 1) * x(i, 1)) /
        (a * c - b * b);
    EXPECT_NEAR(latent.variance[entry] / (fit.noise_variance * (1.0 + leverage)), 1.0,
                1e-12);
    EXPECT_NEAR(latent.mean[entry],
                x(i, 0) * fit.regressors[0] + x(i, 1) * fit.regressors[1], 1e-15);
    EXPECT_GT(latent.variance[entry], fit.noise_variance);
  }
}

TEST(warped_prediction, one_point_gives_the_median) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  const auto latent = predict_latent(model, fit, data.X);
  const auto median = predictions(model, fit, data.X, 1, 1e-13);
  for (std::size_t i = 0; i < median.size(); ++i)
    EXPECT_NEAR(median[i], inverse_at(*fit.target_warper, latent.mean[i]), 1e-11);
}

TEST(warped_prediction, with_all_heights_zero_it_is_the_linear_prediction) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = fit_with_map(data, {0.0, 1.3, 0.2});
  const auto latent = predict_latent(model, fit, data.X);
  const auto mean = predictions(model, fit, data.X);
  for (std::size_t i = 0; i < mean.size(); ++i)
    EXPECT_NEAR(mean[i],
                latent.mean[i] * fit.normalizer.target_scale + fit.normalizer.target_mean,
                1e-5 * fit.normalizer.target_scale);
}

TEST(warped_prediction, a_count_above_fifty_is_a_count_of_fifty) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  EXPECT_EQ(predictions(model, fit, data.X, 500), predictions(model, fit, data.X, 50));
}

TEST(warped_prediction, of_no_rows_is_empty) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  EXPECT_TRUE(
      predictions(model, model.fit(view(data.y), data.X), dense_matrix(0, 2)).empty());
}

TEST(warped_prediction, rejects_rows_that_it_cannot_predict) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  EXPECT_THROW(predictions(model, fit, normal_matrix(5, 3, 1)), std::invalid_argument);
  EXPECT_THROW(predictions(model, fit, data.X, 0), std::invalid_argument);
  dense_matrix X = normal_matrix(5, 2, 1);
  X(3, 1) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THROW(predictions(model, fit, X), std::runtime_error);
}

TEST(warped_prediction, with_a_bias_column_new_rows_get_the_constant_of_the_training_rows) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  auto options = options_for(1);
  options.center_target = false;
  options.center_features = false;
  options.with_bias = true;
  const warped_linear_regression_model_descriptor model{std::move(options)};
  const warped_fit fit = model.fit(view(data.y), data.X);
  ASSERT_EQ(fit.regressors.size(), 3);
  dense_matrix one(1, 2);
  one(0, 0) = 0.3;
  one(0, 1) = -0.8;
  const auto latent = predict_latent(model, fit, one);
  EXPECT_NEAR(latent.mean[0],
              fit.regressors[0] * 0.3 / fit.normalizer.feature_scales[0] -
                  fit.regressors[1] * 0.8 / fit.normalizer.feature_scales[1] +
                  fit.regressors[2] / 10.0,
              1e-14);
}

TEST(warped_prediction, a_row_is_predicted_among_many_as_by_itself) {
  const model_data data = draw_model(400, 3, 0.25, 3);
  for (const bool with_bias : {false, true}) {
    auto options = options_for(1);
    options.with_bias = with_bias;
    options.center_features = !with_bias;
    const warped_linear_regression_model_descriptor model{std::move(options)};
    const warped_fit fit = model.fit(view(data.y), data.X);
    const dense_matrix rows = normal_matrix(7001, 3, 99);
    const auto together = predictions(model, fit, rows);
    const auto latent = predict_latent(model, fit, rows);
    for (index_t i = 0; i < rows.rows(); i += 500) {
      dense_matrix row(1, 3);
      for (index_t j = 0; j < 3; ++j) row(0, j) = rows(i, j);
      const auto entry = static_cast<std::size_t>(i);
      const auto alone = predict_latent(model, fit, row);
      EXPECT_NEAR(latent.mean[entry], alone.mean[0], 1e-14);
      EXPECT_NEAR(latent.variance[entry], alone.variance[0], 1e-14);
      EXPECT_NEAR(together[entry] / predictions(model, fit, row)[0], 1.0, 1e-9);
    }
  }
}

}  // namespace
}  // namespace corvane::model
