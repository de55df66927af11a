// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "model/warped_linear_regression/interface_only/tanh_step_derivatives.h"
#include "model/warped_linear_regression/likelihood/tanh_step_moments.h"
#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "model/warped_linear_regression/map/tanh_target_warper.h"

namespace corvane::model {

namespace tanh_warper_detail {

namespace {

void check_length(const_vector_view theta, index_t expected) {
  if (theta.size() != expected)
    throw std::invalid_argument("theta has " + std::to_string(theta.size()) +
                                " parameters, expected " + std::to_string(expected));
}

}  // namespace

tanh_target_warper_descriptor::tanh_target_warper_descriptor(index_t num_steps)
    : target_warper_descriptor{num_steps, parameters_per_step} {}

void tanh_target_warper_descriptor::compute_latent(const_vector_view theta,
                                                   const_vector_view y,
                                                   double& log_jacobian,
                                                   vector_view latent) const {
  check_length(theta, num_parameters());
  evaluate_steps(theta, y, {.latent = latent, .log_jacobian = &log_jacobian});
}

void tanh_target_warper_descriptor::compute_latent_with_gradient(
    const_vector_view theta, const_vector_view y, vector_view latent, matrix_view jacobian,
    vector_view log_jacobian_gradient) const {
  check_length(theta, num_parameters());
  evaluate_steps(theta, y,
                 {.latent = latent,
                  .jacobian = jacobian,
                  .log_jacobian_gradient = log_jacobian_gradient});
}

void tanh_target_warper_descriptor::compute_latent_with_hessian(
    const_vector_view theta, const_vector_view y, vector_view latent, matrix_view jacobian,
    matrix_view latent_hessian, symmetric_view log_jacobian_hessian) const {
  check_length(theta, num_parameters());
  evaluate_steps(theta, y,
                 {.latent = latent,
                  .jacobian = jacobian,
                  .latent_hessian = latent_hessian,
                  .log_jacobian_hessian = log_jacobian_hessian});
}

void tanh_target_warper_descriptor::compute_residual_moments(
    const_vector_view theta, const projected_targets& targets,
    residual_moments& moments) const {
  check_length(theta, num_parameters());
  sum_residual_moments(theta, targets, moments);
}

std::unique_ptr<target_warper> tanh_target_warper_descriptor::make_warper(
    dense_vector&& theta, const_vector_view y) const {
  return make_warper(std::move(theta), y, 0.0, 1.0);
}

std::unique_ptr<target_warper> tanh_target_warper_descriptor::make_warper(
    dense_vector&& theta, const_vector_view y, double shift, double scale) const {
  check_length(theta, num_parameters());
  return std::make_unique<tanh_target_warper>(*this, std::move(theta), y, shift, scale);
}

}  // namespace tanh_warper_detail

std::unique_ptr<target_warper_descriptor> make_tanh_target_warper_descriptor(
    index_t num_steps) {
  if (num_steps < 0)
    throw std::invalid_argument("num_steps is " + std::to_string(num_steps) +
                                ", expected 0 or more");
  return std::make_unique<tanh_warper_detail::tanh_target_warper_descriptor>(num_steps);
}

}  // namespace corvane::model
