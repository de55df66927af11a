// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/data_normalizer.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/vector_dispatch.h"

namespace corvane::model {

namespace {

struct column_measure {
  double mean;
  double scale;  // not finite where the values are not, or where their squares overflow
};

column_measure measure(bool center, const_vector_view values) {
  const double mean = center ? mean_of(values) : 0.0;
  return {mean, std::sqrt(sum_squares_about(mean, values))};
}

// A column without spread is left as it is.
double divisor(bool rescale, double scale) { return rescale && scale != 0.0 ? scale : 1.0; }

// Distinguishes the two reasons for a scale that is not finite. `name` is the caller's name
// of the values.
[[noreturn]] void reject(const std::string& name, const_vector_view values) {
  const auto* const bad =
      std::find_if_not(values.begin(), values.end(), [](double v) { return is_finite(v); });
  if (bad == values.end())
    throw std::invalid_argument(name + " is too large: the sum of its squares overflows");
  throw std::invalid_argument(name + " holds a value that is not finite, in row " +
                              std::to_string(bad - values.begin()));
}

void check_shapes(const_vector_view y, const_matrix_view X) {
  if (X.rows() < 1) throw std::invalid_argument("feature_matrix has no rows");
  if (X.cols() < 1) throw std::invalid_argument("feature_matrix has no columns");
  if (y.size() < 1) throw std::invalid_argument("target_vector is empty");
  if (X.rows() != y.size())
    throw std::invalid_argument("feature_matrix and target_vector are mismatched");
}

}  // namespace

target_normalization measure_target(bool center, bool rescale, const_vector_view y) {
  if (y.size() < 1) throw std::invalid_argument("target_vector is empty");
  const column_measure measured = measure(center, y);
  if (!is_finite(measured.scale)) reject("target_vector", y);
  return {measured.mean, divisor(rescale, measured.scale)};
}

void normalize(const_vector_view values, double mean, double scale,
               vector_view normalized) {
  const double* const from = values.data();
  double* const to = normalized.data();
  run_vectorized([=, n = values.size()](auto... /*width*/) {
    for (index_t i = 0; i < n; ++i) to[i] = (from[i] - mean) / scale;
  });
}

data_normalizer::data_normalizer(const data_normalizer_options& options,
                                 const_vector_view y, const_matrix_view X,
                                 interruption* interrupt)
    : center_target{options.center_target},
      center_features{options.center_features},
      with_bias{options.with_bias},
      rescale_target{options.rescale_target},
      rescale_features{options.rescale_features},
      num_columns{X.cols() + (options.with_bias ? 1 : 0)},
      feature_means(num_columns),
      feature_scales(num_columns) {
  check_shapes(y, X);
  for (index_t j = 0; j < X.cols(); ++j) {
    check(interrupt);
    const column_measure measured = measure(center_features, X.column(j));
    if (!is_finite(measured.scale))
      reject("feature_matrix column " + std::to_string(j), X.column(j));
    feature_means[j] = measured.mean;
    feature_scales[j] = divisor(rescale_features, measured.scale);
  }
  if (with_bias) {
    feature_means[X.cols()] = 0.0;
    feature_scales[X.cols()] = std::sqrt(static_cast<double>(X.rows()));
  }
  const target_normalization target = measure_target(center_target, rescale_target, y);
  target_mean = target.mean;
  target_scale = target.scale;
}

dense_matrix data_normalizer::normalized_features(const_matrix_view X,
                                                  interruption* interrupt) const {
  const index_t num_features = num_columns - (with_bias ? 1 : 0);
  if (X.cols() != num_features)
    throw std::invalid_argument(
        "feature_matrix has another number of columns than the fit");
  dense_matrix normalized(X.rows(), num_columns);
  const matrix_view columns = normalized;
  for (index_t j = 0; j < num_features; ++j) {
    check(interrupt);
    normalize(X.column(j), feature_means[j], feature_scales[j], columns.column(j));
  }
  if (with_bias) {
    const vector_view bias = columns.column(num_features);
    std::fill(bias.begin(), bias.end(), 1.0 / feature_scales[num_features]);
  }
  return normalized;
}

dense_vector data_normalizer::normalized_target(const_vector_view y) const {
  dense_vector normalized(y.size());
  normalize(y, target_mean, target_scale, normalized);
  return normalized;
}

dense_vector data_normalizer::raw_weights(const_vector_view weights) const {
  dense_vector raw(num_columns);
  for (index_t j = 0; j < num_columns; ++j)
    raw[j] = weights[j] * (target_scale / feature_scales[j]);
  return raw;
}

double data_normalizer::raw_intercept(const_vector_view raw) const {
  compensated_sum at_the_means;  // the mean of the bias column is 0
  for (index_t j = 0; j < num_columns; ++j) at_the_means.add(raw[j] * feature_means[j]);
  const double centered = target_mean - at_the_means.total();
  return with_bias ? centered + raw[num_columns - 1] : centered;
}

}  // namespace corvane::model
