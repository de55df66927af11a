// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/data_normalizer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/compensated_sum.h"
#include "common/finite.h"

namespace corvane::model {

namespace {

struct column_measure {
  double mean;
  double scale;  // not finite where the values are not, or where their squares overflow
};

// Sums go in lanes, which depend on each other only at the end: one sum after the other
// would wait for each addition.
constexpr std::size_t num_lanes = 8;
using lanes = std::array<double, num_lanes>;

// The part that an addition loses, by D. E. Knuth, The Art of Computer Programming
// 2, 4.2.2, theorem B: without a look at which of the two is larger.
double lost_part(double sum, double term, double next) {
  const double added = next - sum;
  return (sum - (next - added)) + (term - added);
}

double compensated_mean_in_lanes(const_vector_view values) {
  const auto n = static_cast<std::size_t>(values.size());
  const std::size_t even = n - n % num_lanes;
  lanes sums{};
  lanes corrections{};
  for (std::size_t i = 0; i < even; i += num_lanes)
    for (std::size_t lane = 0; lane < num_lanes; ++lane) {
      const double term = values.data()[i + lane];
      const double next = sums[lane] + term;
      corrections[lane] += lost_part(sums[lane], term, next);
      sums[lane] = next;
    }
  compensated_sum total;
  for (const double sum : sums) total.add(sum);
  for (const double correction : corrections) total.add(correction);
  for (std::size_t i = even; i < n; ++i) total.add(values.data()[i]);
  return total.total() / static_cast<double>(n);
}

// The mean of equal values is that value. A rounded sum divided by n misses it by an ulp
// for one value in eight, and rescaling would blow that ulp up to a column of length 1.
double mean_of(const_vector_view values) {
  const double first = values[0];
  const bool constant = std::all_of(values.begin(), values.end(),
                                    [first](double value) { return value == first; });
  return constant ? first : compensated_mean_in_lanes(values);
}

column_measure measure(bool center, const_vector_view values) {
  const double mean = center ? mean_of(values) : 0.0;
  double squares = 0.0;
  for (const double value : values) squares += (value - mean) * (value - mean);
  return {mean, std::sqrt(squares)};
}

// Four columns, each as above: their sums, one term after the other, wait for each other's
// additions instead of their own.
constexpr std::size_t columns_at_once = 4;
using four_measures = std::array<column_measure, columns_at_once>;

four_measures measure_four(bool center, const_matrix_view X, index_t first) {
  std::array<const double*, columns_at_once> columns{};
  std::array<double, columns_at_once> means{};
  for (std::size_t k = 0; k < columns_at_once; ++k) {
    const const_vector_view values = X.column(first + static_cast<index_t>(k));
    columns[k] = values.data();
    means[k] = center ? mean_of(values) : 0.0;
  }
  std::array<double, columns_at_once> squares{};
  for (index_t i = 0; i < X.rows(); ++i)
    for (std::size_t k = 0; k < columns_at_once; ++k) {
      const double distance = columns[k][i] - means[k];
      squares[k] += distance * distance;
    }
  four_measures measured{};
  for (std::size_t k = 0; k < columns_at_once; ++k)
    measured[k] = {means[k], std::sqrt(squares[k])};
  return measured;
}

std::vector<column_measure> measure_columns(bool center, const_matrix_view X) {
  constexpr auto step = static_cast<index_t>(columns_at_once);
  std::vector<column_measure> measured;
  measured.reserve(static_cast<std::size_t>(X.cols()));
  index_t j = 0;
  for (; j + step <= X.cols(); j += step) {
    const four_measures four = measure_four(center, X, j);
    measured.insert(measured.end(), four.begin(), four.end());
  }
  for (; j < X.cols(); ++j) measured.push_back(measure(center, X.column(j)));
  return measured;
}

// A column without spread is left as it is.
double divisor(bool rescale, double scale) { return rescale && scale != 0.0 ? scale : 1.0; }

// Tells the two reasons for a scale that is not finite apart. `name` is what the caller
// knows the values by.
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

data_normalizer::data_normalizer(const data_normalizer_options& options,
                                 const_vector_view y, const_matrix_view X)
    : center_target{options.center_target},
      center_features{options.center_features},
      with_bias{options.with_bias},
      rescale_target{options.rescale_target},
      rescale_features{options.rescale_features},
      num_columns{X.cols() + (options.with_bias ? 1 : 0)},
      feature_means(num_columns),
      feature_scales(num_columns) {
  check_shapes(y, X);
  const std::vector<column_measure> columns = measure_columns(center_features, X);
  for (index_t j = 0; j < X.cols(); ++j) {
    const column_measure measured = columns[static_cast<std::size_t>(j)];
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

dense_matrix data_normalizer::normalized_features(const_matrix_view X) const {
  const index_t num_features = num_columns - (with_bias ? 1 : 0);
  if (X.cols() != num_features)
    throw std::invalid_argument(
        "feature_matrix has another number of columns than the fit");
  dense_matrix normalized(X.rows(), num_columns);
  const matrix_view columns = normalized;
  for (index_t j = 0; j < num_features; ++j) {
    const double mean = feature_means[j];
    const double scale = feature_scales[j];
    const const_vector_view raw = X.column(j);
    std::transform(raw.begin(), raw.end(), columns.column(j).begin(),
                   [=](double value) { return (value - mean) / scale; });
  }
  if (with_bias) {
    const vector_view bias = columns.column(num_features);
    std::fill(bias.begin(), bias.end(), 1.0 / feature_scales[num_features]);
  }
  return normalized;
}

dense_vector data_normalizer::normalized_target(const_vector_view y) const {
  dense_vector normalized(y.size());
  std::transform(y.begin(), y.end(), normalized.begin(),
                 [this](double value) { return (value - target_mean) / target_scale; });
  return normalized;
}

}  // namespace corvane::model
