// SPDX-License-Identifier: BSD-3-Clause
//
// Data drawn from a warped linear model with a known map, and descriptors to fit it.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model::warped_testing {

struct model_data {
  dense_matrix X;
  std::vector<double> y;
  std::vector<double> latent;  // z of each y, under the map that made them
};

// z = X beta + noise, and y the inverse of z under one tanh step.
inline model_data draw_model(index_t n, index_t p, double noise, std::uint64_t seed) {
  model_data data{normal_matrix(n, p, seed), {}, normal_vector(n, seed + 1000)};
  const auto beta = normal_vector(p, seed + 2000);
  for (index_t i = 0; i < n; ++i) {
    double& z = data.latent[static_cast<std::size_t>(i)];
    z *= noise;
    for (index_t j = 0; j < p; ++j) z += data.X(i, j) * beta[static_cast<std::size_t>(j)];
  }
  std::vector<double> grid;
  for (int k = -20; k <= 20; ++k) grid.push_back(0.1 * k);
  const std::vector<double> theta{1.5, 1.2, -0.4};
  const auto map = make_tanh_target_warper_descriptor(1)->make_warper(
      dense_vector{view(theta)}, view(grid));
  data.y = data.latent;
  map->invert(view(data.latent), view(data.y), 1e-12);
  return data;
}

inline warped_linear_regression_model_options options_for(index_t num_steps) {
  warped_linear_regression_model_options options;
  options.num_restarts = 25;
  options.optimizer = make_trust_region_optimizer({.tolerance = 1e-6, .tolerance2 = 1e-4});
  options.warper = make_tanh_target_warper_descriptor(num_steps);
  return options;
}

inline warped_linear_regression_model_descriptor make_model(index_t num_steps) {
  return warped_linear_regression_model_descriptor{options_for(num_steps)};
}

inline std::vector<double> predictions(
    const warped_linear_regression_model_descriptor& model, const warped_fit& fit,
    const dense_matrix& X, std::int64_t count = 21, double tolerance = 1e-5) {
  std::vector<double> out(static_cast<std::size_t>(X.rows()));
  model.predict(fit, X, count, tolerance, view(out));
  return out;
}

}  // namespace corvane::model::warped_testing
