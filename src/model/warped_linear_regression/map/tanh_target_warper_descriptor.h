// SPDX-License-Identifier: BSD-3-Clause
//
// The family of sums of tanh steps, z(y) = y + sum over k of a_k (tanh(b_k (y + c_k)) -
// h_k), with the parameters (alpha, beta, gamma) of each step standing for a = alpha^2, b =
// beta^2, c = gamma. E. Snelson, C. Rasmussen, Z. Ghahramani, "Warped Gaussian processes",
// NIPS 16 (2003), section 3; here the mean h_k makes the mean of z that of y.
#pragma once

#include <memory>

#include "model/warped_linear_regression/map/boundary_penalty.h"
#include "model/warped_linear_regression/map/target_warper_descriptor.h"

namespace corvane::model {

namespace tanh_warper_detail {

class tanh_target_warper_descriptor final : public target_warper_descriptor {
 public:
  explicit tanh_target_warper_descriptor(index_t num_steps);

  void compute_latent(const_vector_view theta, const_vector_view y, double& log_jacobian,
                      vector_view latent) const override;
  void compute_latent_with_gradient(const_vector_view theta, const_vector_view y,
                                    vector_view latent, matrix_view jacobian,
                                    vector_view log_jacobian_gradient) const override;
  void compute_latent_with_hessian(const_vector_view theta, const_vector_view y,
                                   vector_view latent, matrix_view jacobian,
                                   matrix_view latent_hessian,
                                   symmetric_view log_jacobian_hessian) const override;
  std::unique_ptr<target_warper> make_warper(dense_vector&& theta,
                                             const_vector_view y) const override;
  std::unique_ptr<target_warper> make_warper(dense_vector&& theta, const_vector_view y,
                                             double shift, double scale) const override;
  const corvane::boundary_penalty& boundary() const override { return penalty_; }
  void compute_residual_moments(const_vector_view theta, const projected_targets& targets,
                                residual_moments& moments) const override;

 private:
  boundary_penalty penalty_;
};

}  // namespace tanh_warper_detail

// Throws std::invalid_argument when `num_steps` is negative.
std::unique_ptr<target_warper_descriptor> make_tanh_target_warper_descriptor(
    index_t num_steps);

}  // namespace corvane::model
