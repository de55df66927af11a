// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/report/warped_report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/qr_factorization.h"
#include "model/ridge_regression/data_normalizer.h"
#include "model/warped_linear_regression/map/boundary_penalty.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"

namespace corvane::model {

namespace {

constexpr int num_restarts = 25;
constexpr double smallest_normal = std::numeric_limits<double>::min();

// Squares of values below 2^this may be subnormal.
constexpr int smallest_safe_exponent = -300;

// That of the largest value; 0 for zeros.
int exponent_of(const_vector_view values) {
  double largest = 0.0;
  for (const double value : values) largest = std::max(largest, std::abs(value));
  return largest == 0.0 ? 0 : std::ilogb(largest);
}

// Of the power of 2 by which values are divided first; 0 for values that are safe.
int unsafe_exponent(const_vector_view values) {
  const int exponent = exponent_of(values);
  return exponent < smallest_safe_exponent ? exponent : 0;
}

// values / 2^exponent, which changes no digit.
dense_vector scale_by(const_vector_view values, int exponent) {
  dense_vector scaled{values};
  if (exponent != 0)
    for (double& value : scaled) value = std::ldexp(value, -exponent);
  return scaled;
}

// The length about the mean, or about 0. Infinite where the squares overflow.
double length_of(const_vector_view values, bool centered) {
  return std::sqrt(sum_squares_about(centered ? mean_of(values) : 0.0, values));
}

// The columns of X that are not constant, times powers of 2: X itself if nothing changes.
struct counted_columns {
  index_t num_features = 0;
  const_matrix_view given;
  dense_matrix changed;
  std::vector<index_t> columns;
  std::vector<int> exponents;

