// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/report/warped_report.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/blas_arguments.h"
#include "model/warped_linear_regression/map/boundary_penalty.h"
#include "src/model/warped_linear_regression/warped_model_data.h"

namespace corvane::model {
namespace {

using warped_testing::draw_model;
using warped_testing::model_data;
using warped_testing::normal_vector;
using warped_testing::view;
using warped_testing::warp;

// X with the columns of `more` behind its own.
dense_matrix append(const dense_matrix& X, const std::vector<std::vector<double>>& more) {
  dense_matrix wider(X.rows(), X.cols() + static_cast<index_t>(more.size()));
  for (index_t j = 0; j < wider.cols(); ++j)
    for (index_t i = 0; i < X.rows(); ++i)
      wider(i, j) =
          j < X.cols()
              ? X(i, j)
              : more[static_cast<std::size_t>(j - X.cols())][static_cast<std::size_t>(i)];
  return wider;
}

dense_matrix scaled(dense_matrix X, double factor) {
  for (double& entry : X) entry *= factor;
  return X;
}

std::vector<double> predict_means(const warped_report& report, const dense_matrix& X) {
  std::vector<double> means(static_cast<std::size_t>(X.rows()));
  predict_moments(report.state, {transposition::none, X}, view(means), {});
  return means;
}

std::vector<double> copy_of(const_vector_view values) {
  return {values.begin(), values.end()};
}

struct target_moments {
  double mean = 0.0;
  double length = 0.0;
};

target_moments measure(const std::vector<double>& y) {
  target_moments moments;
  for (const double value : y) moments.mean += value / static_cast<double>(y.size());
  for (const double value : y) moments.length += std::pow(value - moments.mean, 2);
  moments.length = std::sqrt(moments.length);
  return moments;
}

TEST(warped_report, the_likelihoods_are_those_of_their_formulas) {
  const model_data data = draw_model(120, 3, 0.5, 1);
  const warped_report report = fit_warped(view(data.y), data.X, {.num_steps = 2});
  const target_moments moments = measure(data.y);
  std::vector<double> normalized = data.y;
  for (double& value : normalized) value = (value - moments.mean) / moments.length;
  const auto [latent, log_jacobian] = warp(copy_of(report.run.x), normalized);

  double squares = 0.0;
  for (index_t i = 0; i < 120; ++i) {
    double residual = latent[static_cast<std::size_t>(i)] - report.intercept;
    for (index_t j = 0; j < 3; ++j) residual -= data.X(i, j) * report.coef[j];
    squares += residual * residual;
  }
  const double jacobian = log_jacobian - 120.0 * std::log(moments.length);
  EXPECT_NEAR(report.state.noise_variance, squares / 117.0, 1e-12 * squares);
  // One of the two steps is steep enough to be penalized.
  double boundary = 0.0;
  tanh_warper_detail::boundary_penalty{}.add_value(report.run.x, boundary);
  EXPECT_GT(boundary, 1e-5);
  EXPECT_NEAR(report.criterion, 60.0 * std::log(squares) - jacobian + boundary, 1e-9);
  const double variance = squares / 120.0;
  EXPECT_NEAR(report.log_likelihood,
              jacobian - 60.0 * (std::log(2.0 * std::numbers::pi * variance) + 1.0), 1e-9);
}

TEST(warped_report, latent_distributions_are_those_of_the_fitted_model) {
  const model_data data = draw_model(150, 4, 0.5, 2);
  warped_linear_regression_model_options options = warped_testing::options_for(2);
  options.optimizer = make_trust_region_optimizer({.tolerance = 1e-5, .tolerance2 = 1e-5});
  const warped_linear_regression_model_descriptor model{std::move(options)};
  const warped_fit fit = model.fit(view(data.y), data.X);
  const warped_report report =
      fit_warped(view(data.y), data.X, {.num_steps = 2, .tolerance = 1e-5});
  std::vector<double> expected(150), variance(150), mean(150), deviation(150);
  model.predict_latent(fit, data.X, view(expected), view(variance));
  predict_latent(report.state, {transposition::none, data.X}, view(mean), view(deviation));
  for (std::size_t i = 0; i < 150; ++i) {
    EXPECT_NEAR(mean[i], expected[i], 1e-13);
    EXPECT_NEAR(deviation[i], std::sqrt(variance[i]), 1e-13);
  }
}

TEST(warped_report, tiny_units_of_the_columns_change_no_prediction) {
  const model_data data = draw_model(100, 3, 0.5, 3);
  const auto plain = fit_warped(view(data.y), data.X, {});
  const dense_matrix tiny = scaled(data.X, std::ldexp(1.0, -1000));
  const auto other = fit_warped(view(data.y), tiny, {});
  EXPECT_EQ(predict_means(other, tiny), predict_means(plain, data.X));
  EXPECT_EQ(other.coef[1], std::ldexp(plain.coef[1], 1000));
  EXPECT_EQ(other.criterion, plain.criterion);
}

TEST(warped_report, units_of_columns_change_nothing_without_normalization_either) {
  const model_data data = draw_model(100, 2, 0.5, 10);
  const warped_fit_options options{.normalize = false};
  const auto plain = fit_warped(view(data.y), data.X, options);
  dense_matrix other_units = data.X;
  for (index_t i = 0; i < 100; ++i) other_units(i, 1) = std::ldexp(data.X(i, 1), -200);
  const auto other = fit_warped(view(data.y), other_units, options);
  EXPECT_EQ(predict_means(other, other_units), predict_means(plain, data.X));
  EXPECT_EQ(other.coef[1], std::ldexp(plain.coef[1], 200));
}

TEST(warped_report, tiny_units_of_the_target_are_units_of_the_prediction) {
  const model_data data = draw_model(100, 3, 0.5, 4);
  const auto plain = fit_warped(view(data.y), data.X, {});
  std::vector<double> tiny = data.y;
  for (double& value : tiny) value = std::ldexp(value, -900);
  const auto other = fit_warped(view(tiny), data.X, {});
  std::vector<double> expected = predict_means(plain, data.X);
  for (double& value : expected) value = std::ldexp(value, -900);
  EXPECT_EQ(predict_means(other, data.X), expected);
  EXPECT_NEAR(other.log_likelihood,
              plain.log_likelihood + 100.0 * 900.0 * std::numbers::ln2, 1e-8);
}

TEST(warped_report, constant_denormal_and_dependent_columns_get_the_coefficient_0) {
  const model_data data = draw_model(100, 2, 0.5, 5);
  std::vector<double> denormal = normal_vector(100, 6);
  for (double& value : denormal) value *= 1e-310;
  std::vector<double> sum(100);
  for (index_t i = 0; i < 100; ++i)
    sum[static_cast<std::size_t>(i)] = data.X(i, 0) + data.X(i, 1);
  const dense_matrix wider = append(data.X, {std::vector<double>(100, 0.1), denormal, sum});
  const auto plain = fit_warped(view(data.y), data.X, {});
  const auto other = fit_warped(view(data.y), wider, {});
  EXPECT_EQ(copy_of(other.coef),
            (std::vector<double>{plain.coef[0], plain.coef[1], 0.0, 0.0, 0.0}));
  EXPECT_EQ(predict_means(other, wider), predict_means(plain, data.X));
  EXPECT_EQ(other.effective_dof, 3.0);
}

TEST(warped_report, the_covariance_root_is_that_of_the_inverse_of_the_centered_product) {
  const model_data data = draw_model(60, 2, 0.5, 7);
  const auto report = fit_warped(view(data.y), data.X, {});
  dense_matrix product(2, 2);
  for (index_t a = 0; a < 2; ++a)
    for (index_t b = 0; b < 2; ++b) {
      const double mean_a = measure(copy_of(data.X.view().column(a))).mean;
      const double mean_b = measure(copy_of(data.X.view().column(b))).mean;
      product(a, b) = 0.0;
      for (index_t i = 0; i < 60; ++i)
        product(a, b) += (data.X(i, a) - mean_a) * (data.X(i, b) - mean_b);
    }
  const double determinant = product(0, 0) * product(1, 1) - product(0, 1) * product(1, 0);
  const auto& root = report.covariance_root;
  EXPECT_NEAR(root(0, 0) * root(0, 0) + root(0, 1) * root(0, 1),
              product(1, 1) / determinant, 1e-14);
  EXPECT_NEAR(root(0, 0) * root(1, 0) + root(0, 1) * root(1, 1),
              -product(0, 1) / determinant, 1e-14);
}

TEST(warped_report, data_without_a_fit_are_refused) {
  const model_data data = draw_model(50, 2, 0.5, 8);
  const auto refusal = [](const std::vector<double>& y, const dense_matrix& X) {
    try {
      fit_warped(view(y), X, {});
    } catch (const std::domain_error& error) {
      return std::string{error.what()};
    }
    return std::string{"fitted"};
  };
  std::vector<double> tiny = data.y;
  for (double& value : tiny) value *= 1e-320;
  std::vector<double> huge = data.y;
  for (double& value : huge) value *= 1e200;
  EXPECT_EQ(refusal(std::vector<double>(50, 3.0), data.X), "constant target");
  EXPECT_EQ(refusal(tiny, data.X), "constant target");
  EXPECT_EQ(refusal(huge, data.X), "squares overflow");
  EXPECT_EQ(refusal(data.y, scaled(data.X, 1e200)), "squares overflow");
  EXPECT_EQ(refusal(data.y, scaled(data.X, 0.0)), "constant columns");
  EXPECT_EQ(refusal(data.y, scaled(data.X, 1e-315)), "constant columns");
}

TEST(warped_report, a_run_starts_at_the_given_parameters_and_ends_at_the_limit) {
  class point_recorder final : public run_observer {
   public:
    void check() override {}
    void observe_iteration(const iteration_record& record) override {
      points.push_back(copy_of(record.x));
    }
    std::vector<std::vector<double>> points;
  };
  const model_data data = draw_model(50, 2, 0.5, 9);
  const std::vector<double> start{0.4, 0.7, -0.1};
  point_recorder recorder;
  const auto report =
      fit_warped(view(data.y), data.X,
                 {.start = view(start), .max_iterations = 2, .observer = &recorder});
  EXPECT_EQ(recorder.points.front(), start);
  EXPECT_EQ(recorder.points.back(), copy_of(report.run.x));
  EXPECT_EQ(report.run.num_iterations, 2);
  EXPECT_EQ(report.run.end, run_end::iteration_limit);
}

}  // namespace
}  // namespace corvane::model
