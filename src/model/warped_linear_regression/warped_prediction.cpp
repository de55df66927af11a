// SPDX-License-Identifier: BSD-3-Clause
//
// Prediction from a fitted warped linear regression.
#include <cmath>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/gauss_hermite.h"
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"

namespace corvane::model {

namespace {

// The mean of w^-1(Z) over Z = latent + stddev N(0, 1), with the substitution
// Z = sqrt(2) stddev x + latent that turns the normal density into exp(-x^2) / sqrt(pi).
// `points` and `values` are scratch, one entry per node of the rule.
double mean_target(const target_warper& warper, const gauss_hermite_rule& rule,
                   double latent, double stddev, double tolerance, vector_view points,
                   vector_view values) {
  const const_vector_view nodes = rule.nodes();
  const const_vector_view weights = rule.weights();
  const double spread = 1.4142135623730951 * stddev;
  for (index_t j = 0; j < rule.count(); ++j) points[j] = nodes[j] * spread + latent;
  warper.invert(points, values, tolerance);
  double sum = 0.0;
  for (index_t j = 0; j < rule.count(); ++j) sum += weights[j] * values[j];
  return sum / 1.7724538509055159;
}

}  // namespace

void warped_linear_regression_model_descriptor::predict_latent(const warped_fit& fit,
                                                               const_matrix_view X,
                                                               vector_view latent,
                                                               vector_view variance) const {
  dense_matrix rows = fit.normalizer.normalized_features(X);
  gemv(1.0, plain, rows, fit.regressors, 0.0, latent);
  // x'(X'X)^-1 x = |R'^-1 x|^2
  if (rows.size() > 0)
    trsm(side::right, triangle::lower, transposed, fit.r_transposed, rows);
  for (double& entry : variance) entry = 0.0;
  for (index_t j = 0; j < rows.cols(); ++j) {
    const const_vector_view column = rows.view().column(j);
    for (index_t i = 0; i < rows.rows(); ++i) variance[i] += column[i] * column[i];
  }
  for (double& entry : variance) entry = (1.0 + entry) * fit.noise_variance;
}

void warped_linear_regression_model_descriptor::predict(const warped_fit& fit,
                                                        const_matrix_view X,
                                                        std::int64_t count,
                                                        double tolerance,
                                                        vector_view out) const {
  const gauss_hermite_rule rule{count};
  scoped_allocator scope;
  const vector_view latent = scope.vector(X.rows());
  const vector_view variance = scope.vector(X.rows());
  predict_latent(fit, X, latent, variance);
  const vector_view points = scope.vector(rule.count());
  const vector_view values = scope.vector(rule.count());
  for (index_t i = 0; i < X.rows(); ++i)
    out[i] = mean_target(*fit.target_warper, rule, latent[i], std::sqrt(variance[i]),
                         tolerance, points, values);
}

}  // namespace corvane::model
