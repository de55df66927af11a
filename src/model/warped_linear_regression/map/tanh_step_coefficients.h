// SPDX-License-Identifier: BSD-3-Clause
//
// The factors of the terms of one tanh step, computed from its parameters (alpha, beta,
// gamma). With height a = alpha^2, steepness b = beta^2, position c = gamma and, at a
// target y, u = y + c, t = tanh(b u), s = 1 - t^2, the map of the family is
//
//   z(y)  = y + sum over steps of a (t - h),    h the mean of t over the training targets
//   dz/dy = 1 + sum over steps of a b s
//
// The squares make it increasing for all parameters, so that none is constrained.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

inline constexpr index_t parameters_per_step = 3;
inline constexpr index_t pairs_per_step = 6;

// The factors of z, of dz/dy and of their first derivatives in the parameters.
struct step_coefficients {
  double height;                   // a
  double steepness;                // b
  double position;                 // c
  double slope;                    // a b
  double latent_by_alpha;          // 2 alpha, of t
  double latent_by_beta;           // 2 alpha^2 beta, of u s
  double latent_by_gamma;          // alpha^2 beta^2, of s
  double slope_by_alpha;           // 2 alpha beta^2, of s
  double slope_by_beta;            // 2 alpha^2 beta, of s
  double slope_by_beta_through_s;  // -4 alpha^2 beta^3, of u t s
  double slope_by_gamma;           // -2 alpha^2 beta^4, of t s; also of d2z/dy2
};

// The factors of the second derivatives, by the pair of parameters.
struct step_curvatures {
  // of z
  double alpha_alpha;       // 2, of t
  double alpha_beta;        // 4 alpha beta, of u s
  double alpha_gamma;       // 2 alpha beta^2, of s
  double beta_beta;         // 2 alpha^2, of u s - 4 beta^2 (u t s) u
  double beta_beta_inner;   // -4 beta^2
  double beta_gamma;        // 2 alpha^2 beta, of s - 2 beta^2 (u t s)
  double beta_gamma_inner;  // -2 beta^2
  double gamma_gamma;       // -2 alpha^2 beta^4, of t s
  // of dz/dy
  double slope_alpha_alpha;      // 2 beta^2, of s
  double slope_alpha_beta;       // 4 alpha beta, of s
  double slope_alpha_beta_uts;   // -8 alpha beta^3, of u t s
  double slope_alpha_gamma;      // -4 alpha beta^4, of t s
  double slope_beta_beta;        // 2 alpha^2, of s
  double slope_beta_beta_uts;    // -20 alpha^2 beta^2, of u t s
  double slope_beta_beta_usus;   // -8 alpha^2 beta^4, of (u s)^2
  double slope_beta_beta_utsut;  // 16 alpha^2 beta^4, of (u t s)(u t)
  double slope_beta_gamma;       // -8 alpha^2 beta^3, of t s
  double slope_beta_gamma_uss;   // -4 alpha^2 beta^5, of (u s) s
  double slope_beta_gamma_ustt;  // 8 alpha^2 beta^5, of (u s) t^2
  double slope_gamma_gamma_tst;  // 4 alpha^2 beta^6, of (t s) t
  double slope_gamma_gamma_ss;   // -2 alpha^2 beta^6, of s^2
};

// From the three parameters of a step.
step_coefficients make_step_coefficients(const_vector_view triple);
step_curvatures make_step_curvatures(const_vector_view triple);

// Writes one record for each full triple of theta.
void fill_step_coefficients(const_vector_view theta, step_coefficients* steps);

}  // namespace corvane::model::tanh_warper_detail
