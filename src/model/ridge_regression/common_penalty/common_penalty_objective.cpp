// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_objective.h"

#include <cmath>

#include "common/finite.h"
#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

common_penalty_objective::common_penalty_objective(common_penalty_score score,
                                                   const common_penalty_design& design)
    : factors_{factor_common_penalty(design)},
      length_{norm(factors_->spectrum().s)},
      cache_{penalty_jet{}} {
  if (score == common_penalty_score::leave_one_out) rows_ = factors_->rows();
}

// The domain of the scores with several penalties, whose normal matrix X'X / t^2 + 1 does
// not exist at zero, at NaN and where it overflows.
bool common_penalty_objective::is_in_domain(double t) const {
  const double ratio = length_ / t;
  return std::abs(t) > 0.0 && is_finite(ratio * ratio);
}

const penalty_jet* common_penalty_objective::jet_at(const_vector_view t) {
  return cache_.at(t, [&](penalty_jet& jet) {
    if (!is_in_domain(t[0])) return false;
    const std::optional<penalty_jet> found =
        rows_ ? leave_one_out_jet(factors_->spectrum(), *rows_, t[0])
              : generalized_jet(factors_->spectrum(), t[0]);
    if (found) jet = *found;
    return found.has_value();
  });
}

bool common_penalty_objective::compute_value(const_vector_view t, double& value) {
  const penalty_jet* jet = jet_at(t);
  if (jet != nullptr) value = jet->value;
  return jet != nullptr;
}

bool common_penalty_objective::compute_gradient(const_vector_view t, vector_view gradient) {
  const penalty_jet* jet = jet_at(t);
  if (jet != nullptr) gradient[0] = jet->first;
  return jet != nullptr;
}

bool common_penalty_objective::compute_hessian(const_vector_view t,
                                               symmetric_view hessian) {
  const penalty_jet* jet = jet_at(t);
  if (jet != nullptr) hessian(0, 0) = jet->second;
  return jet != nullptr;
}

bool common_penalty_objective::compute_weights(const_vector_view t,
                                               vector_view weights) const {
  if (!is_in_domain(t[0])) return false;
  factors_->solve(t[0], weights);
  return true;
}

ridge_influence common_penalty_objective::influence(double t) const {
  return rows_ ? measure_influence(*rows_, factors_->spectrum(), t)
               : measure_influence(factors_->rows(), factors_->spectrum(), t);
}

}  // namespace corvane::model::ridge_regression_detail
