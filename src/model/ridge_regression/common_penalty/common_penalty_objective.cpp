// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_objective.h"

#include <cmath>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

common_penalty_objective::common_penalty_objective(
    std::unique_ptr<const common_penalty_factors>&& factors)
    : factors_{std::move(factors)}, length_{norm(factors_->spectrum().s)} {}

// The domain of the scores with several penalties, whose normal matrix X'X / t^2 + 1 does
// not exist at zero, at NaN and where it overflows.
bool common_penalty_objective::is_in_domain(double t) const {
  const double ratio = length_ / t;
  return std::abs(t) > 0.0 && is_finite(ratio * ratio);
}

const std::optional<penalty_jet>& common_penalty_objective::jet_at(double t) {
  if (t != kept_point_) {
    kept_jet_ = is_in_domain(t) ? evaluate(t) : std::nullopt;
    kept_point_ = t;
  }
  return kept_jet_;
}

bool common_penalty_objective::compute_value(const_vector_view t, double& value) {
  const std::optional<penalty_jet>& jet = jet_at(t[0]);
  if (jet) value = jet->value;
  return jet.has_value();
}

bool common_penalty_objective::compute_gradient(const_vector_view t, vector_view gradient) {
  const std::optional<penalty_jet>& jet = jet_at(t[0]);
  if (jet) gradient[0] = jet->first;
  return jet.has_value();
}

bool common_penalty_objective::compute_hessian(const_vector_view t,
                                               symmetric_view hessian) {
  const std::optional<penalty_jet>& jet = jet_at(t[0]);
  if (jet) hessian(0, 0) = jet->second;
  return jet.has_value();
}

bool common_penalty_objective::compute_weights(const_vector_view t, vector_view weights) {
  if (!is_in_domain(t[0])) return false;
  factors_->solve(t[0], weights);
  return true;
}

ridge_influence common_penalty_objective::influence(double t) const {
  return measure_influence(factors_->rows(), spectrum(), t);
}

}  // namespace corvane::model::ridge_regression_detail
