// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/tanh_step_coefficients.h"

namespace corvane::model::tanh_warper_detail {

step_coefficients make_step_coefficients(const_vector_view triple) {
  const double alpha = triple[0];
  const double beta = triple[1];
  const double a = alpha * alpha;
  const double b = beta * beta;
  return {.height = a,
          .steepness = b,
          .position = triple[2],
          .slope = a * b,
          .latent_by_alpha = 2.0 * alpha,
          .latent_by_beta = 2.0 * a * beta,
          .latent_by_gamma = a * b,
          .slope_by_alpha = 2.0 * alpha * b,
          .slope_by_beta = 2.0 * a * beta,
          .slope_by_beta_through_s = -4.0 * a * b * beta,
          .slope_by_gamma = -2.0 * a * b * b};
}

step_curvatures make_step_curvatures(const_vector_view triple) {
  const double alpha = triple[0];
  const double beta = triple[1];
  const double a = alpha * alpha;
  const double b = beta * beta;
  return {.alpha_alpha = 2.0,
          .alpha_beta = 4.0 * alpha * beta,
          .alpha_gamma = 2.0 * alpha * b,
          .beta_beta = 2.0 * a,
          .beta_beta_inner = -4.0 * b,
          .beta_gamma = 2.0 * a * beta,
          .beta_gamma_inner = -2.0 * b,
          .gamma_gamma = -2.0 * a * b * b,
          .slope_alpha_alpha = 2.0 * b,
          .slope_alpha_beta = 4.0 * alpha * beta,
          .slope_alpha_beta_uts = -8.0 * alpha * b * beta,
          .slope_alpha_gamma = -4.0 * alpha * b * b,
          .slope_beta_beta = 2.0 * a,
          .slope_beta_beta_uts = -20.0 * a * b,
          .slope_beta_beta_usus = -8.0 * a * b * b,
          .slope_beta_beta_utsut = 16.0 * a * b * b,
          .slope_beta_gamma = -8.0 * a * b * beta,
          .slope_beta_gamma_uss = -4.0 * a * b * b * beta,
          .slope_beta_gamma_ustt = 8.0 * a * b * b * beta,
          .slope_gamma_gamma_tst = 4.0 * a * b * b * b,
          .slope_gamma_gamma_ss = -2.0 * a * b * b * b};
}

void fill_step_coefficients(const_vector_view theta, step_coefficients* steps) {
  for (index_t k = 0; (k + 1) * parameters_per_step <= theta.size(); ++k)
    steps[k] =
        make_step_coefficients(theta.part(k * parameters_per_step, parameters_per_step));
}

}  // namespace corvane::model::tanh_warper_detail
