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
#include "n_array/panic.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::linear_linked_regression_detail {

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
  evaluated_.forget();
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
  if (!(is_defined_ && evaluated_.is_at(theta))) {
    restart();
    start_weights_ = weights;
    inner_objective_.start_at(start_weights_);
  }
  return compute_value(theta, value);
}

bool aloocv_objective::polish_solution() {
  if (!is_defined_) return false;
  value_.reset();
  is_defined_ = take_newton_step() && settle();
  return is_defined_;
}

// x - H^-1 g. The solution stays as it is where the inner objective is undefined there.
bool aloocv_objective::take_newton_step() {
  trust_region_result& run = inner_result_;
  hessian_factor_ = run.hessian;
  if (potrf(hessian_factor_) != 0) return false;
  dense_vector w{run.gradient};
  trsv(triangle::lower, plain, hessian_factor_, w);
  trsv(triangle::lower, transposed, hessian_factor_, w);
  for (index_t k = 0; k < w.size(); ++k) w[k] = run.x[k] - w[k];
  double value = 0.0;
  dense_vector gradient{w.size()};
  symmetric_matrix hessian{w.size(), w.size()};
  if (!inner_objective_.compute_value_gradient_hessian(w, value, gradient, hessian))
    return true;
  run.x = std::move(w);
  run.value = value;
  run.gradient = std::move(gradient);
  run.hessian = std::move(hessian);
  return true;
}

const_symmetric_view aloocv_objective::loss_curvature() {
  return inner_objective_.loss_curvature(inner_result_.x);
}

// The optimizer requests value, derivatives and the start of an iteration at the same
// theta: one refresh serves them all, and a theta that failed is remembered as such.
bool aloocv_objective::refresh(const_vector_view theta) {
  if (!evaluated_.move_to(theta)) return is_defined_;
  // Undefined until proven otherwise, so that a failure at any step is remembered.
  value_.reset();
  is_defined_ = false;
  is_defined_ = solve_inner_problem(theta) && settle();
  return is_defined_;
}

// A solution counts when its Hessian is positive definite, also where the inner run missed
// its tolerance.
bool aloocv_objective::solve_inner_problem(const_vector_view theta) {
  if (!inner_objective_.accepts_hyperparameters(theta)) return false;
  inner_objective_.set_hyperparameters(theta);
  if (!run_inner_optimizer() || inner_objective_.is_exhausted() ||
      !inner_result_.positive_definite)
    return false;
  return !regularizer_->has_third_derivative() || refine_solution();
}

// A trust-region run compares values, and sees no error of the weights below the root of
// their rounding. Scores of a smoothed penalty magnify such errors: a few Newton steps,
// which converge quadratically, remove them.
bool aloocv_objective::refine_solution() {
  constexpr int most_steps = 3;
  const auto is_exact = [&run = inner_result_] {
    constexpr double precision = 1e-12;  // of a step, in units of 1 / sqrt(H_kk)
    for (index_t k = 0; k < run.x.size(); ++k)
      if (std::abs(run.gradient[k]) > precision * std::sqrt(std::abs(run.hessian(k, k))))
        return false;
    return true;
  };
  for (int step = 0; step < most_steps && !is_exact(); ++step)
    if (!take_newton_step()) return false;
  return true;
}

// An objective that is undefined at its start point is the one failure that a run throws;
// here the score is undefined at theta.
bool aloocv_objective::run_inner_optimizer() {
  try {
    inner_result_ = optimize(*inner_optimizer_, inner_objective_, start_weights_);
  } catch (const optimizer_undefined_error&) {
    return false;
  }
  return true;
}

// The inner objective is evaluated at the solution again: after a run that ended with a
// rejected trial it holds that trial's values. The copy panics on a non-square Hessian.
bool aloocv_objective::settle() {
  hessian_factor_ = inner_result_.hessian;
  if (!inner_objective_.return_to(inner_result_.x) || potrf(hessian_factor_) != 0)
    return false;
  leave_each_out();
  return true;
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
  return {evaluated_.x(),
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
  if (!refresh(theta)) return false;
  if (!value_) value_ = sum_loo_losses();
  if (!value_) return false;
  value = *value_;
  return is_finite(value);
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

}  // namespace corvane::model::linear_linked_regression_detail
