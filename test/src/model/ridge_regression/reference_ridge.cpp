// SPDX-License-Identifier: BSD-3-Clause
#include "src/model/ridge_regression/reference_ridge.h"

#include <cmath>
#include <random>
#include <utility>

namespace corvane::model {

namespace {

struct measured_column {
  long_vector normalized;
  long double mean;
  long double scale;
};

measured_column normalize(bool center, bool rescale, const_vector_view raw) {
  measured_column result{long_vector(raw.begin(), raw.end()), 0.0L, 1.0L};
  const auto n = static_cast<long double>(raw.size());
  if (center)
    for (const long double value : result.normalized) result.mean += value / n;
  for (long double& value : result.normalized) value -= result.mean;
  if (rescale) {
    long double squares = 0.0L;
    for (const long double value : result.normalized) squares += value * value;
    result.scale = squares == 0.0L ? 1.0L : std::sqrt(squares);
  }
  for (long double& value : result.normalized) value /= result.scale;
  return result;
}

long double product(const long_vector& a, const long_vector& b) {
  long double sum = 0.0L;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// Gaussian elimination; a positive definite matrix needs no pivoting.
long_vector solve(std::vector<long_vector> a, long_vector b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k)
    for (std::size_t i = k + 1; i < n; ++i) {
      const long double factor = a[i][k] / a[k][k];
      for (std::size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
    b[k] /= a[k][k];
  }
  return b;
}

}  // namespace

sample_data make_sample(index_t rows, index_t cols, unsigned seed) {
  std::mt19937 generator(seed);
  std::normal_distribution<double> normal;
  sample_data data{dense_matrix(rows, cols), dense_vector(rows)};
  for (double& value : data.y) value = 3.0 + 0.5 * normal(generator);
  for (index_t j = 0; j < cols; ++j) {
    const double coefficient = j % 2 == 0 ? 1.0 + 0.1 * static_cast<double>(j) : 0.05;
    for (index_t i = 0; i < rows; ++i) {
      const double value = normal(generator);
      data.X(i, j) = static_cast<double>(j) - 1.5 + (0.5 + static_cast<double>(j)) * value;
      data.y[i] += coefficient * value;
    }
  }
  return data;
}

reference_problem::reference_problem(const data_normalizer_options& options,
                                     const sample_data& data) {
  for (index_t j = 0; j < data.X.cols(); ++j) {
    measured_column column = normalize(options.center_features, options.rescale_features,
                                       data.X.view().column(j));
    columns.push_back(std::move(column.normalized));
    means.push_back(column.mean);
    scales.push_back(column.scale);
  }
  if (options.with_bias) {
    const auto n = static_cast<std::size_t>(data.X.rows());
    const long double length = std::sqrt(static_cast<long double>(n));
    columns.emplace_back(n, 1.0L / length);
    means.push_back(0.0L);
    scales.push_back(length);
  }
  measured_column measured =
      normalize(options.center_target, options.rescale_target, data.y);
  target = std::move(measured.normalized);
  target_mean = measured.mean;
  target_scale = measured.scale;
}

long_vector solve_ridge(const std::vector<long_vector>& columns, const long_vector& target,
                        const long_vector& penalties) {
  const std::size_t p = columns.size();
  std::vector<long_vector> a(p, long_vector(p));
  long_vector b(p);
  for (std::size_t j = 0; j < p; ++j) {
    for (std::size_t k = 0; k < p; ++k) a[j][k] = product(columns[j], columns[k]);
    if (j < penalties.size()) a[j][j] += penalties[j];
    b[j] = product(columns[j], target);
  }
  return solve(std::move(a), std::move(b));
}

long double leave_one_out_error(const reference_problem& problem,
                                const long_vector& penalties) {
  long double error = 0.0L;
  for (std::size_t left_out = 0; left_out < problem.target.size(); ++left_out) {
    std::vector<long_vector> columns = problem.columns;
    long_vector target = problem.target;
    const auto drop = [left_out](long_vector& values) {
      values.erase(values.begin() + static_cast<std::ptrdiff_t>(left_out));
    };
    for (long_vector& column : columns) drop(column);
    drop(target);
    const long_vector weights = solve_ridge(columns, target, penalties);
    long double residual = problem.target[left_out];
    for (std::size_t j = 0; j < weights.size(); ++j)
      residual -= weights[j] * problem.columns[j][left_out];
    error += residual * residual;
  }
  return error;
}

}  // namespace corvane::model
