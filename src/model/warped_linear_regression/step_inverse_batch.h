// SPDX-License-Identifier: BSD-3-Clause
//
// The inverse of a sum of tanh steps at many latents, on arrays: from a table of the
// inverse, Halley's steps go on for those entries that are not within the tolerance. The
// few that they do not get there, as at a bend between two knots of the table or where
// rounding of f stands in the way, are left to the solver that keeps a bracket.
#pragma once

#include <span>

#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/root_solver.h"
#include "model/warped_linear_regression/step_inverse_table.h"
#include "model/warped_linear_regression/step_sum.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

class step_inverse_batch {
 public:
  // No iterate leaves the bracket. Takes its arrays from `scope`, which must outlive it.
  step_inverse_batch(scoped_allocator& scope, std::span<const step_coefficients> steps,
                     const_vector_view step_means, const root_bracket& bracket);

  // Fills the table from its inverse x at every knot, to whatever accuracy. The x of a
  // coarser table make those of a finer one.
  void fill_table(step_inverse_table& table, const_vector_view x);
  void fill_table(step_inverse_table& table, const step_inverse_table& coarser);

  // Writes x with |f(x) - v| below `tolerance` times |v| for each latent v, or NaN.
  void solve(const step_inverse_table& table, const_vector_view latent, double tolerance,
             vector_view x);

 private:
  void solve_chunk(const step_inverse_table& table, const_vector_view latent,
                   double tolerance, vector_view x);
  void take_halley_steps(const_vector_view latent, const_vector_view x);
  index_t keep_unsolved(index_t count, double limit, vector_view x);

  scoped_allocator& scope_;
  step_sum_array function_;
  double smallest_;
  double largest_;
  // The entries of a chunk that are not solved yet.
  index_t* indices_;
  vector_view latents_;
  vector_view points_;
  // Of the points just evaluated.
  vector_view next_points_;
  vector_view residuals_;  // relative to the latent
};

}  // namespace corvane::model::tanh_warper_detail
