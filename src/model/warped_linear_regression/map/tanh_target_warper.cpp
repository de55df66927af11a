// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/tanh_target_warper.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "common/vector_math.h"
#include "model/warped_linear_regression/inverse/tanh_inverse.h"

namespace corvane::model::tanh_warper_detail {

tanh_target_warper::tanh_target_warper(const tanh_target_warper_descriptor& descriptor,
                                       dense_vector&& theta, const_vector_view y,
                                       double shift, double scale)
    : descriptor_{descriptor},
      shift_{shift},
      scale_{scale},
      parameters_{std::move(theta)},
      step_means_(descriptor.num_steps()),
      step_coefficients_(static_cast<std::size_t>(descriptor.num_steps())),
      training_latents_{y} {
  if (parameters_.size() != descriptor.num_parameters())
    throw std::invalid_argument("theta is not as long as the family has parameters");
  fill_step_coefficients(parameters_, step_coefficients_.data());
  check(y);
  scoped_allocator scope;
  const vector_view arguments = scope.vector(y.size());
  const vector_view terms = scope.vector(y.size());
  for (index_t k = 0; k < descriptor.num_steps(); ++k) {
    const step_coefficients& step = step_coefficients_[static_cast<std::size_t>(k)];
    for (index_t i = 0; i < y.size(); ++i)
      arguments[i] = (y[i] + step.position) * step.steepness;
    compute_tanh(arguments, terms);
    step_means_[k] = mean_of(terms);
    for (index_t i = 0; i < y.size(); ++i)
      training_latents_[i] += (terms[i] - step_means_[k]) * step.height;
  }
}

void tanh_target_warper::check(const_vector_view y) const {
  if (!all_finite(const_vector_view{parameters_}))
    throw std::invalid_argument("theta holds a value that is not finite");
  if (y.size() == 0) throw std::invalid_argument("the training targets are empty");
  if (!all_finite(y))
    throw std::invalid_argument("the training targets hold a value that is not finite");
  // The factors of the map and its first two derivatives in y.
  for (const step_coefficients& step : step_coefficients_)
    if (!is_finite(step.slope) || !is_finite(step.slope_by_gamma) ||
        !is_finite(step.height))
      throw std::invalid_argument("theta is too large: the map overflows");
}

void tanh_target_warper::compute_latent(const_vector_view target,
                                        vector_view latent) const {
  for (index_t i = 0; i < target.size(); ++i) {
    const double y = (target[i] - shift_) / scale_;
    double z = y;
    for (index_t k = 0; k < step_means_.size(); ++k) {
      const step_coefficients& step = step_coefficients_[static_cast<std::size_t>(k)];
      z += (std::tanh((y + step.position) * step.steepness) - step_means_[k]) * step.height;
    }
    latent[i] = z;
  }
}

void tanh_target_warper::compute_latent_with_derivative(const_vector_view target,
                                                        vector_view latent,
                                                        vector_view derivative) const {
  for (index_t i = 0; i < target.size(); ++i) {
    const double y = (target[i] - shift_) / scale_;
    double z = y;
    double slope = 1.0;
    for (index_t k = 0; k < step_means_.size(); ++k) {
      const step_coefficients& step = step_coefficients_[static_cast<std::size_t>(k)];
      const double t = std::tanh((y + step.position) * step.steepness);
      z += (t - step_means_[k]) * step.height;
      slope += (1.0 - t * t) * step.slope;
    }
    latent[i] = z;
    derivative[i] = slope / scale_;
  }
}

void tanh_target_warper::invert(const_vector_view latent, vector_view target,
                                double tolerance) const {
  const std::span<const step_coefficients> steps{step_coefficients_};
  invert_steps(steps, step_means_, latent, tolerance, target);
  for (double& entry : target) {
    entry = entry * scale_ + shift_;
    if (!is_finite(entry))
      throw std::runtime_error(
          "cannot invert a latent value: its target lies outside the range of double");
  }
}

}  // namespace corvane::model::tanh_warper_detail
