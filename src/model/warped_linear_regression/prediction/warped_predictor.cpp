// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/prediction/warped_predictor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/data_normalizer.h"
#include "model/warped_linear_regression/prediction/gauss_hermite.h"

namespace corvane::model {

namespace {

// Exact for inverse maps that are polynomials of degree 41.
constexpr index_t num_quadrature_points = 21;

// The numbers of a block fit into the scratch memory of a thread: entries of normalized
// rows, and latents that are inverted in one call, enough to amortize its set-up.
constexpr index_t entries_per_block = 65536;

const double infinity = std::numeric_limits<double>::infinity();

prediction_rows part_rows(const prediction_rows& X, index_t first, index_t count) {
  return {
      X.op,
      X.op == plain ? X.block.part_rows(first, count) : X.block.part_columns(first, count),
      X.interrupter};
}

// Column j of X.
void copy_column(const prediction_rows& X, index_t j, vector_view column) {
  for (index_t i = 0; i < column.size(); ++i)
    column[i] = X.op == plain ? X.block(i, j) : X.block(j, i);
}

// The kept columns of X, centered and rescaled.
void normalize_rows(const warped_state& state, const prediction_rows& X,
                    matrix_block normalized) {
  const index_t kept = state.columns.size();
  const bool keeps_all = kept == state.num_features;
  if (keeps_all && X.op == plain) copy(X.block, normalized);
  if (keeps_all && X.op != plain) copy_transposed(X.block, normalized);
  for (index_t j = 0; j < kept; ++j) {
    const vector_view column = normalized.column(j);
    if (!keeps_all) copy_column(X, state.columns[j], column);
    normalize(column, state.feature_means[j], state.feature_scales[j], column);
  }
}

void predict_latent_block(const warped_state& state, const prediction_rows& X,
                          vector_view mean, vector_view deviation) {
  scoped_allocator scope;
  const index_t kept = state.columns.size();
  const matrix_view normalized = scope.matrix(X.rows(), kept);
  const matrix_view products = scope.matrix(X.rows(), 1 + kept);
  normalize_rows(state, X, normalized);
  gemm(1.0, plain, normalized, plain, state.weights, 0.0, products);
  std::copy_n(products.data(), X.rows(), mean.begin());
  std::fill(deviation.begin(), deviation.end(), 1.0);
  for (index_t j = 1; j <= kept; ++j) {
    const const_vector_view column = products.column(j);
    for (index_t i = 0; i < X.rows(); ++i) deviation[i] += column[i] * column[i];
  }
  for (double& entry : deviation) entry = std::sqrt(entry * state.noise_variance);
}

// Calls visit(first, mean, deviation) with the latent distributions of a block of rows.
// `entries` is the number of scratch entries per row.
template <class Visit>
void for_each_block(const warped_state& state, const prediction_rows& X, index_t entries,
                    const Visit& visit) {
  if (X.cols() != state.num_features)
    throw std::invalid_argument("X has another number of columns than the fit");
  const index_t numbers = std::max(1 + 2 * state.columns.size(), entries);
  const index_t most = std::max<index_t>(1, entries_per_block / numbers);
  for (index_t first = 0; first < X.rows(); first += most) {
    check(X.interrupter);
    scoped_allocator scope;
    const index_t rows = std::min(most, X.rows() - first);
    const vector_view mean = scope.vector(rows);
    const vector_view deviation = scope.vector(rows);
    predict_latent_block(state, part_rows(X, first, rows), mean, deviation);
    visit(first, const_vector_view{mean}, const_vector_view{deviation});
  }
}

// Column i holds u at m_i + s_i d for each d of `scores`.
void invert_at_scores(const tanh_map& map, const_vector_view mean,
                      const_vector_view deviation, const_vector_view scores,
                      matrix_view standardized) {
  scoped_allocator scope;
  const matrix_view points = scope.matrix(scores.size(), mean.size());
  for (index_t i = 0; i < mean.size(); ++i)
    for (index_t j = 0; j < scores.size(); ++j)
      points(j, i) = mean[i] + deviation[i] * scores[j];
  invert_standardized(map, {points.data(), points.size()},
                      {standardized.data(), standardized.size()});
}

// A rule for the standard normal distribution: with Z = sqrt(2) x the density becomes
// exp(-x^2) / sqrt(pi).
struct normal_rule {
  dense_vector scores;
  dense_vector weights;
};

normal_rule make_normal_rule() {
  const gauss_hermite_rule rule{num_quadrature_points};
  normal_rule normal{dense_vector{rule.nodes()}, dense_vector{rule.weights()}};
  for (double& score : normal.scores) score *= std::numbers::sqrt2;
  for (double& weight : normal.weights) weight *= std::numbers::inv_sqrtpi;
  return normal;
}

// log of the normal density; without noise it is concentrated at the mean.
double log_normal_density(double z, double mean, double deviation) {
  if (deviation == 0.0) return z == mean ? infinity : -infinity;
  const double distance = (z - mean) / deviation;
  return -0.5 * distance * distance - std::log(deviation) -
         0.5 * std::log(2.0 * std::numbers::pi);
}

// The indices of the scores in ascending order.
std::vector<index_t> rising_order(const_vector_view scores) {
  std::vector<index_t> order(static_cast<std::size_t>(scores.size()));
  std::iota(order.begin(), order.end(), index_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](index_t a, index_t b) { return scores[a] < scores[b]; });
  return order;
}

}  // namespace

