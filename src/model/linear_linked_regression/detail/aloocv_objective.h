// SPDX-License-Identifier: BSD-3-Clause
//
// aloocv_objective: the outer problem of a linked linear model, an approximate
// leave-one-out loss as a function of the hyperparameters theta,
//   V(theta) = sum_i l(y_i, zeta_i),   zeta_i = z_i + h_i l'_i / (1 - h_i l''_i).
// Each theta runs an inner optimization of the weights w. zeta_i approximates the
// prediction for sample i of the fit without it, by one Newton step: h_i = x_i' H^-1 x_i, H
// the inner Hessian. Gradient and Hessian in theta are exact.
//
// Inner problems start at the solution of the last accepted theta. Between two accepted
// points the value at a theta therefore does not depend on what was evaluated before. Over
// a whole run it can, where a smoothed penalty gives the inner problem several minima.
#pragma once

#include <memory>
#include <optional>

#include "model/linear_linked_regression/detail/loss_objective.h"
#include "model/linear_linked_regression/detail/optimum_derivatives.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/evaluation_cache.h"
#include "optimization/objective.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model::linear_linked_regression_detail {

class aloocv_objective final : public optimization_objective_helper {
 public:
  // X is n by p, normalized; y is coded -1 and +1. All loops over rows, those of inner runs
  // included, check `interrupt`.
  aloocv_objective(std::shared_ptr<trust_region_optimizer> inner_optimizer,
                   std::shared_ptr<const linear_loss_link> loss_link,
                   std::shared_ptr<const regularizer> penalty, dense_matrix&& X,
                   dense_vector&& y, interruption* interrupt = nullptr);

  // Forgets every theta: the next inner problem starts from w = 0, as the first one did.
  void restart();

  // Whether this score is negligible compared with that of a model without features. For
  // separable classes the score falls towards 0 with the strengths, and the search for its
  // minimum never ends.
  bool is_near_infimum(double value) const;

  // The solution of the inner problem at the last theta evaluated; where that one is
  // undefined, at the last theta accepted.
  const_vector_view weights() const;

  // The score at theta, as `compute_value`; the solution can be read afterwards. If theta
  // was not evaluated last, the inner problem starts at `weights`. False where undefined.
  bool settle_at(const_vector_view theta, const_vector_view weights, double& value);
  // Moves the solution at the last theta evaluated by one Newton step, which decreases the
  // gradient where no change of the value can be seen any more. False where the score is
  // not defined there.
  bool polish_solution();
  // The solution at the last theta evaluated, if the score is defined there.
  inner_optimum optimum() const;
  const trust_region_result& inner_run() const { return inner_result_; }
  // X' diag(l'') X at the solution, the lower triangle
  const_symmetric_view loss_curvature();

  bool compute_value(const_vector_view theta, double& value) override;
  bool compute_gradient_hessian(const_vector_view theta, vector_view gradient,
                                symmetric_view hessian) override;
  // Inner problems start at the solution of the last accepted theta from here on. A theta
  // that is undefined cannot have been accepted: it ends the process. Throws
  // optimizer_infimum_error where the score is near its infimum after a hundred steps.
  void begin_iteration(const_vector_view theta, double value, const_vector_view gradient,
                       const_symmetric_view hessian) override;

 private:
  bool refresh(const_vector_view theta);
  void start_at_solution();
  bool solve_inner_problem(const_vector_view theta);
  bool run_inner_optimizer();
  bool refine_solution();
  bool take_newton_step();
  bool settle();
  void leave_each_out();
  std::optional<double> sum_loo_losses() const;

  std::shared_ptr<trust_region_optimizer> inner_optimizer_;
  std::shared_ptr<const linear_loss_link> loss_link_;
  std::shared_ptr<const regularizer> regularizer_;
  dense_matrix X_;
  dense_vector y_;
  interruption* interrupt_;
  loss_objective inner_objective_;  // looks at X and y
  dense_vector start_weights_;      // where the next inner problem starts

  int num_steps_ = 0;  // of this run

  evaluated_point evaluated_;  // the theta that all below belongs to
  bool is_defined_ = false;
  std::optional<double> value_;
  trust_region_result inner_result_;
  symmetric_matrix hessian_factor_;  // L, lower
  dense_vector leverages_;           // h
  dense_vector loo_predictions_;     // zeta
};

}  // namespace corvane::model::linear_linked_regression_detail
