// SPDX-License-Identifier: BSD-3-Clause
//
// aloocv_objective: the outer problem of a linked linear model, an approximate
// leave-one-out loss as a function of the hyperparameters theta,
//   V(theta) = sum_i l(y_i, zeta_i),   zeta_i = z_i + h_i l'_i / (1 - h_i l''_i).
// Each theta runs an inner optimization of the weights w. zeta_i approximates the
// prediction for sample i of the fit without it, by one Newton step: h_i = x_i' H^-1 x_i, H
// the inner Hessian. Gradient and Hessian in theta are exact.
#pragma once

#include <limits>
#include <memory>
#include <optional>

#include "model/linear_linked_regression/detail/loss_objective.h"
#include "model/linear_linked_regression/detail/optimum_derivatives.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/objective.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model::linear_linked_regression_detail {

class aloocv_objective final : public optimization_objective_helper {
 public:
  // X is n by p, normalized; y is coded -1 and +1. All loops over rows, those of inner runs
  // included, ask `interrupt` whether to go on.
  aloocv_objective(std::shared_ptr<trust_region_optimizer> inner_optimizer,
                   std::shared_ptr<const linear_loss_link> loss_link,
                   std::shared_ptr<const regularizer> penalty, dense_matrix&& X,
                   dense_vector&& y, interruption* interrupt = nullptr);

  // Forgets every theta: the next inner problem starts from w = 0, as the first one did.
  void restart();

  // Whether this score is next to nothing beside that of a model that knows of no feature.
  // Of separable classes the score falls towards 0 with the strengths, and the search for
  // its minimum never ends.
  bool is_near_infimum(double value) const;

  // The solution of the inner problem at the last theta evaluated; where that one is
  // undefined, at the last theta accepted.
  const_vector_view weights() const;

  // The score at theta as `compute_value`, for a look at the solution there: of one that
  // was not evaluated last the inner problem starts at `weights`. False where undefined.
  bool settle_at(const_vector_view theta, const_vector_view weights, double& value);
  // Moves the solution at the last theta evaluated by one step of Newton's method, where
  // that is defined: an inner run does not see what moves no digit of its value. False
  // where the score is not defined there.
  bool polish_solution();
  // What the last theta evaluated, where it is defined, has for solution.
  inner_optimum optimum() const;
  const trust_region_result& inner_run() const { return inner_result_; }
  // X' diag(l'') X at the solution, the lower triangle
  const_symmetric_view loss_curvature();

  // False too where a trial just before lay across a jump and as close by, or where many
  // steps have brought next to nothing: what is left to gain is not worth inner problems.
  bool compute_value(const_vector_view theta, double& value) override;
  bool compute_gradient_hessian(const_vector_view theta, vector_view gradient,
                                symmetric_view hessian) override;
  // Inner problems start at the solution of the last accepted theta from here on. A theta
  // that is undefined cannot have been accepted: it ends the process. Throws
  // optimizer_infimum_error where the score is near its infimum after a hundred steps.
  void begin_iteration(const_vector_view theta, double value, const_vector_view gradient,
                       const_symmetric_view hessian) override;
  // Goes back part of the last step where that has a lower score. Where a weight leaves the
  // zone of a smoothed penalty the score jumps, and no derivative tells of it: a step that
  // looks good to its end may have crossed many jumps, and its middle fewer.
  bool adjust_point(vector_view theta, double& value, vector_view gradient,
                    symmetric_view hessian) override;

 private:
  // A point that the optimizer has accepted, and what it knows there.
  struct accepted_point {
    dense_vector theta;
    double value;
    dense_vector gradient;
    symmetric_matrix hessian;
    dense_vector weights;
  };

  // Accepted steps are looked at a hundred at a time.
  struct hundred_steps {
    int count = 0;
    // The score that they began at. Of the first hundred of a run it is not asked for.
    double value_before = std::numeric_limits<double>::infinity();
  };

  bool refresh(const_vector_view theta);
  bool is_across_a_jump(const_vector_view theta, double value) const;
  bool count_step_and_tell_creeping(double value);
  bool is_disappointing(const_vector_view theta, double value) const;
  bool step_back(vector_view theta, double& value, vector_view gradient,
                 symmetric_view hessian);
  void start_at_solution();
  bool solve_inner_problem(const_vector_view theta);
  bool run_inner_optimizer();
  bool settle_at_solution();
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

  std::optional<accepted_point> accepted_;
  bool is_at_end_ = false;  // of what can be gained: no theta but the accepted one is tried
  hundred_steps recent_steps_;
  int num_steps_ = 0;  // of this run

  // What belongs to `evaluated_`.
  std::optional<dense_vector> evaluated_;  // theta
  bool is_defined_ = false;
  std::optional<double> value_;
  trust_region_result inner_result_;
  symmetric_matrix hessian_factor_;  // L, lower
  dense_vector leverages_;           // h
  dense_vector loo_predictions_;     // zeta
};

}  // namespace corvane::model::linear_linked_regression_detail
