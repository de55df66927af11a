// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/bridge_regularizer.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/hyperparameter_rows.h"
#include "model/linear_linked_regression/smoothed_powers.h"

namespace corvane::model {

namespace {

constexpr index_t num_kinds = 2;  // 0 for lambda, 1 for alpha

// Calls visit(group, k) for every weight k of every group, group by group.
template <class Visit>
void for_each_grouped_weight(const variable_mapping& mapping, Visit visit) {
  for (std::size_t g = 0; g < mapping.groups().size(); ++g)
    for (const index_t k : mapping.groups()[g]) visit(static_cast<index_t>(g), k);
}

}  // namespace

bridge_regularizer::bridge_regularizer(variable_mapping&& mapping,
                                       double smoothing_threshold)
    : mapping_{std::move(mapping)}, smoothing_threshold_{smoothing_threshold} {}

void bridge_regularizer::initialize_hyperparameters(vector_view theta) const {
  std::fill(theta.begin(), theta.end(), 0.5);
}

// sum over the groups of lambda^2 sum over the group of phi(w)
bool bridge_regularizer::compute_value(const_vector_view theta, const_vector_view w,
                                       double& value) const {
  scoped_allocator scratch;
  const smoothed_powers phi{alpha_of(theta), smoothing_threshold_, basis_, 0, scratch};
  value = 0.0;
  for_each_grouped_weight(mapping_, [&](index_t group, index_t k) {
    value += theta[group] * theta[group] * phi.derivative<0, 0>(group, w[k]);
  });
  return is_finite(value);
}

// lambda^2 D, D = phi^(m)(w)
template <int m>
regularizer_status bridge_regularizer::write_derivative(const_vector_view theta,
                                                        const_vector_view w,
                                                        vector_view out) const {
  scoped_allocator scratch;
  const smoothed_powers phi{alpha_of(theta), smoothing_threshold_, basis_, 0, scratch};
  // A weight outside of every group is not penalized.
  std::fill(out.begin(), out.end(), 0.0);
  for_each_grouped_weight(mapping_, [&](index_t group, index_t k) {
    out[k] = theta[group] * theta[group] * phi.derivative<m, 0>(group, w[k]);
  });
  return status_of(out);
}

// 2 lambda D in the rows of lambda, lambda^2 dD/dalpha in those of alpha
template <int m>
regularizer_status bridge_regularizer::build_derivative(const_vector_view theta,
                                                        const_vector_view w,
                                                        sparse_matrix& out) const {
  scoped_allocator scratch;
  const smoothed_powers phi{alpha_of(theta), smoothing_threshold_, basis_, 1, scratch};
  const auto entry = [&](index_t kind, index_t group, index_t k) {
    const double lambda = theta[group];
    if (kind == 0) return 2.0 * lambda * phi.derivative<m, 0>(group, w[k]);
    return lambda * lambda * phi.derivative<m, 1>(group, w[k]);
  };
  return build_hyperparameter_rows(mapping_, num_kinds, entry, out);
}

// 2 D for two lambdas, 2 lambda dD/dalpha for both kinds, lambda^2 d2D/dalpha2 for two
// alphas
template <int m>
regularizer_status bridge_regularizer::build_hessian(const_vector_view theta,
                                                     const_vector_view w,
                                                     sparse_matrix& out) const {
  scoped_allocator scratch;
  const smoothed_powers phi{alpha_of(theta), smoothing_threshold_, basis_, 2, scratch};
  const auto entry = [&](index_t kind, index_t other_kind, index_t group, index_t k) {
    const double lambda = theta[group];
    if (other_kind == 0) return 2.0 * phi.derivative<m, 0>(group, w[k]);
    if (kind == 0) return 2.0 * lambda * phi.derivative<m, 1>(group, w[k]);
    return lambda * lambda * phi.derivative<m, 2>(group, w[k]);
  };
  return build_hyperparameter_pair_rows(mapping_, num_kinds, entry, out);
}

// What follows gives each operation of the interface its order of differentiation.
regularizer_status bridge_regularizer::compute_gradient(const_vector_view theta,
                                                        const_vector_view w,
                                                        vector_view r1) const {
  return write_derivative<1>(theta, w, r1);
}

regularizer_status bridge_regularizer::compute_second_derivative(const_vector_view theta,
                                                                 const_vector_view w,
                                                                 vector_view r2) const {
  return write_derivative<2>(theta, w, r2);
}

regularizer_status bridge_regularizer::compute_third_derivative(const_vector_view theta,
                                                                const_vector_view w,
                                                                vector_view r3) const {
  return write_derivative<3>(theta, w, r3);
}

regularizer_status bridge_regularizer::compute_fourth_derivative(const_vector_view theta,
                                                                 const_vector_view w,
                                                                 vector_view r4) const {
  return write_derivative<4>(theta, w, r4);
}

regularizer_status bridge_regularizer::compute_gradient_hyperparameter_derivative(
    const_vector_view theta, const_vector_view w, sparse_matrix& out) const {
  return build_derivative<1>(theta, w, out);
}

regularizer_status bridge_regularizer::compute_gradient_hyperparameter_hessian(
    const_vector_view theta, const_vector_view w, sparse_matrix& out) const {
  return build_hessian<1>(theta, w, out);
}

regularizer_status bridge_regularizer::compute_second_derivative_hyperparameter_derivative(
    const_vector_view theta, const_vector_view w, sparse_matrix& out) const {
  return build_derivative<2>(theta, w, out);
}

regularizer_status bridge_regularizer::compute_second_derivative_hyperparameter_hessian(
    const_vector_view theta, const_vector_view w, sparse_matrix& out) const {
  return build_hessian<2>(theta, w, out);
}

regularizer_status bridge_regularizer::compute_third_derivative_hyperparameter_derivative(
    const_vector_view theta, const_vector_view w, sparse_matrix& out) const {
  return build_derivative<3>(theta, w, out);
}

}  // namespace corvane::model
