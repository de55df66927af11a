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
// penalty is below the rounding error.
void loss_objective::begin_iteration(const_vector_view /*w*/, double value,
                                     const_vector_view /*gradient*/,
                                     const_symmetric_view /*hessian*/) {
  if (value < double_epsilon * static_cast<double>(predictions().size()))
    throw optimizer_infimum_error{};
  ++num_iterations_;
}

// The optimizer's own test compares with 1 + |F|, which is too weak where F is far below 1,
// as of separable classes with a weak penalty: a start at the solution for a neighbouring
// theta would pass it at once. g^2 / H is twice what a Newton step along one weight gains;
// the limit is the rounding error of F. Under a quadratic penalty, whose score is
// smooth in theta, the optimizer's test suffices where F >= 1.
bool loss_objective::accept_convergence(const_vector_view /*w*/, double value,
                                        const_vector_view gradient,
                                        const_symmetric_view hessian) {
  if (value >= 1.0 && !regularizer_->has_third_derivative()) return true;
  for (index_t k = 0; k < gradient.size(); ++k)
    if (gradient[k] * gradient[k] > double_epsilon * value * std::abs(hessian(k, k)))
      return false;
  return true;
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
