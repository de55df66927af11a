// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/aloocv_objective.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "model/linear_linked_regression/detail/loo_chain_rule.h"
#include "model/linear_linked_regression/detail/observation_products.h"
#include "model/linear_linked_regression/detail/same_point.h"
#include "n_array/panic.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// The entry in which two points differ, if there is one and no other.
std::optional<index_t> only_difference(const_vector_view from, const_vector_view to) {
  std::optional<index_t> found;
  for (index_t a = 0; a < to.size(); ++a) {
    if (from[a] == to[a]) continue;
    if (found) return std::nullopt;
    found = a;
  }
  return found;
}

}  // namespace

aloocv_objective::aloocv_objective(std::shared_ptr<trust_region_optimizer> inner_optimizer,
                                   std::shared_ptr<const linear_loss_link> loss_link,
                                   std::shared_ptr<const regularizer> penalty,
                                   dense_matrix&& X, dense_vector&& y,
                                   interruption* interrupt)
    : inner_optimizer_{std::move(inner_optimizer)},
      loss_link_{std::move(loss_link)},
      regularizer_{std::move(penalty)},
      X_{std::move(X)},
      y_{std::move(y)},
      interrupt_{interrupt},
      inner_objective_{loss_link_, regularizer_, X_, y_, interrupt},
      start_weights_{X_.cols()},
      leverages_{X_.rows()},
      loo_predictions_{X_.rows()} {
  std::fill(start_weights_.begin(), start_weights_.end(), 0.0);
}

void aloocv_objective::restart() {
  evaluated_.reset();
  accepted_.reset();
  is_at_end_ = false;
  recent_steps_ = {};
  num_steps_ = 0;
  is_defined_ = false;
  std::fill(start_weights_.begin(), start_weights_.end(), 0.0);
  inner_objective_.start_at(start_weights_);
}

const_vector_view aloocv_objective::weights() const {
  return is_defined_ ? inner_result_.x.view() : start_weights_.view();
}

bool aloocv_objective::settle_at(const_vector_view theta, const_vector_view weights,
                                 double& value) {
  if (!(is_defined_ && same_point(theta, *evaluated_))) {
    restart();
    start_weights_ = weights;
    inner_objective_.start_at(start_weights_);
  }
  accepted_.reset();
  is_at_end_ = false;
  return compute_value(theta, value);
}

bool aloocv_objective::polish_solution() {
  if (!is_defined_) return false;
  if (!inner_objective_.polish(inner_result_.x, inner_result_.value, inner_result_.gradient,
                               inner_result_.hessian))
    return true;
  value_.reset();
  hessian_factor_ = inner_result_.hessian;
  is_defined_ = settle_at_solution() && potrf(hessian_factor_) == 0;
  if (is_defined_) leave_each_out();
  return is_defined_;
}

const_symmetric_view aloocv_objective::loss_curvature() {
  return inner_objective_.loss_curvature(inner_result_.x);
}

// The optimizer asks for value, derivatives and the start of an iteration at the same
// theta: one refresh serves them all, and a theta that failed is remembered as such.
bool aloocv_objective::refresh(const_vector_view theta) {
  if (evaluated_ && same_point(theta, *evaluated_)) return is_defined_;
  // Undefined until proven otherwise, so that a failure at any step is remembered.
  evaluated_ = dense_vector{theta};
  value_.reset();
  is_defined_ = false;
  is_defined_ = solve_inner_problem(theta);
  if (is_defined_) leave_each_out();
  return is_defined_;
}

// A solution counts when its Hessian is positive definite, also where the inner run missed
// its tolerance.
bool aloocv_objective::solve_inner_problem(const_vector_view theta) {
  if (!inner_objective_.accepts_hyperparameters(theta)) return false;
  inner_objective_.set_hyperparameters(theta);
  if (!run_inner_optimizer()) return false;
  // The copy panics on a Hessian that is not square.
  hessian_factor_ = inner_result_.hessian;
  return inner_result_.positive_definite && !inner_objective_.is_exhausted() &&
         settle_at_solution() && potrf(hessian_factor_) == 0;
}

