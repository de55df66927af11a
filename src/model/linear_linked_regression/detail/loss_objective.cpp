// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/loss_objective.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/detail/penalized_model.h"
#include "n_array/panic.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

dense_vector filled(index_t size, double value) {
  dense_vector result{size};
  std::fill(result.begin(), result.end(), value);
  return result;
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

}  // namespace

loss_objective::loss_objective(std::shared_ptr<const linear_loss_link> loss_link,
                               std::shared_ptr<const regularizer> penalty,
                               const_matrix_view X, const_vector_view y,
                               interruption* interrupt)
    : regularizer_gradient_at_zero_{filled(X.cols(), 0.0)},
      regularizer_{std::move(penalty)},
      hyperparameters_{filled(regularizer_->num_hyperparameters(), nan)},
      losses_{std::move(loss_link), X, y, interrupt} {}

regularizer_status loss_objective::gradient_at_zero(const_vector_view theta,
                                                    vector_view out) const {
  scoped_allocator scratch;
  const vector_view zeros = scratch.vector(regularizer_gradient_at_zero_.size());
  std::fill(zeros.begin(), zeros.end(), 0.0);
  std::fill(out.begin(), out.end(), 0.0);
  return regularizer_->compute_gradient(theta, zeros, out);
}

bool loss_objective::accepts_hyperparameters(const_vector_view theta) const {
  scoped_allocator scratch;
  return all_finite(theta) &&
         gradient_at_zero(theta, scratch.vector(regularizer_gradient_at_zero_.size())) !=
             regularizer_status::not_finite;
}

// The penalty must be smooth enough at zero to start there. A caller that cannot know asks
// accepts_hyperparameters first.
void loss_objective::set_hyperparameters(const_vector_view theta) {
  losses_.forget();
  num_iterations_ = 0;
  is_move_due_ = true;
  is_refused_ = false;
  is_settled_ = false;
  is_polish_due_ = false;
  is_polished_ = false;
  hyperparameters_ = theta;
  const vector_view slope = regularizer_gradient_at_zero_;
  const regularizer_status status = gradient_at_zero(theta, slope);
  if (status == regularizer_status::not_finite)
    panic("regularizer undefined at zero", __LINE__,
          "src/model/linear_linked_regression/detail/loss_objective");
  if (status == regularizer_status::identically_zero)
    std::fill(slope.begin(), slope.end(), 0.0);
  is_nonsmooth_at_zero_ =
      std::any_of(slope.begin(), slope.end(), [](double entry) { return entry > 0.0; });
}

// Losses and penalties are not negative. Where the sum is less than rounding errors of the
// losses at w = 0 there is nothing left to minimize: the classes are separable and the
// penalty too weak to tell.
void loss_objective::begin_iteration(const_vector_view /*w*/, double value,
                                     const_vector_view /*gradient*/,
                                     const_symmetric_view /*hessian*/) {
  if (regularizer_->zone() == 0.0 &&
      value < double_epsilon * static_cast<double>(predictions().size()))
    throw optimizer_infimum_error{};
  ++num_iterations_;
}

// From w = 0 an optimizer would set out with a very small step. Elsewhere its own steps do
// for a penalty that is smooth throughout.
bool loss_objective::adjust_point(vector_view w, double& value, vector_view gradient,
                                  symmetric_view hessian) {
  constexpr int most_moves = 30;
  if (is_polish_due_) {
    is_polish_due_ = false;
    return polish(w, value, gradient, hessian);
  }
  if (!is_move_due_) return false;
  is_move_due_ = false;
  is_settled_ = is_refused_;
  const auto penalty = regularizer_->at_hyperparameters(hyperparameters_);
  if (!penalty) return false;
  const bool is_zero = std::all_of(w.begin(), w.end(), [](double x) { return x == 0.0; });
  if (penalty->zone() == 0.0 && !is_zero) return false;
  int num_moves = 0;
  while (num_moves < most_moves && move_downhill(*penalty, w, value, gradient, hessian))
    ++num_moves;
  is_settled_ = is_refused_ && num_moves == 0;
  return num_moves > 0;
}

// False where the point stays: the move is so short that the optimizer's own step is as
// good, or it does not lower the value.
bool loss_objective::move_downhill(const weight_penalty& penalty, vector_view w,
                                   double& value, vector_view gradient,
                                   symmetric_view hessian) {
  constexpr double shortest = 0.003;
  const loss_sums* const sums = losses_.differentiate(w);
  if (sums == nullptr) return false;
  scoped_allocator scratch;
  const vector_view moved = scratch.vector(w.size());
  std::copy(w.begin(), w.end(), moved.begin());
  const model_move move = descend({w, sums->gradient, sums->hessian, penalty}, moved);
  if (!(move.length > shortest || move.crosses_a_border)) return false;

  double moved_value = 0.0;
  return compute_value(moved, moved_value) && moved_value < value &&
         move_to(moved, moved_value, w, value, gradient, hessian);
}

bool loss_objective::accept_convergence(const_vector_view w, double value,
                                        const_vector_view gradient,
                                        const_symmetric_view hessian) {
  if (regularizer_->zone() == 0.0) return is_relatively_exact(value, gradient, hessian);
  if (!is_settled_ && holds_a_weight_about_to_leave(w, hessian)) return false;
  if (is_polished_ || !can_be_polished(gradient, hessian)) return true;
  is_polish_due_ = is_polished_ = true;
  return false;
}

