// SPDX-License-Identifier: BSD-3-Clause
//
// The bracket of the multiplier lambda of a trust-region subproblem
//
//   min g'p + p'Hp / 2   subject to ||p|| <= r,   (H + lambda I) p = -g,
//
// and the rules that keep an iterate inside it: J. Moré, D. Sorensen, "Computing a trust
// region step", SIAM J. Sci. Stat. Comput. 4 (1983), pp. 558-560.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// Kept through the attempts of one iteration, while the radius shrinks.
struct subproblem_bounds {
  double gradient_norm = 0.0;    // ||g||, Euclidean
  double hessian_norm = 0.0;     // largest absolute column sum of H
  double lambda_low = 0.0;       // lower end of the bracket
  double lambda_high = 0.0;      // upper end of the bracket
  double lambda_singular = 0.0;  // lower bound on -lambda_min(H); may be negative
};

// The bracket before the first solve of an iteration.
void initialize_bounds(subproblem_bounds& bounds, double radius, const_vector_view g,
                       const_symmetric_view H);

// Resets the bracket for a smaller radius. The multiplier of the larger radius is a valid
// lower end, and what is known of lambda_singular stays.
void shrink_bounds(subproblem_bounds& bounds, double radius, double lambda);

// lambda pulled into the bracket, and replaced when it does not exceed lambda_singular. A
// NaN becomes the lower end.
double safeguard(const subproblem_bounds& bounds, double lambda);

// Takes a new lower bound on -lambda_min(H) into the bracket. A NaN changes nothing.
void raise_singular(subproblem_bounds& bounds, double bound);

// Takes in that the step of `lambda` has this norm: the norm falls as lambda grows.
void narrow_bounds(subproblem_bounds& bounds, double lambda, double step_norm,
                   double radius);

}  // namespace corvane
