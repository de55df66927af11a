// SPDX-License-Identifier: BSD-3-Clause
//
// The columns from which a sum of tanh steps and its derivatives in the parameters are
// computed, for a block of targets that stays in cache:
//
//   z = y + sum over k of a_k (t_k - t_k at an anchor)
//   the raw quantities of the derivatives of z, less those at the anchor
//
// The anchor, the mean of the targets, keeps the columns of nearly constant quantities
// small, so that subtracting their means later loses no digits. Targets are given by their
// differences from it, which have more digits than targets far from zero.
#pragma once

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/likelihood/tanh_step_terms.h"

namespace corvane::model::tanh_warper_detail {

class step_block {
 public:
  static constexpr index_t max_rows = 512;

  // Takes its columns from `scope`, which must outlive it.
  step_block(scoped_allocator& scope, const_vector_view theta, double anchor);

  index_t num_steps() const { return num_steps_; }
  const step_coefficients& step(index_t k) const { return steps_[k]; }
  const step_coefficients* steps() const { return steps_; }
  const step_curvatures& curvatures(index_t k) const { return curvatures_[k]; }

  // Evaluates the block of these targets less the anchor, at most `max_rows`.
  void fill(const_vector_view y);
  // After `fill`: the derivatives of d = dz/dy.
  void fill_slope_terms();

  // Of the last `fill`, by column: z; per step the three raw quantities of its gradient;
  // per step the three of its curvature.
  matrix_block latent_columns() const { return latent_columns_.part_rows(0, y_.size()); }
  const_vector_view slopes() const { return slopes_.part(0, y_.size()); }  // d
  // By column: per step the three of d' / d; per step the six of d'' / d.
  matrix_block slope_columns() const { return slope_columns_.part_rows(0, y_.size()); }

 private:
  struct anchored_terms {
    step_point point;
    parameter_terms gradient;
    parameter_terms curvature;
  };

  void fill_anchor();
  void fill_tangents(index_t k);
  void add_latents_and_slopes(index_t k);
  void fill_raw_columns(index_t k);
  void fill_slope_columns(index_t k);

  double anchor_;
  index_t num_steps_;
  step_coefficients* steps_;  // with positions in distances from the anchor
  step_curvatures* curvatures_;
  anchored_terms* at_anchor_;
  const_vector_view y_{};
  vector_view arguments_;            // b (y + c), of one step
  vector_view slopes_;               // d
  vector_view inverse_slopes_;       // 1 / d
  matrix_block tangents_;            // t, one column per step
  matrix_block complements_;         // s = 1 - t^2, likewise
  vector_view tangent_differences_;  // t less that of the anchor, of one step
  matrix_block latent_columns_;
  matrix_block slope_columns_;
};

}  // namespace corvane::model::tanh_warper_detail
