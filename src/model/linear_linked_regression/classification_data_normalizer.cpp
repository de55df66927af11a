// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/classification_data_normalizer.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include "common/compensated_sum.h"
#include "common/finite.h"

namespace corvane::model {

namespace {

void check_features(const_matrix_view X) {
  if (X.rows() == 0 || X.cols() == 0)
    throw std::invalid_argument{"X must have a row and a column at least"};
  if (!all_finite(X)) throw std::invalid_argument{"X holds a value that is not finite"};
}

// A constant column keeps its unit: its scale is 1. Compensated like the mean, as rounding
// that depends on the order of the observations would move a whole column.
double scale(const_vector_view column, double center) {
  const double length = std::sqrt(compensated_squares_about(center, column));
  return length == 0.0 ? 1.0 : length;
}

// Ascending, compared exactly.
dense_vector distinct_targets(const_vector_view y) {
  std::set<double> distinct;
  for (const double target : y) {
    if (!is_finite(target)) throw invalid_target_error{};
    distinct.insert(target);
  }
  dense_vector classes(static_cast<index_t>(distinct.size()));
  std::copy(distinct.begin(), distinct.end(), classes.begin());
  return classes;
}

}  // namespace

classification_data_normalizer::classification_data_normalizer(
    const classification_normalizer_options& options, const_vector_view y,
    const_matrix_view X, interruption* interrupt)
    : center_features{options.center_features},
      rescale_features{options.rescale_features},
      with_bias{options.with_bias},
      num_classes{options.num_classes},
      num_columns{X.cols() + (options.with_bias ? 1 : 0)},
      feature_means{num_columns},
      feature_scales{num_columns} {
  check_features(X);
  if (y.size() != X.rows())
    throw std::invalid_argument{"X and y must have the same number of rows"};
  for (index_t j = 0; j < X.cols(); ++j) {
    check(interrupt);
    feature_means[j] = center_features ? mean_of(X.column(j)) : 0.0;
    feature_scales[j] = rescale_features ? scale(X.column(j), feature_means[j]) : 1.0;
  }
  if (with_bias) {
    feature_means[X.cols()] = 0.0;
    feature_scales[X.cols()] = std::sqrt(static_cast<double>(X.rows()));
  }
  // Sums of finite values may overflow.
  if (!all_finite(feature_means) || !all_finite(feature_scales))
    throw std::invalid_argument{"the values of X are too large to be normalized"};
  classes = distinct_targets(y);
  if (classes.size() != num_classes) throw invalid_target_error{};
}

// Centering alone can overflow too, where no scale is computed.
dense_matrix classification_data_normalizer::normalized_features(
    const_matrix_view X, interruption* interrupt) const {
  dense_matrix normalized{X.rows(), num_columns};
  for (index_t j = 0; j < X.cols(); ++j) {
    check(interrupt);
    for (index_t i = 0; i < X.rows(); ++i)
      normalized(i, j) = (X(i, j) - feature_means[j]) / feature_scales[j];
  }
  if (with_bias)
    for (index_t i = 0; i < X.rows(); ++i)
      normalized(i, X.cols()) = 1.0 / feature_scales[X.cols()];
  if (!all_finite(const_matrix_view{normalized}))
    throw std::invalid_argument{"the values of X are too large to be normalized"};
  return normalized;
}

dense_vector classification_data_normalizer::raw_weights(const_vector_view weights) const {
  dense_vector raw{weights.size()};
  for (index_t j = 0; j < raw.size(); ++j) raw[j] = weights[j] / feature_scales[j];
  return raw;
}

// What the centering took out of z, together with the weight of the bias column.
double classification_data_normalizer::raw_bias(const_vector_view raw) const {
  double centering = 0.0;
  for (index_t j = 0; j < raw.size(); ++j) centering += raw[j] * feature_means[j];
  return with_bias ? raw[raw.size() - 1] - centering : -centering;
}

dense_vector classification_data_normalizer::coded_target(const_vector_view y) const {
  dense_vector coded{y.size()};
  std::transform(y.begin(), y.end(), coded.begin(),
                 [this](double target) { return target == classes[0] ? -1.0 : 1.0; });
  return coded;
}

}  // namespace corvane::model
