// SPDX-License-Identifier: BSD-3-Clause
//
// Data for the tests of warped linear regression, and its formulas written plainly.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "n_array/n_array.h"

namespace corvane::model::warped_testing {

inline const_vector_view view(const std::vector<double>& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}
inline vector_view view(std::vector<double>& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

inline std::vector<double> normal_vector(index_t size, std::uint64_t seed) {
  std::mt19937_64 generator{seed};
  std::normal_distribution<double> normal;
  std::vector<double> values(static_cast<std::size_t>(size));
  for (double& value : values) value = normal(generator);
  return values;
}

inline dense_matrix normal_matrix(index_t rows, index_t cols, std::uint64_t seed) {
  const std::vector<double> values = normal_vector(rows * cols, seed);
  return dense_matrix{const_matrix_view{values.data(), rows, cols}};
}

// z = y + sum over k of alpha_k^2 (tanh(beta_k^2 (y + gamma_k)) - its mean over y), and the
// log of its slope summed over y.
struct plain_latents {
  std::vector<double> latent;
  double log_jacobian = 0.0;
};

inline plain_latents warp(const std::vector<double>& theta, const std::vector<double>& y) {
  plain_latents result{y, 0.0};
  std::vector<double> slope(y.size(), 1.0);
  for (std::size_t k = 0; k + 2 < theta.size(); k += 3) {
    const double height = theta[k] * theta[k];
    const double steepness = theta[k + 1] * theta[k + 1];
    double mean = 0.0;
    for (const double value : y)
      mean += std::tanh(steepness * (value + theta[k + 2])) / static_cast<double>(y.size());
    for (std::size_t i = 0; i < y.size(); ++i) {
      const double t = std::tanh(steepness * (y[i] + theta[k + 2]));
      result.latent[i] += height * (t - mean);
      slope[i] += height * steepness * (1.0 - t * t);
    }
  }
  for (const double d : slope) result.log_jacobian += std::log(d);
  return result;
}

}  // namespace corvane::model::warped_testing