// The optimizer's test compares with 1 + |F|. Of separable classes with a weak penalty F is
// far below 1, and a start at the solution for a neighbouring theta passes that test at
// once: the score would not follow theta any more. g^2 / H is twice what a step along one
// weight would gain.
bool loss_objective::is_relatively_exact(double value, const_vector_view gradient,
                                         const_symmetric_view hessian) {
  constexpr double precision = 1e-16;  // of F
  for (index_t k = 0; value < 1.0 && k < gradient.size(); ++k)
    if (gradient[k] * gradient[k] > precision * value * std::abs(hessian(k, k)))
      return false;
  return true;
}

bool loss_objective::can_be_polished(const_vector_view gradient,
                                     const_symmetric_view hessian) {
  constexpr double precision = 1e-10;  // in units of the root of the curvature
  for (index_t k = 0; k < gradient.size(); ++k)
    if (std::abs(gradient[k]) > precision * std::sqrt(std::abs(hessian(k, k)))) return true;
  return false;
}

bool loss_objective::polish(vector_view w, double& value, vector_view gradient,
                            symmetric_view hessian) {
  scoped_allocator scratch;
  const symmetric_view factor = scratch.symmetric(w.size());
  copy_lower(hessian, factor);
  if (potrf(factor) != 0) return false;
  const vector_view moved = scratch.vector(w.size());
  std::copy(gradient.begin(), gradient.end(), moved.begin());
  trsv(triangle::lower, plain, factor, moved);
  trsv(triangle::lower, transposed, factor, moved);
  for (index_t k = 0; k < w.size(); ++k) moved[k] = w[k] - moved[k];
  double moved_value = 0.0;
  return compute_value(moved, moved_value) &&
         move_to(moved, moved_value, w, value, gradient, hessian);
}

// False where there are no derivatives, and nothing has changed then.
bool loss_objective::move_to(const_vector_view moved, double moved_value, vector_view w,
                             double& value, vector_view gradient, symmetric_view hessian) {
  scoped_allocator scratch;
  const vector_view moved_gradient = scratch.vector(w.size());
  const symmetric_view moved_hessian = scratch.symmetric(w.size());
  if (!compute_gradient_hessian(moved, moved_gradient, moved_hessian)) return false;
  std::copy(moved.begin(), moved.end(), w.begin());
  value = moved_value;
  std::copy(moved_gradient.begin(), moved_gradient.end(), gradient.begin());
  copy_lower(moved_hessian, hessian);
  return true;
}

// In that case a move is due.
bool loss_objective::holds_a_weight_about_to_leave(const_vector_view w,
                                                   const_symmetric_view hessian) {
  const auto penalty = regularizer_->at_hyperparameters(hyperparameters_);
  if (!penalty) return false;
  for (index_t k = 0; k < w.size(); ++k) {
    const double of_losses = hessian(k, k) - penalty->at(k, w[k]).curvature;
    if (is_about_to_leave_zone(*penalty, k, w[k], of_losses))
      is_move_due_ = is_refused_ = true;
  }
  return is_move_due_;
}

const_symmetric_view loss_objective::loss_curvature(const_vector_view w) {
  const loss_sums* const sums = losses_.differentiate(w);
  if (sums == nullptr)
    panic("link undefined at a solution", __LINE__,
          "src/model/linear_linked_regression/detail/loss_objective");
  return sums->hessian;
}

bool loss_objective::compute_value(const_vector_view w, double& value) {
  if (is_exhausted()) return false;
  const std::optional<double> loss = losses_.total(w);
  double penalty = 0.0;
  if (!loss || !regularizer_->compute_value(hyperparameters_, w, penalty)) return false;
  value = *loss + penalty;
  return is_finite(value);
}

// gradient = X' l' + r1, Hessian = X' diag(l'') X + diag(r2)
bool loss_objective::compute_gradient_hessian(const_vector_view w, vector_view gradient,
                                              symmetric_view hessian) {
  const loss_sums* const sums = losses_.differentiate(w);
  if (sums == nullptr) return false;
  std::copy(sums->gradient.begin(), sums->gradient.end(), gradient.begin());
  copy_lower(sums->hessian, hessian);
  return add_penalty_gradient(w, gradient) && add_penalty_curvature(w, hessian);
}

// The buffers start as zeros: a penalty need not write the entry of a weight that it does
// not act on.
bool loss_objective::add_penalty_gradient(const_vector_view w, vector_view gradient) const {
  scoped_allocator scratch;
  const vector_view r1 = scratch.vector(w.size());
  std::fill(r1.begin(), r1.end(), 0.0);
  const regularizer_status status = regularizer_->compute_gradient(hyperparameters_, w, r1);
  if (status == regularizer_status::not_finite) return false;
  if (status == regularizer_status::written)
    for (index_t k = 0; k < r1.size(); ++k) gradient[k] += r1[k];
  return all_finite(gradient);
}

bool loss_objective::add_penalty_curvature(const_vector_view w,
                                           symmetric_view hessian) const {
  scoped_allocator scratch;
  const vector_view r2 = scratch.vector(w.size());
  std::fill(r2.begin(), r2.end(), 0.0);
  const regularizer_status status =
      regularizer_->compute_second_derivative(hyperparameters_, w, r2);
  if (status == regularizer_status::not_finite) return false;
  if (status == regularizer_status::written)
    for (index_t k = 0; k < r2.size(); ++k) hessian(k, k) += r2[k];
  return all_finite(hessian);
}

}  // namespace corvane::model::linear_linked_regression_detail
