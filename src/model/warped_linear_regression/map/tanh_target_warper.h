// SPDX-License-Identifier: BSD-3-Clause
//
// tanh_target_warper: one member of the family of sums of tanh steps, bound to its training
// targets y_1..y_n. A raw target r enters as y = (r - shift) / scale:
//
//   z = y + sum over k of a_k (tanh(b_k (y + c_k)) - h_k)
//   h_k = the mean of tanh(b_k (y_i + c_k)) over the training targets
#pragma once

#include <vector>

#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "model/warped_linear_regression/map/target_warper.h"
#include "n_array/n_array.h"

namespace corvane::model::tanh_warper_detail {

class tanh_target_warper final : public target_warper {
 public:
  // `y` is in standardized units. Throws std::invalid_argument as make_warper does.
  tanh_target_warper(const tanh_target_warper_descriptor& descriptor, dense_vector&& theta,
                     const_vector_view y, double shift, double scale);

  const_vector_view parameters() const override { return parameters_; }
  const_vector_view training_latents() const override { return training_latents_; }
  void compute_latent(const_vector_view target, vector_view latent) const override;
  void compute_latent_with_derivative(const_vector_view target, vector_view latent,
                                      vector_view derivative) const override;
  void invert(const_vector_view latent, vector_view target,
              double tolerance) const override;

  const tanh_target_warper_descriptor& descriptor() const { return descriptor_; }
  const_vector_view step_means() const { return step_means_; }

 private:
  void check(const_vector_view y) const;

  tanh_target_warper_descriptor descriptor_;
  double shift_;
  double scale_;
  dense_vector parameters_;
  dense_vector step_means_;  // h
  std::vector<step_coefficients> step_coefficients_;
  dense_vector training_latents_;
};

}  // namespace corvane::model::tanh_warper_detail