// An objective that is undefined at its start point is the one failure that a run throws;
// here it is a theta that does not work.
bool aloocv_objective::run_inner_optimizer() {
  try {
    inner_result_ = optimize(*inner_optimizer_, inner_objective_, start_weights_);
  } catch (const optimizer_undefined_error&) {
    return false;
  }
  return true;
}

// Predictions and derivatives of the inner objective belong to the point that it saw last.
// After a run that ended with a rejected trial that point is not the solution.
bool aloocv_objective::settle_at_solution() {
  return inner_objective_.return_to(inner_result_.x);
}

// zeta from one Newton step without sample i: by the formula of Sherman and Morrison the
// inverse Hessian without l''_i x_i x_i' turns h_i into h_i / (1 - h_i l''_i).
void aloocv_objective::leave_each_out() {
  inverse_quadratic_forms(X_, hessian_factor_, leverages_, interrupt_);
  const index_t n = y_.size();
  const double* const z = inner_objective_.predictions().data();
  const double* const l1 = inner_objective_.loss_first_derivative().data();
  const double* const l2 = inner_objective_.loss_second_derivative().data();
  const double* const h = leverages_.data();
  double* const zeta = loo_predictions_.data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < n; ++i) zeta[i] = z[i] + h[i] * l1[i] / (1.0 - h[i] * l2[i]);
  });
}

// V is the sum of the losses alone: the penalty is no part of it.
std::optional<double> aloocv_objective::sum_loo_losses() const {
  scoped_allocator scratch;
  const vector_view losses = scratch.vector(y_.size());
  if (loss_link_->can_compute_jointly())
    loss_link_->compute_jointly(y_, loo_predictions_, {losses, {}, {}, {}, {}});
  else if (!loss_link_->compute_loss(y_, loo_predictions_, losses))
    return std::nullopt;
  return compensated_total(losses);
}

inner_optimum aloocv_objective::optimum() const {
  return {*evaluated_,
          X_,
          y_,
          inner_result_.x,
          inner_objective_.predictions(),
          inner_objective_.loss_first_derivative(),
          inner_objective_.loss_second_derivative(),
          hessian_factor_,
          leverages_,
          loo_predictions_,
          interrupt_};
}

bool aloocv_objective::compute_value(const_vector_view theta, double& value) {
  if (is_at_end_ && !same_point(theta, accepted_->theta)) return false;
  if (!refresh(theta)) return false;
  if (!value_) value_ = sum_loo_losses();
  if (!value_) return false;
  value = *value_;
  is_at_end_ = is_across_a_jump(theta, value);
  return is_finite(value);
}

// Whether the score is higher than at the accepted theta, although that is so close that
// slope and curvature told the opposite: a weight between here and there has changed its
// side. An optimizer would approach the jump in ever smaller steps, half of its inner
// problems for the last millionth of the score.
bool aloocv_objective::is_across_a_jump(const_vector_view theta, double value) const {
  constexpr double close = 1e-4;
  if (!accepted_ || !(value > accepted_->value)) return false;
  double distance = 0.0;
  double length = 0.0;
  for (index_t a = 0; a < theta.size(); ++a) {
    distance = std::hypot(distance, theta[a] - accepted_->theta[a]);
    length = std::hypot(length, accepted_->theta[a]);
  }
  if (!(distance <= close * length)) return false;
  const double zone = regularizer_->zone();
  const const_vector_view weights = inner_result_.x;
  for (index_t k = 0; k < weights.size(); ++k)
    if ((std::abs(weights[k]) < zone) != (std::abs(accepted_->weights[k]) < zone))
      return true;
  return false;
}

// Counts an accepted step. Whether the last hundred have brought next to nothing, as where
// an exponent of a bridge grows without end: a run may go on like that for 10^5 steps.
bool aloocv_objective::count_step_and_tell_creeping(double value) {
  constexpr int many = 100;
  constexpr double least_gain = 1e-4;
  if (++recent_steps_.count < many) return false;
  const double gain = recent_steps_.value_before - value;
  recent_steps_ = {.count = 0, .value_before = value};
  return gain < least_gain * std::abs(value);
}

