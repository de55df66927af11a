// SPDX-License-Identifier: BSD-3-Clause
//
// What the optimizer computes at a point: the first radius, the scales of the variables,
// and the stopping test with its two measures.
//
//   D_ii         = sqrt|H(i, i)|, bounded away from zero
//   value_change = |f_new - f_old| / (|f_old| + 1)
//   gradient_max = max_i |g_i / D_ii|
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// ||x|| / 4; 0.001 at the origin and for an empty point.
double initial_radius(const_vector_view x);

// Writes the scales, true; false when the diagonal of H has no entry that is not zero.
bool compute_scale(vector_view scale, const_symmetric_view hessian);

// The gradient and the diagonal of H are zero to within epsilon.
bool is_degenerate(const_vector_view gradient, const_symmetric_view hessian);

struct stop_measures {
  double value_change;
  double gradient_max;  // NaN when an entry of the gradient is
};

stop_measures measure_stop(double old_value, double new_value, const_vector_view gradient,
                           const_symmetric_view hessian, double hessian_floor);

// Of H on the variables whose diagonal entry reaches `floor`; true when there are none. A
// variable whose diagonal has vanished thus cannot block convergence.
bool hessian_positive_definite(const_symmetric_view hessian, double floor);

struct stop_limits {
  double value_change;
  double gradient_max;
  double hessian_floor;
};

bool stop_test(stop_measures measures, const_symmetric_view hessian, stop_limits limits);

}  // namespace corvane
