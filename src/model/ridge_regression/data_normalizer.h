// SPDX-License-Identifier: BSD-3-Clause
//
// data_normalizer: centering and scaling of features and target, kept for undoing. A scale is
// a root of a sum of squares, not divided by n, so that a normalized column has length 1; the
// bias column is the constant 1 / sqrt(n).
#pragma once

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
  index_t num_columns = 0;  // p: the features, and one more with a bias column
  dense_vector feature_means;
  dense_vector feature_scales;
  double target_mean = 0.0;
  double target_scale = 1.0;

  data_normalizer() = default;
  // Throws std::invalid_argument when X (n by m) or y (n) is empty or holds a value that is
  // not finite, or when a scale overflows.
  data_normalizer(const data_normalizer_options& options, const_vector_view y,
                  const_matrix_view X);

  // n by p, with the bias column last where there is one.
  dense_matrix normalized_features(const_matrix_view X) const;
  dense_vector normalized_target(const_vector_view y) const;
};

// The mean and the scale of a target under the flags given; a scale of 0 becomes 1.
struct target_normalization {
  double mean = 0.0;
  double scale = 1.0;
};
target_normalization measure_target(bool center, bool rescale, const_vector_view y);

}  // namespace corvane::model
