// SPDX-License-Identifier: BSD-3-Clause
//
// linear_loss_link: the part of a linked linear model that belongs to one sample. It turns
// the linear predictor z = x.w into a prediction, and gives the loss l(y, z) of a sample
// with its first four derivatives in z.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model {

// Where one pass over the samples writes what the operations of a link give: the loss and
// its derivatives in z. Views that are empty are left out.
struct loss_terms {
  vector_view loss;
  vector_view first;
  vector_view second;
  vector_view third;
  vector_view fourth;
};

// All arguments of a call have the same length n, and out is filled element by element. An
// operation that returns a boolean tells by false that it could not evaluate; whether what
// it wrote is finite is for the caller to see.
class linear_loss_link {
 public:
  linear_loss_link() = default;
  linear_loss_link(const linear_loss_link&) = delete;
  linear_loss_link& operator=(const linear_loss_link&) = delete;
  linear_loss_link(linear_loss_link&&) = delete;
  linear_loss_link& operator=(linear_loss_link&&) = delete;
  virtual ~linear_loss_link() = default;

  // The mean response. `out` may be z itself.
  virtual void compute_prediction(const_vector_view z, vector_view out) const = 0;
  virtual bool compute_loss(const_vector_view y, const_vector_view z,
                            vector_view out) const = 0;
  virtual bool compute_first_derivative(const_vector_view y, const_vector_view z,
                                        vector_view out) const = 0;
  virtual bool compute_second_derivative(const_vector_view y, const_vector_view z,
                                         vector_view out) const = 0;
  virtual bool compute_third_derivative(const_vector_view y, const_vector_view z,
                                        vector_view out) const = 0;
  virtual bool compute_fourth_derivative(const_vector_view y, const_vector_view z,
                                         vector_view out) const = 0;

  // Whether `compute_jointly` may stand in for the operations above: up to rounding it
  // writes the same. It is only called where this is true.
  virtual bool can_compute_jointly() const { return false; }
  virtual void compute_jointly(const_vector_view /*y*/, const_vector_view /*z*/,
                               const loss_terms& /*out*/) const {}
};

}  // namespace corvane::model
