// SPDX-License-Identifier: BSD-3-Clause
//
// Prediction from a fitted warped linear regression.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/prediction/gauss_hermite.h"
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"

namespace corvane::model {

namespace {

// The numbers of a block fit into the scratch memory of a thread: entries of normalized
// rows, and latents that are inverted in one call, enough to amortize its set-up.
constexpr index_t entries_per_block = 65536;

// X = op(block): of a transposed block the rows are contiguous.
struct feature_rows {
  transposition op;
  const_matrix_block block;

  index_t rows() const { return op == plain ? block.rows() : block.cols(); }
  index_t cols() const { return op == plain ? block.cols() : block.rows(); }
  feature_rows part_rows(index_t first, index_t count) const {
    return {op,
            op == plain ? block.part_rows(first, count) : block.part_columns(first, count)};
  }
};

// Calls `visit` with a block of rows of X, the number of its first row and scratch for its
// normalized rows. `entries` is the number of scratch entries per row.
template <class Visit>
void for_each_row_block(const warped_fit& fit, const feature_rows& X, index_t entries,
                        const Visit& visit) {
  const index_t p = fit.normalizer.num_columns;
  if (X.cols() + (fit.normalizer.with_bias ? 1 : 0) != p)
    throw std::invalid_argument(
        "feature_matrix has another number of columns than the fit");
  const index_t block_rows = std::clamp<index_t>(entries_per_block / std::max(p, entries),
                                                 1, std::max<index_t>(1, X.rows()));
  scoped_allocator scope;
  const matrix_view normalized = scope.matrix(block_rows, p);
  for (index_t first = 0; first < X.rows(); first += block_rows) {
    const index_t rows = std::min(block_rows, X.rows() - first);
    visit(X.part_rows(first, rows), first, matrix_block{normalized}.part_rows(0, rows));
  }
}

void normalize_rows(const data_normalizer& normalizer, const feature_rows& X,
                    matrix_block normalized) {
  const matrix_block features = normalized.part_columns(0, X.cols());
  if (X.op == plain)
    copy(X.block, features);
  else
    copy_transposed(X.block, features);
  for (index_t j = 0; j < features.cols(); ++j)
    normalize(features.column(j), normalizer.feature_means[j], normalizer.feature_scales[j],
              features.column(j));
  if (!normalizer.with_bias) return;
  const vector_view bias = normalized.column(X.cols());
  std::fill(bias.begin(), bias.end(), 1.0 / normalizer.feature_scales[X.cols()]);
}

// Of a block of rows; `rows` is scratch.
void predict_latent_block(const warped_fit& fit, const feature_rows& X, matrix_block rows,
                          vector_view latent, vector_view variance) {
  normalize_rows(fit.normalizer, X, rows);
  gemv(1.0, plain, rows, fit.regressors, 0.0, latent);
  // x'(X'X)^-1 x = |R'^-1 x|^2
  trsm(side::right, triangle::lower, transposed, fit.r_transposed, rows);
  std::fill(variance.begin(), variance.end(), 0.0);
  for (index_t j = 0; j < rows.cols(); ++j) {
    const const_vector_view column = rows.column(j);
    for (index_t i = 0; i < variance.size(); ++i) variance[i] += column[i] * column[i];
  }
  for (double& entry : variance) entry = (1.0 + entry) * fit.noise_variance;
}

// What the quadrature of a block of rows works in: one entry per node of the rule in the
// column of each row.
struct quadrature_scratch {
  vector_view latent;
  vector_view variance;
  matrix_view points;
  matrix_view values;
};

quadrature_scratch make_quadrature_scratch(scoped_allocator& scope, index_t rows,
                                           index_t count) {
  return {scope.vector(rows), scope.vector(rows), scope.matrix(count, rows),
          scope.matrix(count, rows)};
}

// The means of w^-1(Z) over Z = latent + stddev N(0, 1), with the substitution
// Z = sqrt(2) stddev x + latent that turns the normal density into exp(-x^2) / sqrt(pi).
void integrate_targets(const target_warper& warper, const gauss_hermite_rule& rule,
                       double tolerance, const quadrature_scratch& block, vector_view out) {
  const const_vector_view nodes = rule.nodes();
  const const_vector_view weights = rule.weights();
  const index_t num_points = out.size() * rule.count();
  for (index_t i = 0; i < out.size(); ++i) {
    const double spread = 1.4142135623730951 * std::sqrt(block.variance[i]);
    for (index_t j = 0; j < rule.count(); ++j)
      block.points(j, i) = nodes[j] * spread + block.latent[i];
  }
  warper.invert({block.points.data(), num_points}, {block.values.data(), num_points},
                tolerance);
  for (index_t i = 0; i < out.size(); ++i) {
    double sum = 0.0;
    for (index_t j = 0; j < rule.count(); ++j) sum += weights[j] * block.values(j, i);
    out[i] = sum / 1.7724538509055159;
  }
}

}  // namespace

void warped_linear_regression_model_descriptor::predict_latent(const warped_fit& fit,
                                                               transposition op,
                                                               const_matrix_block A,
                                                               vector_view latent,
                                                               vector_view variance) const {
  for_each_row_block(
      fit, {op, A}, 1, [&](const feature_rows& block, index_t first, matrix_block scratch) {
        predict_latent_block(fit, block, scratch, latent.part(first, block.rows()),
                             variance.part(first, block.rows()));
      });
}

void warped_linear_regression_model_descriptor::predict(
    const warped_fit& fit, transposition op, const_matrix_block A, std::int64_t count,
    double tolerance, vector_view out) const {
  const gauss_hermite_rule rule{count};
  for_each_row_block(fit, {op, A}, rule.count(),
                     [&](const feature_rows& block, index_t first, matrix_block scratch) {
                       scoped_allocator scope;
                       const quadrature_scratch quadrature =
                           make_quadrature_scratch(scope, block.rows(), rule.count());
                       predict_latent_block(fit, block, scratch, quadrature.latent,
                                            quadrature.variance);
                       integrate_targets(*fit.target_warper, rule, tolerance, quadrature,
                                         out.part(first, block.rows()));
                     });
}

void warped_linear_regression_model_descriptor::predict_latent(const warped_fit& fit,
                                                               const_matrix_view X,
                                                               vector_view latent,
                                                               vector_view variance) const {
  predict_latent(fit, plain, X, latent, variance);
}

void warped_linear_regression_model_descriptor::predict(const warped_fit& fit,
                                                        const_matrix_view X,
                                                        std::int64_t count,
                                                        double tolerance,
                                                        vector_view out) const {
  predict(fit, plain, X, count, tolerance, out);
}

}  // namespace corvane::model