  const_matrix_view matrix() const { return changed.size() > 0 ? changed.view() : given; }
};

// The power of 2 by which a column is to be divided; nothing if it counts as constant.
// Without normalization columns are scaled to similar size: one that is tiny beside another
// would count as dependent.
std::optional<int> examine_column(const_vector_view column,
                                  const warped_fit_options& options) {
  const bool centered = options.fit_intercept;
  const int exponent = options.normalize ? unsafe_exponent(column) : exponent_of(column);
  const double length = exponent == 0 ? length_of(column, centered)
                                      : length_of(scale_by(column, exponent), centered);
  if (!is_finite(length)) throw std::domain_error("squares overflow");
  if (std::ldexp(length, exponent) < smallest_normal) return std::nullopt;
  return exponent;
}

counted_columns find_varying_columns(const_matrix_view X,
                                     const warped_fit_options& options) {
  counted_columns data{X.cols(), X, {}, {}, {}};
  bool is_changed = false;
  for (index_t j = 0; j < X.cols(); ++j) {
    check(options.observer);
    const std::optional<int> exponent = examine_column(X.column(j), options);
    is_changed = is_changed || exponent != 0;
    if (!exponent) continue;
    data.columns.push_back(j);
    data.exponents.push_back(*exponent);
  }
  if (data.columns.empty()) throw std::domain_error("constant columns");
  if (!is_changed) return data;
  data.changed = dense_matrix(X.rows(), static_cast<index_t>(data.columns.size()));
  for (std::size_t k = 0; k < data.columns.size(); ++k) {
    const dense_vector scaled = scale_by(X.column(data.columns[k]), data.exponents[k]);
    const vector_view column = data.changed.view().column(static_cast<index_t>(k));
    std::copy(scaled.begin(), scaled.end(), column.begin());
  }
  return data;
}

// The columns that are not linear combinations of the ones before them, up to rounding.
std::vector<index_t> find_independent(const data_normalizer& normalizer,
                                      const_matrix_view X, interruption* interrupt) {
  dense_matrix design = normalizer.normalized_features(X, interrupt);
  const index_t q = X.cols();
  for (index_t j = 0; j < q; ++j) {
    const vector_view column = design.view().column(j);
    const double length = norm(column);
    for (double& entry : column) entry /= length;
  }
  dense_vector reflectors(q);
  factor(design, reflectors, interrupt);
  const double rounding = (10.0 * static_cast<double>(q) + 2.0) * double_epsilon;
  std::vector<index_t> independent;
  for (index_t j = 0; j < q; ++j)
    if (std::abs(design(j, j)) > rounding) independent.push_back(j);
  return independent;
}

counted_columns keep_part(const counted_columns& data, const std::vector<index_t>& kept) {
  const const_matrix_view X = data.matrix();
  counted_columns part{data.num_features,
                       X,
                       dense_matrix(X.rows(), static_cast<index_t>(kept.size())),
                       {},
                       {}};
  for (std::size_t k = 0; k < kept.size(); ++k) {
    const const_vector_view column = X.column(kept[k]);
    std::copy(column.begin(), column.end(),
              part.changed.view().column(static_cast<index_t>(k)).begin());
    part.columns.push_back(data.columns[static_cast<std::size_t>(kept[k])]);
    part.exponents.push_back(data.exponents[static_cast<std::size_t>(kept[k])]);
  }
  return part;
}

data_normalizer_options normalization(const warped_fit_options& options) {
  return {.center_target = options.fit_intercept,
          .center_features = options.fit_intercept,
          .with_bias = false,
          .rescale_target = options.normalize,
          .rescale_features = options.normalize};
}

warped_linear_regression_model_descriptor make_descriptor(
    const warped_fit_options& options) {
  warped_linear_regression_model_options model;
  model.center_target = model.center_features = options.fit_intercept;
  model.rescale_target = model.rescale_features = options.normalize;
  model.num_restarts = num_restarts;
  model.interrupt = options.observer;
  model.warper = make_tanh_target_warper_descriptor(options.num_steps);
  model.optimizer = make_trust_region_optimizer({.tolerance = options.tolerance,
                                                 .tolerance2 = options.tolerance,
                                                 .max_iterations = options.max_iterations,
                                                 .observer = options.observer});
  if (options.start.size() > 0)
    model.initializer = [start = options.start](vector_view theta) {
      if (start.size() != theta.size())
        throw std::invalid_argument("the start point has a wrong number of parameters");
      std::copy(start.begin(), start.end(), theta.begin());
    };
  return warped_linear_regression_model_descriptor{std::move(model)};
}

// If the fit fails because of dependent columns, a fit without these.
warped_fit fit_independent_columns(const_vector_view y, counted_columns& data,
                                   const warped_fit_options& options) {
  const warped_linear_regression_model_descriptor descriptor = make_descriptor(options);
  try {
    return descriptor.fit(y, data.matrix());
  } catch (const std::runtime_error&) {
    const const_matrix_view X = data.matrix();
    const data_normalizer normalizer{normalization(options), y, X, options.observer};
    const auto independent = find_independent(normalizer, X, options.observer);
    if (static_cast<index_t>(independent.size()) == X.cols())
      throw std::domain_error("dependent columns");
    data = keep_part(data, independent);
    return descriptor.fit(y, data.matrix());
  }
}

// R^-1 from R'.
dense_matrix invert_r(const_matrix_view r_transposed) {
  const index_t q = r_transposed.cols();
  dense_matrix inverse(q, q);
  fill(inverse, 0.0);
  for (index_t j = 0; j < q; ++j) inverse(j, j) = 1.0;
  trsm(side::left, triangle::lower, transposed, r_transposed, inverse);
  return inverse;
}

// The state of the kept columns, in the units of the data.
warped_state make_state(const warped_fit& fit, const counted_columns& data) {
  const auto q = static_cast<index_t>(data.columns.size());
  const data_normalizer& normalizer = fit.normalizer;
  warped_state state;
  state.num_features = data.num_features;
  state.columns = index_vector(q);
  state.feature_means = dense_vector(q);
  state.feature_scales = dense_vector(q);
  state.weights = dense_matrix(q, 1 + q);
  const dense_matrix inverse = invert_r(fit.r_transposed);
  for (index_t j = 0; j < q; ++j) {
    const int exponent = data.exponents[static_cast<std::size_t>(j)];
    state.columns[j] = data.columns[static_cast<std::size_t>(j)];
    state.feature_means[j] = std::ldexp(normalizer.feature_means[j], exponent);
    state.feature_scales[j] = std::ldexp(normalizer.feature_scales[j], exponent);
    state.weights(j, 0) = fit.regressors[j];
    for (index_t k = 0; k < q; ++k) state.weights(j, 1 + k) = inverse(j, k);
  }
  state.noise_variance = fit.noise_variance;
  return state;
}

// Both likelihoods. The log Jacobian is that of the targets in their own units.
void add_likelihood(const warped_fit& fit, const_vector_view y, warped_report& report) {
  dense_vector log_slope(y.size());
  compute_log_slope(report.state.map, y, log_slope);
  const double log_jacobian = compensated_total(log_slope);
  double boundary = 0.0;
  tanh_warper_detail::boundary_penalty{}.add_value(fit.result.x, boundary);

  const auto n = static_cast<double>(y.size());
  const auto q = static_cast<double>(fit.regressors.size());
  const double sum_of_squares = fit.noise_variance * (n - q);
  report.criterion = 0.5 * n * std::log(sum_of_squares) - log_jacobian + boundary;
  report.log_likelihood =
      log_jacobian -
      0.5 * n * (std::log(2.0 * std::numbers::pi * sum_of_squares / n) + 1.0);
}

// Coefficients and covariance in the units of the columns.
void add_coefficients(warped_report& report) {
  const warped_state& state = report.state;
  const index_t q = state.columns.size();
  report.coef = dense_vector(state.num_features);
  std::fill(report.coef.begin(), report.coef.end(), 0.0);
  report.covariance_root = dense_matrix(state.num_features, q);
  fill(report.covariance_root, 0.0);
  for (index_t j = 0; j < q; ++j) {
    const double scale = state.feature_scales[j];
    const double coef = state.weights(j, 0) / scale;
    report.coef[state.columns[j]] = coef;
    report.intercept -= coef * state.feature_means[j];
    for (index_t k = 0; k < q; ++k)
      report.covariance_root(state.columns[j], k) = state.weights(j, 1 + k) / scale;
  }
}

void require_finite(const warped_report& report) {
  if (!all_finite(report.coef.view()) || !all_finite(report.covariance_root.view()) ||
      !is_finite(report.intercept) || !is_finite(report.state.noise_variance) ||
      !is_finite(report.state.map.scale))
    throw std::overflow_error("the coefficients overflow");
}

// With a constant target every map has residual 0, and the likelihood has no maximum.
void require_varying(const_vector_view y, int exponent, bool centered) {
  const double length = length_of(y, centered);
  if (!is_finite(length)) throw std::domain_error("squares overflow");
  if (std::ldexp(length, exponent) < smallest_normal)
    throw std::domain_error("constant target");
}

}  // namespace

warped_report fit_warped(const_vector_view y, const_matrix_view X,
                         const warped_fit_options& options) {
  // Without normalization the map depends on the units of the target.
  const int exponent = options.normalize ? unsafe_exponent(y) : 0;
  const dense_vector target = scale_by(y, exponent);
  require_varying(target, exponent, options.fit_intercept);
  counted_columns data = find_varying_columns(X, options);
  const warped_fit fit = fit_independent_columns(target, data, options);

  warped_report report;
  const dense_vector normalized = fit.normalizer.normalized_target(target);
  report.state = make_state(fit, data);
  report.state.map = make_tanh_map(fit.result.x, normalized,
                                   std::ldexp(fit.normalizer.target_mean, exponent),
                                   std::ldexp(fit.normalizer.target_scale, exponent));
  add_coefficients(report);
  add_likelihood(fit, y, report);
  report.effective_dof =
      static_cast<double>(data.columns.size()) + (options.fit_intercept ? 1.0 : 0.0);
  const auto [smallest, largest] = std::minmax_element(y.begin(), y.end());
  report.smallest_target = *smallest;
  report.largest_target = *largest;
  report.run = fit.result;
  require_finite(report);
  return report;
}

}  // namespace corvane::model
