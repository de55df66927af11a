// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/regularizer.h"

#include "common/finite.h"

namespace corvane::model {

regularizer_status status_of(const_vector_view derivative) {
  return all_finite(derivative) ? regularizer_status::written
                                : regularizer_status::not_finite;
}

regularizer_status regularizer::compute_third_derivative(const_vector_view /*theta*/,
                                                         const_vector_view /*w*/,
                                                         vector_view /*r3*/) const {
  return regularizer_status::identically_zero;
}

regularizer_status regularizer::compute_fourth_derivative(const_vector_view /*theta*/,
                                                          const_vector_view /*w*/,
                                                          vector_view /*r4*/) const {
  return regularizer_status::identically_zero;
}

regularizer_status regularizer::compute_third_derivative_hyperparameter_derivative(
    const_vector_view /*theta*/, const_vector_view /*w*/, sparse_matrix& /*out*/) const {
  return regularizer_status::identically_zero;
}

}  // namespace corvane::model
