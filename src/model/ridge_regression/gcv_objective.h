// SPDX-License-Identifier: BSD-3-Clause
//
// gcv_objective: leave-one-out error in a rotated coordinate system in which every
// observation has the same weight in the fit (G. H. Golub, M. Heath, G. Wahba, "Generalized
// cross-validation as a method for choosing a good ridge parameter", Technometrics 21,
// 1979, section 2). With X = Q R and R = U S V' the rotation is F [U' 0; 0 I] Q', F the
// unitary Fourier matrix; the rotated rows are complex, and rows k and n - k are
// conjugates, of which one is kept.
#pragma once

#include "model/ridge_regression/ridge_score_objective.h"

namespace corvane::model::ridge_regression_detail {

class gcv_objective final : public ridge_score_objective {
 public:
  // Normalized y, n entries, and X, n by p. One that is moved in is never copied.
  gcv_objective(const_vector_view target, dense_matrix design);

 private:
  struct rotated_data {
    ridge_system system;
    dense_matrix design;  // 2 c by p, c = n / 2 + 1: c real parts, then c imaginary parts
    dense_vector target;  // 2 c, the same halves
  };
  static rotated_data rotate(const_vector_view target, dense_matrix&& design);
  gcv_objective(index_t observations, rotated_data&& rotated);

  bool evaluate(const_vector_view t, const ridge_outputs& wanted) const override;

  index_t observations_;  // n
  index_t frequencies_;   // c
  dense_matrix design_;
  dense_vector target_;
};

}  // namespace corvane::model::ridge_regression_detail
