// SPDX-License-Identifier: BSD-3-Clause
//
// special_case_objective: the score of a linked linear model as a function of those of its
// hyperparameters alone that make a special case of the penalty. All others are zero.
#pragma once

#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/objective.h"

namespace corvane::model::linear_linked_regression_detail {

class special_case_objective final : public optimization_objective_helper {
 public:
  // `whole` is a function of num_hyperparameters, and must outlive this.
  special_case_objective(aloocv_objective& whole, index_t num_hyperparameters,
                         special_case free)
      : whole_{whole}, num_hyperparameters_{num_hyperparameters}, free_{free} {}

  // All hyperparameters: those of x, and zeros.
  dense_vector expand(const_vector_view x) const;

  bool compute_value(const_vector_view x, double& value) override;
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) override;
  void begin_iteration(const_vector_view x, double value, const_vector_view gradient,
                       const_symmetric_view hessian) override;
  bool adjust_point(vector_view x, double& value, vector_view gradient,
                    symmetric_view hessian) override;

 private:
  void reduce(const_vector_view gradient, const_symmetric_view hessian,
              vector_view free_gradient, symmetric_view free_hessian) const;

  aloocv_objective& whole_;
  index_t num_hyperparameters_;
  special_case free_;
};

}  // namespace corvane::model::linear_linked_regression_detail
