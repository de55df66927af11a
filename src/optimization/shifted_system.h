// SPDX-License-Identifier: BSD-3-Clause
//
// The pieces of one round of the subproblem solver: the quadratic model, the factorization
// of the shifted Hessian, the step that solves with it, and the way from that step to the
// boundary along a nearly singular direction.
//
// J. Moré, D. Sorensen, "Computing a trust region step", SIAM J. Sci. Stat. Comput. 4
// (1983), algorithm 3.14 and pp. 560-563.
#pragma once

#include <optional>

#include "n_array/n_array_view.h"

namespace corvane {

// m(p) = g'p + p'Hp / 2 within ||p|| <= radius
struct trust_region_model {
  const_vector_view gradient;
  const_symmetric_view hessian;
  double radius;
};

// m(step)
double model_change(const trust_region_model& model, const_vector_view step);

// Makes `factor` the Cholesky factor L of H + lambda I. Returns the position of the pivot
// that failed, nothing when none did.
std::optional<index_t> factorize_shifted(const_symmetric_view H, double lambda,
                                         symmetric_view factor);

// The norms of the two triangular solves of (H + lambda I) p = -g.
struct shifted_solution {
  double half_solved_squared;  // ||y||^2, L y = -g
  double step_squared;         // ||p||^2
  double step_norm;            // ||p||
};

// Writes p, with the factor of H + lambda I.
shifted_solution solve_shifted(const trust_region_model& model, const_symmetric_view factor,
                               vector_view step);

// A way p + tau z from an interior step p to the boundary.
struct boundary_move {
  double tau;        // the root of ||p + tau z|| = radius of smaller magnitude
  double gap;        // radius^2 - ||p||^2
  double curvature;  // z'(H + lambda I) z
};

// Writes the unit vector z, for which z'(H + lambda I) z is small.
boundary_move probe_boundary(const_symmetric_view factor, const_vector_view step,
                             double step_squared, double radius, vector_view z);

// The Newton iterate of 1 / radius - 1 / ||p(lambda)|| = 0. Overwrites `work`.
double newton_multiplier(const_symmetric_view factor, const_vector_view step,
                         double step_norm, double lambda, double radius, vector_view work);

}  // namespace corvane
