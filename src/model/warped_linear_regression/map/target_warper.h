// SPDX-License-Identifier: BSD-3-Clause
//
// target_warper: an increasing map z = w(y) from raw targets to latent values, with fixed
// parameters and bound to the training targets that it was made for. Immutable, so that it
// may be shared.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model {

class target_warper {
 public:
  target_warper() = default;
  target_warper(const target_warper&) = delete;
  target_warper& operator=(const target_warper&) = delete;
  target_warper(target_warper&&) = delete;
  target_warper& operator=(target_warper&&) = delete;
  virtual ~target_warper() = default;

  virtual const_vector_view parameters() const = 0;
  virtual const_vector_view training_latents() const = 0;

  // The outputs have the length of the input; the derivative is in the raw target.
  virtual void compute_latent(const_vector_view target, vector_view latent) const = 0;
  virtual void compute_latent_with_derivative(const_vector_view target, vector_view latent,
                                              vector_view derivative) const = 0;

  // Writes the raw target of each latent, to within `tolerance` of the latent, relative to
  // it, or where no double comes as close, the closest one. Throws std::runtime_error when
  // a latent is not finite or its target lies outside the range of double.
  virtual void invert(const_vector_view latent, vector_view target,
                      double tolerance) const = 0;
};

}  // namespace corvane::model
