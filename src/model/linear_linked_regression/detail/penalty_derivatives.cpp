// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/penalty_derivatives.h"

#include <algorithm>

namespace corvane::model::linear_linked_regression_detail {

namespace {

bool is_defined(regularizer_status status) {
  return status != regularizer_status::not_finite;
}

// A vector derivative that reads as zeros where the penalty has none. The buffer starts as
// zeros, as a penalty need not write the entry of a weight that it does not act on.
template <class Compute>
std::optional<dense_vector> vector_derivative(bool exists, index_t size, Compute compute) {
  dense_vector out{size};
  std::fill(out.begin(), out.end(), 0.0);
  if (!exists) return out;
  const regularizer_status status = compute(out.view());
  if (status == regularizer_status::not_finite) return std::nullopt;
  if (status == regularizer_status::identically_zero)
    std::fill(out.begin(), out.end(), 0.0);
  return out;
}

bool fill_hyperparameter_derivatives(const regularizer& penalty, const_vector_view theta,
                                     const_vector_view w, penalty_derivatives& out) {
  return is_defined(penalty.compute_gradient_hyperparameter_derivative(
             theta, w, out.gradient_derivative)) &&
         is_defined(penalty.compute_gradient_hyperparameter_hessian(
             theta, w, out.gradient_hessian)) &&
         is_defined(penalty.compute_second_derivative_hyperparameter_derivative(
             theta, w, out.curvature_derivative)) &&
         is_defined(penalty.compute_second_derivative_hyperparameter_hessian(
             theta, w, out.curvature_hessian));
}

}  // namespace

std::optional<penalty_derivatives> differentiate_penalty(const regularizer& penalty,
                                                         const_vector_view theta,
                                                         const_vector_view w) {
  penalty_derivatives out;
  if (!fill_hyperparameter_derivatives(penalty, theta, w, out)) return std::nullopt;

  auto r3 = vector_derivative(
      penalty.has_third_derivative(), w.size(),
      [&](vector_view to) { return penalty.compute_third_derivative(theta, w, to); });
  if (!r3) return std::nullopt;
  out.r3 = std::move(*r3);

  if (penalty.has_third_derivative_hyperparameter_derivative() &&
      !is_defined(penalty.compute_third_derivative_hyperparameter_derivative(
          theta, w, out.third_derivative)))
    return std::nullopt;

  auto r4 = vector_derivative(
      penalty.has_fourth_derivative(), w.size(),
      [&](vector_view to) { return penalty.compute_fourth_derivative(theta, w, to); });
  if (!r4) return std::nullopt;
  out.r4 = std::move(*r4);
  return out;
}

}  // namespace corvane::model::linear_linked_regression_detail
