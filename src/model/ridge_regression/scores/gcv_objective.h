// SPDX-License-Identifier: BSD-3-Clause
//
// gcv_objective: leave-one-out error in a rotated coordinate system in which every
// observation has the same weight in the fit (G. H. Golub, M. Heath, G. Wahba, "Generalized
// cross-validation as a method for choosing a good ridge parameter", Technometrics 21,
// 1979, section 2). With X = Q R and R = U S V' the rotation is F [U' 0; 0 I] Q', F the
// unitary Fourier matrix. The rotated rows are complex, and rows k and n - k are
// conjugates. gcv_score.h tells how their sum is had without them.
#pragma once

#include "model/ridge_regression/scores/gcv_score.h"
#include "model/ridge_regression/scores/ridge_score_objective.h"

namespace corvane::model::ridge_regression_detail {

class gcv_objective final : public ridge_score_objective {
 public:
  // Normalized y, n entries, and X, n by p. One that is moved in is never copied.
  gcv_objective(const_vector_view target, dense_matrix design,
                interruption* interruption = nullptr);

  bool evaluate_groups(const_vector_view t, const penalty_groups& groups,
                       const ridge_outputs& wanted) override;

 private:
  // What is left of the data once the design is factored.
  struct reduced_data {
    ridge_system system;
    rotated_problem rotated;
  };
  static reduced_data reduce(const_vector_view target, dense_matrix&& design,
                             interruption* interruption);
  explicit gcv_objective(reduced_data&& reduced);

  gcv_score score_;
};

}  // namespace corvane::model::ridge_regression_detail
