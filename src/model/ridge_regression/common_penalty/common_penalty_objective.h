// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_objective: what the scores of a fit with one common penalty t^2 share. The
// point has one entry, t. Value and both derivatives come from one pass over the factors,
// and are kept for the point: the optimizer asks for the derivatives of the point that it
// has just tried.
#pragma once

#include <memory>
#include <optional>

#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/report/ridge_influence.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"

namespace corvane::model::ridge_regression_detail {

// A function of t with its first two derivatives.
struct penalty_jet {
  double value = 0.0;
  double first = 0.0;
  double second = 0.0;
};

class common_penalty_objective : public ridge_regression_objective {
 public:
  bool compute_value(const_vector_view t, double& value) final;
  bool compute_gradient(const_vector_view t, vector_view gradient) final;
  bool compute_hessian(const_vector_view t, symmetric_view hessian) final;
  bool compute_weights(const_vector_view t, vector_view weights) final;

  virtual ridge_influence influence(double t) const;

 protected:
  // What the factors look at must outlive the objective.
  explicit common_penalty_objective(
      std::unique_ptr<const common_penalty_factors>&& factors);
  const common_penalty_factors& factors() const { return *factors_; }
  const penalty_spectrum& spectrum() const { return factors_->spectrum(); }

 private:
  bool is_in_domain(double t) const;
  // Empty where the score is undefined. t is in the domain.
  virtual std::optional<penalty_jet> evaluate(double t) const = 0;
  const std::optional<penalty_jet>& jet_at(double t);

  std::unique_ptr<const common_penalty_factors> factors_;
  double length_;            // root of the sum of squares of the singular values
  double kept_point_ = 0.0;  // where no score is defined
  std::optional<penalty_jet> kept_jet_;
};

}  // namespace corvane::model::ridge_regression_detail
