// SPDX-License-Identifier: BSD-3-Clause
//
// data_normalizer: centering and scaling of features and target, kept for undoing.
//   mean_j  = (sum over i of X_ij) / n                 compensated, 0 without centering
//   scale_j = sqrt(sum over i of (X_ij - mean_j)^2)    1 without rescaling, and 1 for 0
//   normalized (i, j) = (X_ij - mean_j) / scale_j
// A scale is not divided by n, so that a normalized column has length 1. So has the bias
// column, the constant 1 / sqrt(n): its mean is 0 and its scale sqrt(n).
#pragma once

#include "common/interruption.h"
#include "n_array/n_array.h"

namespace corvane::model {

struct data_normalizer_options {
  bool center_target = true;
  bool center_features = true;
  bool with_bias = false;
  bool rescale_target = true;
  bool rescale_features = true;
};

struct data_normalizer {
  bool center_target = true;
  bool center_features = true;
  bool with_bias = false;
  bool rescale_target = true;
  bool rescale_features = true;
  index_t num_columns = 0;      // p: the features, and one more with a bias column
  dense_vector feature_means;   // p entries
  dense_vector feature_scales;  // p entries
  double target_mean = 0.0;
  double target_scale = 1.0;

  data_normalizer() = default;
  // Throws std::invalid_argument, whose text says why, when X (n by m) or
  // y (n) is empty, their lengths differ, a value is not finite, or the squares of a column
  // have no finite sum.
  // `interrupt`, not owned, is checked between columns, here and below.
  data_normalizer(const data_normalizer_options& options, const_vector_view y,
                  const_matrix_view X, interruption* interrupt = nullptr);

  // n by p, with the bias column last where there is one. X may hold other rows than those
  // that were measured; throws std::invalid_argument when its columns are not as many.
  dense_matrix normalized_features(const_matrix_view X,
                                   interruption* interrupt = nullptr) const;
  dense_vector normalized_target(const_vector_view y) const;

  // The weights of a fit to normalized data, in the units of the data; p entries each.
  dense_vector raw_weights(const_vector_view weights) const;
  // What a prediction adds to X times the raw weights, by which centering is undone: the
  // target's mean less the features' means times their weights, and the bias.
  double raw_intercept(const_vector_view raw) const;
};

// The mean and the scale of a target under the flags given; a scale of 0 becomes 1. Throws
// std::invalid_argument as the normalizer does.
struct target_normalization {
  double mean = 0.0;
  double scale = 1.0;
};
target_normalization measure_target(bool center, bool rescale, const_vector_view y);

// normalized = (values - mean) / scale, of equal lengths.
void normalize(const_vector_view values, double mean, double scale, vector_view normalized);

}  // namespace corvane::model
