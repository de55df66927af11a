// SPDX-License-Identifier: BSD-3-Clause
//
// loss_objective: the inner problem of a linked linear model. For hyperparameters theta
// held fixed it is the penalized loss as a function of the weights w,
//   F(w) = sum_i l(y_i, z_i) + R(theta, w),    z = X w,
// with gradient X' l' + r1 and Hessian X' diag(l'') X + diag(r2). The intercept is a column
// of X whose penalty is zero.
#pragma once

#include <memory>

#include "model/linear_linked_regression/detail/linked_losses.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/objective.h"

namespace corvane::model::linear_linked_regression_detail {

// Its losses keep z, l' and l'' of the last point evaluated: after a run of the optimizer
// they belong to its solution, and the owner reads them there.
class loss_objective final : public optimization_objective_helper {
 public:
  // X (n by p) and y (n) must outlive the objective. Each evaluation at another point
  // checks `interrupt`.
  loss_objective(std::shared_ptr<const linear_loss_link> loss_link,
                 std::shared_ptr<const regularizer> penalty, const_matrix_view X,
                 const_vector_view y, interruption* interrupt = nullptr);

  // False when the penalty has no finite gradient at w = 0, where an inner problem starts:
  // set_hyperparameters would end the process with such a theta.
  bool accepts_hyperparameters(const_vector_view theta) const;
  // Moves the objective to another theta and forgets the last point.
  void set_hyperparameters(const_vector_view theta);

  // Inner problems with other hyperparameters start at w from here on: what was computed
  // at w last, and does not depend on theta, is kept for them.
  void start_at(const_vector_view w) { losses_.keep(w); }

  // The penalty has a slope at w = 0.
  bool is_nonsmooth_at_zero() const { return is_nonsmooth_at_zero_; }

  // Well-posed problems need tens of iterations. A run with more than this limit does not
  // converge in any practical number of iterations: with a huge theta and groups of very
  // different strengths its steps are too short. The objective is then undefined, which
  // ends the run.
  static constexpr int iteration_limit = 200;
  bool is_exhausted() const { return num_iterations_ > iteration_limit; }

  bool compute_value(const_vector_view w, double& value) override;
  bool compute_gradient_hessian(const_vector_view w, vector_view gradient,
                                symmetric_view hessian) override;
  void begin_iteration(const_vector_view w, double value, const_vector_view gradient,
                       const_symmetric_view hessian) override;
  // False where the solution is not exact: the score and its derivatives take it for that,
  // and the outer optimizer compares scores that differ by little.
  bool accept_convergence(const_vector_view w, double value, const_vector_view gradient,
                          const_symmetric_view hessian) override;

  // The last point evaluated, kept start points apart. Undefined before the first.
  const_vector_view weights() const { return losses_.weights(); }
  // Makes w the last point, to which all that follows belongs.
  bool return_to(const_vector_view w) { return losses_.return_to(w); }
  // z = X w at the last point, and l'(y, z), l''(y, z) if derivatives were computed at that
  // point.
  const_vector_view predictions() const { return losses_.predictions(); }
  const_vector_view loss_first_derivative() const { return losses_.first_derivative(); }
  const_vector_view loss_second_derivative() const { return losses_.second_derivative(); }
  // X' diag(l'') X at w, good until the next call. Panics where the link fails, which it
  // does not at a solution.
  const_symmetric_view loss_curvature(const_vector_view w);

 private:
  regularizer_status gradient_at_zero(const_vector_view theta, vector_view out) const;
  bool add_penalty_gradient(const_vector_view w, vector_view gradient) const;
  bool add_penalty_curvature(const_vector_view w, symmetric_view hessian) const;

  dense_vector regularizer_gradient_at_zero_;
  bool is_nonsmooth_at_zero_ = false;
  int num_iterations_ = 0;  // since theta was set
  std::shared_ptr<const regularizer> regularizer_;
  dense_vector hyperparameters_;
  linked_losses losses_;
};

}  // namespace corvane::model::linear_linked_regression_detail
