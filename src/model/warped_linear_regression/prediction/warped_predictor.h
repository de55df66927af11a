// SPDX-License-Identifier: BSD-3-Clause
//
// Predictive distributions of a fitted warped linear regression, from plain numbers. The
// latent value of a row x is normal: with w its kept columns, centered and rescaled,
//
//   mean m = w'beta,   variance s^2 = v (1 + |w'V|^2),   V V' = inverse(X'X),
//
// v the variance of the noise; the other term is the uncertainty of beta. The target is
// the inverse of the map at that value.
#pragma once

#include "common/blas_arguments.h"
#include "common/interruption.h"
#include "common/matrix_block.h"
#include "model/warped_linear_regression/map/tanh_map.h"
#include "n_array/n_array.h"

namespace corvane::model {

struct warped_state {
  index_t num_features = 0;     // p, of a row
  index_vector columns;         // the q kept ones, in rising order
  dense_vector feature_means;   // q
  dense_vector feature_scales;  // q
  dense_matrix weights;         // q by 1 + q: beta and V
  double noise_variance = 0.0;
  tanh_map map;
};

// Throws std::invalid_argument where the parts do not fit each other.
void check_state(const warped_state& state);

// Rows to predict: X = op(block). The functions below throw std::invalid_argument where its
// columns are not as many as those of the state, and check `interrupter` between blocks of
// rows. Their outputs have an entry for each row.
struct prediction_rows {
  transposition op;
  const_matrix_block block;
  interruption* interrupter = nullptr;

  index_t rows() const { return op == plain_rows ? block.rows() : block.cols(); }
  index_t cols() const { return op == plain_rows ? block.cols() : block.rows(); }

  static constexpr auto plain_rows = transposition::none;
};

// m and s.
void predict_latent(const warped_state& state, const prediction_rows& X, vector_view mean,
                    vector_view deviation);

// Mean and standard deviation of the target, by Gauss-Hermite quadrature with 21 points;
// the deviations are left out where they have no entries.
void predict_moments(const warped_state& state, const prediction_rows& X, vector_view mean,
                     vector_view deviation);

// Column i holds the targets of row i at m + s d for each d of `scores`, the quantiles of
// the standard normal distribution. They rise with the scores.
void predict_quantiles(const warped_state& state, const prediction_rows& X,
                       const_vector_view scores, matrix_view quantiles);

// log of the density of each row's target y: the normal density at z(y) times dz/dy.
void predict_log_density(const warped_state& state, const prediction_rows& X,
                         const_vector_view target, vector_view log_density);

}  // namespace corvane::model
