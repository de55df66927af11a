// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/boundary_penalty.h"

#include <cmath>

namespace corvane {

void boundary_penalty::add_value(const_vector_view /*theta*/, double& /*value*/) const {}

void boundary_penalty::add_gradient(const_vector_view /*theta*/,
                                    vector_view /*gradient*/) const {}

void boundary_penalty::add_hessian(const_vector_view /*theta*/,
                                   symmetric_view /*hessian*/) const {}

}  // namespace corvane

namespace corvane::model::tanh_warper_detail {

smooth_boundary::smooth_boundary(double weight, double lower, double upper)
    : weight_{weight},
      lower_{lower},
      upper_{upper},
      cubic_factor_{(1.0 / (upper - lower)) / 3.0},
      width_{upper - lower},
      offset_{(upper - lower) * (upper - lower) / 3.0} {}

double smooth_boundary::value(double x) const {
  if (x < lower_) return 0.0;
  if (x < upper_) {
    const double inside = x - lower_;
    return inside * inside * inside * (weight_ * cubic_factor_);
  }
  return weight_ * ((x - upper_ + width_) * (x - upper_) + offset_);
}

double smooth_boundary::slope(double x) const {
  if (x < lower_) return 0.0;
  if (x < upper_) return (3.0 * weight_ * cubic_factor_) * (x - lower_) * (x - lower_);
  return weight_ * (2.0 * (x - upper_) + width_);
}

double smooth_boundary::curvature(double x) const {
  if (x < lower_) return 0.0;
  if (x < upper_) return (6.0 * weight_ * cubic_factor_) * (x - lower_);
  return 2.0 * weight_;
}

namespace {

// Calls `visit` with the index of alpha and of beta of each full triple.
template <class Visit>
void for_each_penalized(const_vector_view theta, const Visit& visit) {
  for (index_t first = 0; first + 3 <= theta.size(); first += 3) {
    visit(first);
    visit(first + 1);
  }
}

}  // namespace

void boundary_penalty::add_value(const_vector_view theta, double& value) const {
  for_each_penalized(theta,
                     [&](index_t i) { value += boundary_.value(std::abs(theta[i])); });
}

void boundary_penalty::add_gradient(const_vector_view theta, vector_view gradient) const {
  for_each_penalized(theta, [&](index_t i) {
    gradient[i] += std::copysign(boundary_.slope(std::abs(theta[i])), theta[i]);
  });
}

void boundary_penalty::add_hessian(const_vector_view theta, symmetric_view hessian) const {
  for_each_penalized(
      theta, [&](index_t i) { hessian(i, i) += boundary_.curvature(std::abs(theta[i])); });
}

}  // namespace corvane::model::tanh_warper_detail