bool aloocv_objective::compute_gradient_hessian(const_vector_view theta,
                                                vector_view gradient,
                                                symmetric_view hessian) {
  return refresh(theta) && compute_loo_gradient_hessian(*loss_link_, *regularizer_,
                                                        optimum(), gradient, hessian);
}

// Each observation has the loss log 2 where the prediction is 0.
bool aloocv_objective::is_near_infimum(double value) const {
  constexpr double near = 1e-6;
  return value < near * std::log(2.0) * static_cast<double>(y_.size());
}

void aloocv_objective::begin_iteration(const_vector_view theta, double value,
                                       const_vector_view /*gradient*/,
                                       const_symmetric_view /*hessian*/) {
  if (!refresh(theta))
    panic("termination condition not satisfied", __LINE__,
          "src/model/linear_linked_regression/detail/aloocv_objective");
  constexpr int many_steps = 100;
  if (++num_steps_ > many_steps && is_near_infimum(value)) throw optimizer_infimum_error{};
  start_at_solution();
}

void aloocv_objective::start_at_solution() {
  start_weights_ = inner_result_.x;
  inner_objective_.start_at(start_weights_);
}

bool aloocv_objective::adjust_point(vector_view theta, double& value, vector_view gradient,
                                    symmetric_view hessian) {
  if (regularizer_->zone() == 0.0) return false;
  const bool moved =
      is_disappointing(theta, value) && step_back(theta, value, gradient, hessian);
  accepted_ =
      accepted_point{dense_vector{theta}, value, dense_vector{gradient},
                     symmetric_matrix{const_symmetric_view{hessian}}, start_weights_};
  is_at_end_ = count_step_and_tell_creeping(value);
  return moved;
}

// Whether the step from the last accepted theta to this one has not brought half of what
// the derivatives there had promised. Of steps along one strength alone: where several
// change, jumps are not what most steps fail by. A step through zero does not count either:
// strengths are squares, and that in the middle is not between those of the ends.
bool aloocv_objective::is_disappointing(const_vector_view theta, double value) const {
  if (!accepted_) return false;
  const std::optional<index_t> moved = only_difference(accepted_->theta, theta);
  if (!moved) return false;
  const index_t a = *moved;
  if (!(theta[a] * accepted_->theta[a] > 0.0)) return false;
  const double step = theta[a] - accepted_->theta[a];
  const double promised =
      (accepted_->gradient[a] + 0.5 * accepted_->hessian(a, a) * step) * step;
  return value - accepted_->value > 0.5 * promised;
}

// To the middle of the last step, if the score is lower there. It is solved for from the
// side that the step began at: a weight that left its zone may not find its way back.
bool aloocv_objective::step_back(vector_view theta, double& value, vector_view gradient,
                                 symmetric_view hessian) {
  const dense_vector end_weights = start_weights_;
  scoped_allocator scratch;
  const vector_view middle = scratch.vector(theta.size());
  for (index_t a = 0; a < middle.size(); ++a)
    middle[a] = 0.5 * (accepted_->theta[a] + theta[a]);
  const vector_view middle_gradient = scratch.vector(theta.size());
  const symmetric_view middle_hessian = scratch.symmetric(theta.size());
  double middle_value = 0.0;
  start_weights_ = accepted_->weights;
  if (!compute_value(middle, middle_value) || !(middle_value < value) ||
      !compute_gradient_hessian(middle, middle_gradient, middle_hessian)) {
    start_weights_ = end_weights;
    return false;
  }
  std::copy(middle.begin(), middle.end(), theta.begin());
  value = middle_value;
  std::copy(middle_gradient.begin(), middle_gradient.end(), gradient.begin());
  copy_lower(middle_hessian, hessian);
  start_at_solution();
  return true;
}

}  // namespace corvane::model::linear_linked_regression_detail
