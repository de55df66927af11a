// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_objective: the leave-one-out error or the generalized cross validation of
// a fit with one common penalty t^2. The point has one entry, t. Value and both derivatives
// come from one pass over the factors.
#pragma once

#include <memory>
#include <optional>

#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/common_penalty/common_penalty_scores.h"
#include "model/ridge_regression/report/ridge_influence.h"
#include "model/ridge_regression/scores/point_cache.h"
#include "optimization/objective.h"

namespace corvane::model::ridge_regression_detail {

enum class common_penalty_score { leave_one_out, generalized };

class common_penalty_objective final : public second_order_objective {
 public:
  // The data that the design refers to must outlive the objective.
  common_penalty_objective(common_penalty_score score, const common_penalty_design& design);

  bool compute_value(const_vector_view t, double& value) override;
  bool compute_gradient(const_vector_view t, vector_view gradient) override;
  bool compute_hessian(const_vector_view t, symmetric_view hessian) override;
  // The coefficients of the normalized problem; false outside the domain of the score.
  bool compute_weights(const_vector_view t, vector_view weights) const;

  ridge_influence influence(double t) const;

 private:
  bool is_in_domain(double t) const;
  // Null where the score is undefined.
  const penalty_jet* jet_at(const_vector_view t);

  std::unique_ptr<const common_penalty_factors> factors_;
  std::optional<penalty_rows> rows_;  // of the leave-one-out error alone
  double length_;                     // root of the sum of squares of the singular values
  point_cache<penalty_jet> cache_;
};

}  // namespace corvane::model::ridge_regression_detail
