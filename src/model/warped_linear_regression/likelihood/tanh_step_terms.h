// SPDX-License-Identifier: BSD-3-Clause
//
// The terms of one tanh step at one target from which the derivatives in its parameters are
// computed. Those of z are deviations of a raw quantity from its mean over the targets,
// times a factor: dz/dtheta = factor (raw - mean[raw]).
#pragma once

#include <array>
#include <cmath>

#include "model/warped_linear_regression/map/tanh_step_coefficients.h"

namespace corvane::model::tanh_warper_detail {

// With u = y + c, t = tanh(b u), s = 1 - t^2.
struct step_point {
  double u, t, s;
  double us() const { return u * s; }
  double ts() const { return t * s; }
  double uts() const { return u * ts(); }
};

inline step_point make_step_point(double y, double position, double t) {
  return {y + position, t, 1.0 - t * t};
}

// With an s that has more digits than 1 - t^2.
inline step_point make_step_point(double y, double position, double t, double s) {
  return {y + position, t, s};
}

// The tangent of p less that of `anchor`. Where both are near the same end of their range,
// it is the difference of 1 - |t| = s / (1 + |t|), which has the digits that t has lost.
inline double tangent_difference(const step_point& p, const step_point& anchor) {
  const double one_minus_abs = p.s / (1.0 + std::abs(p.t));
  const double one_minus_abs_anchor = anchor.s / (1.0 + std::abs(anchor.t));
  const double along_end = std::copysign(1.0, p.t) * (one_minus_abs_anchor - one_minus_abs);
  return p.t * anchor.t > 0.25 ? along_end : p.t - anchor.t;
}

// One number for each parameter of a step, and one for each pair of them in packed order.
using parameter_terms = std::array<double, parameters_per_step>;
using pair_terms = std::array<double, pairs_per_step>;

// The raw quantities of dz/dtheta.
inline parameter_terms raw_gradient(const step_point& p) { return {p.t, p.us(), p.s}; }

// The raw quantities of d2z/dtheta2 for the pairs without alpha. Those of the pairs with
// alpha are the raw quantities of dz/dtheta.
inline parameter_terms raw_curvature(const step_curvatures& f, const step_point& p) {
  const double uts = p.uts();
  return {f.beta_beta_inner * uts * p.u + p.us(), f.beta_gamma_inner * uts + p.s, p.ts()};
}

// The first and second derivatives of the step's part of dz/dy.
inline parameter_terms slope_gradient(const step_coefficients& f, const step_point& p) {
  return {f.slope_by_alpha * p.s,
          f.slope_by_beta * p.s + f.slope_by_beta_through_s * p.uts(),
          f.slope_by_gamma * p.ts()};
}

inline pair_terms slope_hessian(const step_curvatures& f, const step_point& p) {
  const double us = p.us();
  const double ts = p.ts();
  const double uts = p.uts();
  return {f.slope_alpha_alpha * p.s,
          f.slope_alpha_beta * p.s + f.slope_alpha_beta_uts * uts,
          f.slope_alpha_gamma * ts,
          f.slope_beta_beta * p.s + f.slope_beta_beta_uts * uts +
              f.slope_beta_beta_usus * (us * us) +
              f.slope_beta_beta_utsut * (uts * (p.u * p.t)),
          f.slope_beta_gamma * ts + f.slope_beta_gamma_uss * (us * p.s) +
              f.slope_beta_gamma_ustt * (us * (p.t * p.t)),
          f.slope_gamma_gamma_tst * (ts * p.t) + f.slope_gamma_gamma_ss * (p.s * p.s)};
}

}  // namespace corvane::model::tanh_warper_detail
