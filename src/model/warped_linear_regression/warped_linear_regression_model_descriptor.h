// SPDX-License-Identifier: BSD-3-Clause
//
// warped_linear_regression_model_descriptor: turns options and raw data into a fitted
// warped linear regression z(y) = X beta + noise, and predicts from it. A prediction in
// target space is the mean of the inverse map under the latent predictive distribution, by
// Gauss-Hermite quadrature: neither the median nor the inverse of the latent mean.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "common/blas_arguments.h"
#include "common/interruption.h"
#include "common/matrix_block.h"
#include "model/ridge_regression/data_normalizer.h"
#include "model/warped_linear_regression/likelihood/warped_objective.h"
#include "model/warped_linear_regression/map/target_warper_descriptor.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

struct warped_linear_regression_model_options {
  bool center_target = true;
  bool center_features = true;
  bool with_bias = false;
  bool rescale_target = true;
  bool rescale_features = true;
  std::int64_t num_restarts = std::numeric_limits<std::int64_t>::max();
  std::unique_ptr<trust_region_optimizer> optimizer;  // null means one with 1e-4 and 1e-3
  std::function<void(vector_view)> initializer;      // empty means uniform draws on [-1, 1)
  std::unique_ptr<target_warper_descriptor> warper;  // the family; never null
  interruption* interrupt = nullptr;  // not owned; checked while the data are prepared
};

// The result of a fit, with all that prediction and reporting need.
struct warped_fit {
  data_normalizer normalizer;  // of new rows
  trust_region_result result;  // holds the final parameters and value
  std::shared_ptr<model::target_warper> target_warper;
  dense_vector regressors;  // beta, p entries: normalized features to normalized latents
  double noise_variance = 0.0;  // in the same units
  dense_matrix r_transposed;    // R', p by p: its lower triangle is meaningful
};

class warped_linear_regression_model_descriptor {
 public:
  // Throws std::invalid_argument when there is no family of warpers.
  explicit warped_linear_regression_model_descriptor(
      warped_linear_regression_model_options&& options);

  // y has n entries, X n rows and fewer columns than rows. Throws std::invalid_argument on
  // data that are empty, mismatched or not finite and on a constant target,
  // std::runtime_error on dependent columns, the optimizer's errors at the start point, and
  // what the initializer throws.
  warped_fit fit(const_vector_view y, const_matrix_view X) const;

  // The objective as `fit` would build it, with an unlimited number of restarts and of the
  // targets with all of their digits.
  std::unique_ptr<warped_linear_regression_detail::objective> make_objective(
      const_vector_view y, const_matrix_view X) const;

  // The map with the parameters `theta` for training targets y, without a fit.
  std::unique_ptr<target_warper> make_warper(const_vector_view theta,
                                             const_vector_view y) const;

  // The mean and the variance of the latent value of each row of X. The variance is that of
  // the noise and of beta: sigma^2 (1 + x'(X'X)^-1 x).
  void predict_latent(const warped_fit& fit, const_matrix_view X, vector_view latent,
                      vector_view variance) const;

  // The mean of the target of each row of X, with `count` quadrature points and the inverse
  // map solved to `tolerance`.
  void predict(const warped_fit& fit, const_matrix_view X, std::int64_t count,
               double tolerance, vector_view out) const;

  // The same with X = op(A), for rows that are contiguous in memory.
  void predict_latent(const warped_fit& fit, transposition op, const_matrix_block A,
                      vector_view latent, vector_view variance) const;
  void predict(const warped_fit& fit, transposition op, const_matrix_block A,
               std::int64_t count, double tolerance, vector_view out) const;

 private:
  struct normalized_data;
  normalized_data normalize(const_vector_view y, const_matrix_view X) const;
  std::unique_ptr<warped_linear_regression_detail::objective> build_objective(
      normalized_data&& data, std::int64_t num_restarts) const;

  bool center_target_;
  bool center_features_;
  bool with_bias_;
  bool rescale_target_;
  bool rescale_features_;
  std::int64_t num_restarts_;
  interruption* interrupt_;
  std::unique_ptr<trust_region_optimizer> optimizer_;
  std::function<void(vector_view)> initializer_;
  std::shared_ptr<const target_warper_descriptor> warper_;
};

}  // namespace corvane::model
