// SPDX-License-Identifier: BSD-3-Clause
//
// logistic_log_likelihood_loss_link: the negative log likelihood of a binary response coded
// y = -1 or +1, l(y, z) = log(1 + exp(-y z)), with the response probability
// p = 1 / (1 + exp(-z)). From the second derivative on y has no part in it, as the second
// derivative is even in y z.
//
// Nothing is clamped and nothing branches on the size of z: where exp overflows, the limit
// or the infinity that follows is the result.
#pragma once

#include "model/linear_linked_regression/linear_loss_link.h"

namespace corvane::model::loss_link_detail {

class logistic_log_likelihood_loss_link final : public linear_loss_link {
 public:
  void compute_prediction(const_vector_view z, vector_view out) const override;
  // The operations below always return true.
  bool compute_loss(const_vector_view y, const_vector_view z,
                    vector_view out) const override;
  bool compute_first_derivative(const_vector_view y, const_vector_view z,
                                vector_view out) const override;
  bool compute_second_derivative(const_vector_view y, const_vector_view z,
                                 vector_view out) const override;
  bool compute_third_derivative(const_vector_view y, const_vector_view z,
                                vector_view out) const override;
  bool compute_fourth_derivative(const_vector_view y, const_vector_view z,
                                 vector_view out) const override;

  // For targets of -1 and +1, as they are coded here. All terms come from one exponential,
  // that of -|z|, and as vector instructions.
  bool can_compute_jointly() const override { return true; }
  void compute_jointly(const_vector_view y, const_vector_view z,
                       const loss_terms& out) const override;
};

}  // namespace corvane::model::loss_link_detail
