// SPDX-License-Identifier: BSD-3-Clause
#include "src/model/ridge_regression/fitted_ridge_check.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace corvane::model {

namespace {

std::size_t place(index_t j) { return static_cast<std::size_t>(j); }

void expect_close(double value, long double expected, double tolerance) {
  const auto rounded = static_cast<double>(expected);
  EXPECT_NEAR(value, rounded, tolerance * (1.0 + std::abs(rounded)));
}

void expect_predictions(const reference_problem& problem, const long_vector& weights,
                        const sample_data& data, const ridge_regression_model& model) {
  dense_vector predictions(data.X.rows());
  model.predict(data.X, predictions);
  for (index_t i = 0; i < data.X.rows(); ++i) {
    long double normalized = 0.0L;
    for (std::size_t j = 0; j < weights.size(); ++j)
      normalized += weights[j] * problem.columns[j][place(i)];
    expect_close(predictions[i], problem.target_mean + problem.target_scale * normalized,
                 1e-9);
  }
}

}  // namespace

ridge_regression_model_options make_options(ridge_objective_mode score,
                                            ridge_grouping_mode grouping,
                                            const data_normalizer_options& normalization,
                                            bool regularize_bias) {
  ridge_regression_model_options options;
  options.objective_mode = score;
  options.grouping_mode = grouping;
  options.center_target = normalization.center_target;
  options.center_features = normalization.center_features;
  options.with_bias = normalization.with_bias;
  options.rescale_target = normalization.rescale_target;
  options.rescale_features = normalization.rescale_features;
  options.regularize_bias = regularize_bias;
  return options;
}

ridge_regression_model fit_ridge(ridge_regression_model_options options,
                                 const sample_data& data,
                                 const std::vector<index_t>& groups) {
  const ridge_regression_model_descriptor descriptor(std::move(options));
  return descriptor.fit(data.y, data.X, groups_of(groups));
}

index_vector groups_of(const std::vector<index_t>& values) {
  index_vector groups(static_cast<index_t>(values.size()));
  std::copy(values.begin(), values.end(), groups.begin());
  return groups;
}

std::vector<double> entries(const_vector_view values) {
  return {values.begin(), values.end()};
}

std::vector<index_t> entries(const index_vector& values) {
  return {values.begin(), values.end()};
}

long_vector expanded_point(const ridge_regression_model& model) {
  const index_t count = model.regularization_scaled.size();
  const bool grouped = model.regularization.size() < count;
  long_vector point;
  for (index_t j = 0; j < count; ++j)
    point.push_back(static_cast<long double>(
        model.regularization[grouped ? model.regularization_groups[j] : j]));
  return point;
}

void expect_consistent(const data_normalizer_options& normalization,
                       const sample_data& data, const ridge_regression_model& model) {
  const reference_problem problem(normalization, data);
  long_vector penalties;
  for (const long double t : expanded_point(model)) {
    const std::size_t j = penalties.size();
    const long double scaled = t * problem.target_scale / problem.scales[j];
    expect_close(model.regularization_scaled[static_cast<index_t>(j)], scaled * scaled,
                 1e-12);
    penalties.push_back(t * t);
  }
  const long_vector weights = solve_ridge(problem.columns, problem.target, penalties);

  ASSERT_EQ(model.weights.size(), problem.num_columns());
  long double intercept = problem.target_mean;
  for (index_t j = 0; j < model.weights.size(); ++j) {
    const long double raw =
        weights[place(j)] * problem.target_scale / problem.scales[place(j)];
    expect_close(model.weights[j], raw, 1e-9);
    const bool is_bias = normalization.with_bias && j + 1 == model.weights.size();
    intercept += is_bias ? raw : -raw * problem.means[place(j)];
  }
  expect_close(model.intercept, intercept, 1e-9);
  expect_close(model.target_mean, problem.target_mean, 1e-14);
  EXPECT_EQ(model.with_bias, normalization.with_bias);
  EXPECT_EQ(model.score, model.result.value);
  EXPECT_EQ(entries(model.regularization), entries(model.result.x));
  expect_predictions(problem, weights, data, model);
}

double largest_difference(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.size() != b.size()) return std::numeric_limits<double>::infinity();
  double largest = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i)
    largest = std::max(
        largest, std::abs(a[i] - b[i]) / std::max({1.0, std::abs(a[i]), std::abs(b[i])}));
  return largest;
}

}  // namespace corvane::model
