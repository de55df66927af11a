// SPDX-License-Identifier: BSD-3-Clause
//
// The inverse of a sum of tanh steps at many latents, on arrays: Halley's iteration from
// given points, until the error is at most 1e-13 |x|, apart from the rounding of f. By no
// more than that does an inverse depend on the start point and on the other latents. The
// few entries that do not converge are left to a solver with a bracket.
//
// Near the root the error e after a step d satisfies, if all b_k are at most b,
//   |e| <= |(f'' / 2 f')^2 - f''' / 6 f'| |d|^3 <= 2 b^2 |d|^3,
// since |f''| <= 2 b f' and |f'''| <= 4 b^2 f'.
#pragma once

#include <span>

#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/inverse/root_solver.h"
#include "model/warped_linear_regression/inverse/step_inverse_table.h"
#include "model/warped_linear_regression/inverse/step_sum.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

class step_inverse_batch {
 public:
  // No iterate leaves the bracket. Takes its arrays from `scope`, which must outlive it.
  step_inverse_batch(scoped_allocator& scope, std::span<const step_coefficients> steps,
                     const_vector_view step_means, const root_bracket& bracket);

  // Fills the table from approximate inverses x at every knot, or from a coarser table.
  void fill_table(step_inverse_table& table, const_vector_view x);
  void fill_table(step_inverse_table& table, const step_inverse_table& coarser);

  // Replaces each x, the start point, by f^-1(v) for its latent v, within `tolerance` times
  // |v| and within 1e-13 of |x| up to the rounding of f, or by NaN if the iteration does
  // not converge.
  void solve(const_vector_view latent, double tolerance, vector_view x);

 private:
  void solve_chunk(const_vector_view latent, double tolerance, vector_view x);
  void take_halley_steps(const_vector_view latent, const_vector_view x);
  index_t keep_unsolved(index_t count, double tolerance, vector_view x);

  scoped_allocator& scope_;
  step_sum_array function_;
  double smallest_;
  double largest_;
  double steepness_;  // b
  // The entries of a chunk that are not solved yet.
  index_t* indices_;
  vector_view latents_;
  vector_view points_;
  // Of the points just evaluated.
  vector_view next_points_;
  vector_view residuals_;  // relative to the latent
  vector_view errors_;     // bounds for the next points
};

}  // namespace corvane::model::tanh_warper_detail
