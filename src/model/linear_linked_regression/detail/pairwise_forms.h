// SPDX-License-Identifier: BSD-3-Clause
//
// Products with derivatives of the inner Hessian, without forming one p by p matrix per
// hyperparameter. With dH_a = X' diag(t_a) X + diag(d_a), B = H^-1 X', P = X B and
// W = B diag(v) B' (o is the product by entries)
//   dh_a                    = -(P o P) t_a - (B o B)' d_a
//   tr(dH_a H^-1 dH_b W)    = t_a' (P o X W X') t_b + d_a' (H^-1 o W) d_b
//                             + t_a' (B' o X W) d_b + d_a' (B o W X') t_b
// The work is (n + p)^2 for each hyperparameter in place of p^3.
#pragma once

#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/detail/optimum_derivatives.h"
#include "model/linear_linked_regression/detail/penalty_derivatives.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

class pairwise_forms {
 public:
  // Where n by n takes no more memory than Q matrices of p by p.
  static bool is_worthwhile(const inner_optimum& optimum) {
    const index_t n = optimum.X.rows();
    const index_t p = optimum.X.cols();
    return n * n <= optimum.theta.size() * p * p;
  }

  // dW is p by Q, dz n by Q, `l3` is l'''(y, z).
  pairwise_forms(scoped_allocator& scratch, const inner_optimum& optimum,
                 const penalty_derivatives& penalty, const_vector_view l3,
                 const_matrix_view dW, const_matrix_view dz);

  // dh, n by Q
  void differentiate_leverages(matrix_view dh) const;
  // hessian_ab += 2 tr(dH_a H^-1 dH_b W), the lower triangle
  void add_curvature_terms(const_vector_view v, symmetric_view hessian) const;

 private:
  const_matrix_block hessian_factor_;
  matrix_view B_;  // p by n
  matrix_view P_;  // n by n
  matrix_view T_;  // t_a, n by Q
  matrix_view D_;  // d_a, p by Q
};

}  // namespace corvane::model::linear_linked_regression_detail