void check_state(const warped_state& state) {
  const index_t kept = state.columns.size();
  if (state.feature_means.size() != kept || state.feature_scales.size() != kept ||
      state.weights.rows() != kept || state.weights.cols() != 1 + kept ||
      kept > state.num_features)
    throw std::invalid_argument("the parts of the state do not fit each other");
  for (const index_t column : state.columns)
    if (column < 0 || column >= state.num_features)
      throw std::invalid_argument("the state keeps a column that there is not");
  check_steps(state.map);
}

void predict_latent(const warped_state& state, const prediction_rows& X, vector_view mean,
                    vector_view deviation) {
  for_each_block(state, X, 1, [&](index_t first, const_vector_view m, const_vector_view s) {
    std::copy(m.begin(), m.end(), mean.part(first, m.size()).begin());
    std::copy(s.begin(), s.end(), deviation.part(first, s.size()).begin());
  });
}

void predict_moments(const warped_state& state, const prediction_rows& X, vector_view mean,
                     vector_view deviation) {
  const normal_rule rule = make_normal_rule();
  const const_vector_view weights = rule.weights;
  const auto integrate = [&](index_t first, const_vector_view m, const_vector_view s) {
    scoped_allocator scope;
    const matrix_view u = scope.matrix(weights.size(), m.size());
    invert_at_scores(state.map, m, s, rule.scores, u);
    for (index_t i = 0; i < m.size(); ++i) {
      double sum = 0.0;
      for (index_t j = 0; j < weights.size(); ++j) sum += weights[j] * u(j, i);
      mean[first + i] = sum * state.map.scale + state.map.shift;
      if (deviation.size() == 0) continue;
      double squares = 0.0;
      for (index_t j = 0; j < weights.size(); ++j)
        squares += weights[j] * (u(j, i) - sum) * (u(j, i) - sum);
      deviation[first + i] = std::sqrt(squares) * state.map.scale;
    }
  };
  for_each_block(state, X, num_quadrature_points, integrate);
}

void predict_quantiles(const warped_state& state, const prediction_rows& X,
                       const_vector_view scores, matrix_view quantiles) {
  const std::vector<index_t> order = rising_order(scores);
  const auto invert_block = [&](index_t first, const_vector_view m, const_vector_view s) {
    const matrix_view targets{&quantiles(0, first), scores.size(), m.size()};
    invert_at_scores(state.map, m, s, scores, targets);
    for (index_t i = 0; i < m.size(); ++i) {
      // The map is increasing; the last digits of its inverse need not be.
      double least = -infinity;
      for (const index_t j : order) {
        const double target = targets(j, i) * state.map.scale + state.map.shift;
        least = target < least ? least : target;
        targets(j, i) = least;
      }
    }
  };
  if (scores.size() > 0) for_each_block(state, X, scores.size(), invert_block);
}

void predict_log_density(const warped_state& state, const prediction_rows& X,
                         const_vector_view target, vector_view log_density) {
  const auto evaluate = [&](index_t first, const_vector_view m, const_vector_view s) {
    scoped_allocator scope;
    const vector_view latent = scope.vector(m.size());
    const const_vector_view y = target.part(first, m.size());
    const vector_view out = log_density.part(first, m.size());
    compute_latent(state.map, y, latent);
    compute_log_slope(state.map, y, out);
    for (index_t i = 0; i < m.size(); ++i)
      out[i] += log_normal_density(latent[i], m[i], s[i]);
  };
  for_each_block(state, X, 1, evaluate);
}

}  // namespace corvane::model
