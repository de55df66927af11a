// SPDX-License-Identifier: BSD-3-Clause
//
// bridge_regularizer: R = sum_g lambda_g^2 sum_{k in g} phi_g(w_k), where phi_g(w) is |w|^q
// with q = alpha_g^2 + 1, smoothed below a threshold s. Theta holds the lambda of every
// group, then the alpha of every group. A weight outside of every group is not penalized.
//
// The penalty family is that of I. E. Frank and J. H. Friedman, "A statistical view of some
// chemometrics regression tools", Technometrics 35 (1993), section 5, for q >= 1.
#pragma once

#include <cmath>
#include <memory>
#include <vector>

#include "model/linear_linked_regression/regularizer.h"
#include "model/linear_linked_regression/smoothing_basis.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

class bridge_regularizer final : public regularizer {
 public:
  bridge_regularizer(variable_mapping&& mapping, double smoothing_threshold);

  const variable_mapping& mapping() const override { return mapping_; }
  index_t num_hyperparameters() const override { return 2 * num_groups(); }
  // 0.5 for every lambda and every alpha
  void initialize_hyperparameters(vector_view theta) const override;

  bool compute_value(const_vector_view theta, const_vector_view w,
                     double& value) const override;
  regularizer_status compute_gradient(const_vector_view theta, const_vector_view w,
                                      vector_view r1) const override;
  regularizer_status compute_second_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view r2) const override;
  regularizer_status compute_third_derivative(const_vector_view theta, const_vector_view w,
                                              vector_view r3) const override;
  regularizer_status compute_fourth_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view r4) const override;

  regularizer_status compute_gradient_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override;
  regularizer_status compute_gradient_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override;
  regularizer_status compute_second_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override;
  regularizer_status compute_second_derivative_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override;
  regularizer_status compute_third_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override;

  bool has_third_derivative() const override { return true; }
  bool has_fourth_derivative() const override { return true; }
  bool has_third_derivative_hyperparameter_derivative() const override { return true; }

 private:
  index_t num_groups() const { return static_cast<index_t>(mapping_.groups().size()); }
  const_vector_view alpha_of(const_vector_view theta) const {
    return theta.part(num_groups(), num_groups());
  }

  // The bodies of the operations above, for the m-th derivative in w.
  template <int m>
  regularizer_status write_derivative(const_vector_view theta, const_vector_view w,
                                      vector_view out) const;
  template <int m>
  regularizer_status build_derivative(const_vector_view theta, const_vector_view w,
                                      sparse_matrix& out) const;
  template <int m>
  regularizer_status build_hessian(const_vector_view theta, const_vector_view w,
                                   sparse_matrix& out) const;

  variable_mapping mapping_;
  double smoothing_threshold_;
  smoothing_basis basis_;
};

}  // namespace corvane::model
