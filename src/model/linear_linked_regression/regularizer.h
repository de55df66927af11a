// SPDX-License-Identifier: BSD-3-Clause
//
// regularizer: a penalty R(theta, w) on the weights w, p of them, with hyperparameters
// theta, Q of them. R is separable in w, so its derivatives in w are vectors of length p:
//   r1 = dR/dw    r2 = d2R/dw2    r3 = d3R/dw3    r4 = d4R/dw4
// and those of r1, r2, r3 in theta are sparse matrices with p columns. The first derivative
// has a row per hyperparameter. The second one has a row per pair (a, b), a <= b, the upper
// triangle packed row by row: (0,0), (0,1), ..., (0,Q-1), (1,1), ...; see pair_index.
//
// Hyperparameters enter squared: either sign is allowed, and the square is the strength.
#pragma once

#include <cstdint>

#include "model/linear_linked_regression/sparse_matrix.h"
#include "n_array/n_array_view.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

// The status of the output of a derivative operation.
enum class regularizer_status : std::int32_t {
  written = 0,           // the output holds the derivative; a vector is finite throughout
  not_finite = 1,        // some entry of a vector is not finite
  identically_zero = 2,  // to be taken as all zero; the output holds nothing useful
};

// The status of a vector of derivatives: written, or not finite.
regularizer_status status_of(const_vector_view derivative);

// The rows of a second derivative in Q hyperparameters, and the row of the pair (a, b),
// a <= b.
constexpr index_t num_pairs(index_t Q) { return Q * (Q + 1) / 2; }
constexpr index_t pair_index(index_t a, index_t b, index_t Q) {
  return a * Q - a * (a - 1) / 2 + (b - a);
}

// No operation throws. Outputs are as long as what they receive: p for a vector, Q for
// initialize_hyperparameters. A sparse output is written only with the status `written`.
class regularizer {
 public:
  regularizer() = default;
  regularizer(const regularizer&) = delete;
  regularizer& operator=(const regularizer&) = delete;
  regularizer(regularizer&&) = delete;
  regularizer& operator=(regularizer&&) = delete;
  virtual ~regularizer() = default;

  // Which weights share hyperparameters. Theta has one of each kind for every group: all of
  // the first kind, then all of the next.
  virtual const variable_mapping& mapping() const = 0;
  virtual index_t num_hyperparameters() const = 0;
  // The start value of an optimization over theta.
  virtual void initialize_hyperparameters(vector_view theta) const = 0;

  // False when R is not finite.
  virtual bool compute_value(const_vector_view theta, const_vector_view w,
                             double& value) const = 0;
  virtual regularizer_status compute_gradient(const_vector_view theta, const_vector_view w,
                                              vector_view r1) const = 0;
  virtual regularizer_status compute_second_derivative(const_vector_view theta,
                                                       const_vector_view w,
                                                       vector_view r2) const = 0;
  virtual regularizer_status compute_third_derivative(const_vector_view theta,
                                                      const_vector_view w,
                                                      vector_view r3) const;
  virtual regularizer_status compute_fourth_derivative(const_vector_view theta,
                                                       const_vector_view w,
                                                       vector_view r4) const;

  // Q by p: dr1/dtheta_a
  virtual regularizer_status compute_gradient_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const = 0;
  // Pairs by p: d2r1/dtheta_a dtheta_b
  virtual regularizer_status compute_gradient_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const = 0;
  // Q by p: dr2/dtheta_a
  virtual regularizer_status compute_second_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const = 0;
  // Pairs by p: d2r2/dtheta_a dtheta_b
  virtual regularizer_status compute_second_derivative_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const = 0;
  // Q by p: dr3/dtheta_a
  virtual regularizer_status compute_third_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const;

  // False where the three operations with a default say that nothing overrides them: a
  // caller then need not ask, nor set memory aside.
  virtual bool has_third_derivative() const { return false; }
  virtual bool has_fourth_derivative() const { return false; }
  virtual bool has_third_derivative_hyperparameter_derivative() const { return false; }
};

}  // namespace corvane::model
