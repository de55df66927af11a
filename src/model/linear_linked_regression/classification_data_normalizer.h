// SPDX-License-Identifier: BSD-3-Clause
//
// classification_data_normalizer: centering and scaling of the features, and the coding of
// two classes as -1 and +1. A scale is a root of a sum of squares, not divided by n, so
// that a normalized column has length 1; the bias column is the constant 1 / sqrt(n).
#pragma once

#include <exception>

#include "common/interruption.h"
#include "n_array/n_array.h"

namespace corvane::model {

// A target that is not finite, or the wrong number of distinct targets.
class invalid_target_error : public std::exception {
 public:
  const char* what() const noexcept override { return "invalid_target_error"; }
};

struct classification_normalizer_options {
  bool center_features = true;
  bool rescale_features = true;
  bool with_bias = true;
  index_t num_classes = 2;  // the required number of distinct targets
};

struct classification_data_normalizer {
  bool center_features = true;
  bool rescale_features = true;
  bool with_bias = true;
  index_t num_classes = 2;
  index_t num_columns = 0;      // p: the features, and one more with a bias column
  dense_vector feature_means;   // p entries, 0 for the bias
  dense_vector feature_scales;  // p entries, sqrt(n) for the bias
  dense_vector classes;         // the distinct targets, ascending

  classification_data_normalizer() = default;
  // Throws std::invalid_argument when X (n by m) is empty or holds a value that is not
  // finite, when a scale overflows, or when y is not of length n; invalid_target_error as
  // told above.
  // `interrupt` is checked before each column.
  classification_data_normalizer(const classification_normalizer_options& options,
                                 const_vector_view y, const_matrix_view X,
                                 interruption* interrupt = nullptr);

  index_t num_features() const { return with_bias ? num_columns - 1 : num_columns; }

  // n by p, with the bias column last where there is one. Throws std::invalid_argument when
  // a normalized feature overflows.
  dense_matrix normalized_features(const_matrix_view X,
                                   interruption* interrupt = nullptr) const;
  // The weights of the raw features, w_j / scale_j, and the intercept to go with them.
  dense_vector raw_weights(const_vector_view weights) const;
  double raw_bias(const_vector_view raw) const;
  // -1 for the smallest class, +1 for every other
  dense_vector coded_target(const_vector_view y) const;
};

}  // namespace corvane::model
