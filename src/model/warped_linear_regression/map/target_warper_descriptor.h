// SPDX-License-Identifier: BSD-3-Clause
//
// target_warper_descriptor: a family of increasing maps z(y; theta) of a target. It
// evaluates a member and its derivatives in theta at the n training targets without
// building it. The parameters come in blocks, one per step, and the second derivatives of z
// between different blocks are zero: with block size b they are packed as b (b + 1) / 2
// columns per step, the pairs (0,0), (0,1), ..., (0,b-1), (1,1), ... in this order.
//
// The log Jacobian is L = sum over i of log dz/dy at y_i. With m the number of parameters
// and q that of packed pairs, the shapes are
//   latent n    jacobian n by m    latent_hessian n by q
//   log_jacobian_gradient m        log_jacobian_hessian m by m, its lower triangle
// Targets are in standardized units. Immutable, so that it may be shared.
#pragma once

#include <memory>

#include "model/warped_linear_regression/likelihood/residual_moments.h"
#include "model/warped_linear_regression/map/boundary_penalty.h"
#include "model/warped_linear_regression/map/target_warper.h"
#include "n_array/n_array.h"

namespace corvane::model {

class target_warper_descriptor {
 public:
  target_warper_descriptor(index_t num_steps, index_t num_parameters_per_step)
      : num_steps_{num_steps}, num_parameters_per_step_{num_parameters_per_step} {}
  target_warper_descriptor(const target_warper_descriptor&) = default;
  target_warper_descriptor& operator=(const target_warper_descriptor&) = default;
  target_warper_descriptor(target_warper_descriptor&&) = default;
  target_warper_descriptor& operator=(target_warper_descriptor&&) = default;
  virtual ~target_warper_descriptor() = default;

  index_t num_steps() const { return num_steps_; }
  index_t num_parameters_per_step() const { return num_parameters_per_step_; }
  index_t num_parameters() const { return num_steps_ * num_parameters_per_step_; }
  index_t num_pairs_per_step() const {
    return num_parameters_per_step_ * (num_parameters_per_step_ + 1) / 2;
  }

  // All evaluations overwrite their outputs, and throw std::invalid_argument when theta has
  // another length than num_parameters().
  virtual void compute_latent(const_vector_view theta, const_vector_view y,
                              double& log_jacobian, vector_view latent) const = 0;
  virtual void compute_latent_with_gradient(const_vector_view theta, const_vector_view y,
                                            vector_view latent, matrix_view jacobian,
                                            vector_view log_jacobian_gradient) const = 0;
  virtual void compute_latent_with_hessian(const_vector_view theta, const_vector_view y,
                                           vector_view latent, matrix_view jacobian,
                                           matrix_view latent_hessian,
                                           symmetric_view log_jacobian_hessian) const = 0;

  // Throws std::invalid_argument when theta has a wrong length, is not finite or is so
  // large that the map overflows, and when y is empty or not finite.
  virtual std::unique_ptr<target_warper> make_warper(dense_vector&& theta,
                                                     const_vector_view y) const = 0;
  // The warper maps a raw target r at (r - shift) / scale.
  virtual std::unique_ptr<target_warper> make_warper(dense_vector&& theta,
                                                     const_vector_view y, double shift,
                                                     double scale) const = 0;
  virtual const boundary_penalty& boundary() const = 0;

  // The sums over the targets in the likelihood and its derivatives, without arrays of the
  // length of the targets.
  virtual void compute_residual_moments(const_vector_view theta,
                                        const projected_targets& targets,
                                        residual_moments& moments) const = 0;

 private:
  index_t num_steps_;
  index_t num_parameters_per_step_;
};

}  // namespace corvane::model
