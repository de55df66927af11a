// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <utility>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/likelihood/random_draws.h"

namespace corvane::model {

using warped_linear_regression_detail::objective;

struct warped_linear_regression_model_descriptor::normalized_data {
  data_normalizer normalizer;
  dense_matrix design;
  dense_vector target;
};

namespace {

// Uniform draws with a fixed seed: every fit has the same start point.
void draw_start_point(vector_view theta) {
  std::mt19937 generator{0};
  for (double& parameter : theta) parameter = 2.0 * draw_uniform(generator) - 1.0;
}

// If all targets are 0, or 0 after their mean is subtracted, every map has residual 0, and
// the likelihood has no maximum.
void reject_constant(const_vector_view y, bool centered) {
  const auto differs = [first = centered ? y[0] : 0.0](double value) {
    return value != first;
  };
  if (std::none_of(y.begin(), y.end(), differs))
    throw std::invalid_argument("target_vector is constant");
}

struct linear_model {
  dense_vector regressors;
  double noise_variance;
};

// Least squares of the latents on the design, from its QR factorization.
linear_model solve_linear_model(const objective& problem, const_vector_view latents) {
  scoped_allocator scope;
  const index_t n = latents.size();
  const index_t p = problem.r_factor().cols();
  const vector_view rotated = scope.vector(n);
  std::copy(latents.begin(), latents.end(), rotated.begin());
  apply(problem.qr(), transposed, rotated);
  linear_model model{dense_vector{const_vector_view{rotated.part(0, p)}}, 0.0};
  solve_r(problem.qr(), model.regressors);
  const vector_view residual = rotated.part(p, n - p);
  model.noise_variance = dot(residual, residual) / static_cast<double>(n - p);
  return model;
}

dense_matrix transpose_r(const_matrix_block r) {
  dense_matrix lower(r.cols(), r.cols());
  fill(lower, 0.0);
  for (index_t j = 0; j < r.cols(); ++j)
    for (index_t i = j; i < r.cols(); ++i) lower(i, j) = r(j, i);
  return lower;
}

}  // namespace

warped_linear_regression_model_descriptor::warped_linear_regression_model_descriptor(
    warped_linear_regression_model_options&& options)
    : center_target_{options.center_target},
      center_features_{options.center_features},
      with_bias_{options.with_bias},
      rescale_target_{options.rescale_target},
      rescale_features_{options.rescale_features},
      num_restarts_{options.num_restarts},
      interrupt_{options.interrupt},
      optimizer_{std::move(options.optimizer)},
      initializer_{std::move(options.initializer)},
      warper_{std::move(options.warper)} {
  if (warper_ == nullptr) throw std::invalid_argument("no family of warpers was given");
  if (optimizer_ == nullptr)
    optimizer_ = make_trust_region_optimizer({.tolerance = 0.0001, .tolerance2 = 0.001});
  if (!initializer_) initializer_ = draw_start_point;
}

auto warped_linear_regression_model_descriptor::normalize(const_vector_view y,
                                                          const_matrix_view X) const
    -> normalized_data {
  const data_normalizer_options options{.center_target = center_target_,
                                        .center_features = center_features_,
                                        .with_bias = with_bias_,
                                        .rescale_target = rescale_target_,
                                        .rescale_features = rescale_features_};
  data_normalizer normalizer{options, y, X, interrupt_};
  dense_matrix design = normalizer.normalized_features(X, interrupt_);
  dense_vector target = normalizer.normalized_target(y);
  return {std::move(normalizer), std::move(design), std::move(target)};
}

std::unique_ptr<objective> warped_linear_regression_model_descriptor::build_objective(
    normalized_data&& data, std::int64_t num_restarts) const {
  return std::make_unique<objective>(warper_, std::move(data.design),
                                     std::move(data.target), num_restarts, interrupt_);
}

std::unique_ptr<objective> warped_linear_regression_model_descriptor::make_objective(
    const_vector_view y, const_matrix_view X) const {
  return build_objective(normalize(y, X), std::numeric_limits<std::int64_t>::max());
}

std::unique_ptr<target_warper> warped_linear_regression_model_descriptor::make_warper(
    const_vector_view theta, const_vector_view y) const {
  const target_normalization target = measure_target(center_target_, rescale_target_, y);
  scoped_allocator scope;
  const vector_view normalized = scope.vector(y.size());
  std::transform(y.begin(), y.end(), normalized.begin(),
                 [&](double value) { return (value - target.mean) / target.scale; });
  return warper_->make_warper(dense_vector{theta}, normalized, target.mean, target.scale);
}

warped_fit warped_linear_regression_model_descriptor::fit(const_vector_view y,
                                                          const_matrix_view X) const {
  normalized_data data = normalize(y, X);
  reject_constant(y, center_target_);
  warped_fit fitted;
  fitted.normalizer = std::move(data.normalizer);
  const auto problem = build_objective(std::move(data), num_restarts_);

  dense_vector start(warper_->num_parameters());
  initializer_(start);
  fitted.result = optimize(*optimizer_, *problem, start);

  fitted.target_warper = warper_->make_warper(
      dense_vector{fitted.result.x}, fitted.normalizer.normalized_target(y),
      fitted.normalizer.target_mean, fitted.normalizer.target_scale);
  linear_model model =
      solve_linear_model(*problem, fitted.target_warper->training_latents());
  fitted.regressors = std::move(model.regressors);
  fitted.noise_variance = model.noise_variance;
  fitted.r_transposed = transpose_r(problem->r_factor());
  return fitted;
}

}  // namespace corvane::model
