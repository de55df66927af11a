// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regression_model: the record of a fitted ridge model, in raw units.
#pragma once

#include <optional>

#include "common/blas_arguments.h"
#include "common/matrix_block.h"
#include "model/ridge_regression/report/ridge_influence.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

// Influence of rows and columns at the penalties found, in normalized units.
struct ridge_row_influence {
  ridge_regression_detail::ridge_influence rows;
  dense_vector column_dof;  // per penalized coefficient; empty where all share a penalty
};

struct ridge_regression_model {
  double target_mean = 0.0;
  bool with_bias = false;  // the last weight is a bias
  double intercept = 0.0;  // added to every prediction
  trust_region_result
      result;            // whole: the solution, its gradient and Hessian, how it ended
  dense_vector weights;  // p entries, the bias last
  // t as the optimizer left it: one entry per group, or per coefficient without groups.
  dense_vector regularization;
  // (t_j target_scale / feature_scale_j)^2, one entry per penalized coefficient: t scaled
  // to raw units as a weight is. The strength with which a ridge fit to raw data
  // finds the same weights is another number, (t_j feature_scale_j)^2.
  dense_vector regularization_scaled;
  // One entry per penalized coefficient; without groups 0, 1, 2, ..., one per weight.
  index_vector regularization_groups;
  double score = 0.0;  // final value of the objective, normalized units
  std::optional<ridge_row_influence> influence;  // with with_influence

  // X is n by the number of features; writes n predictions, intercept + X weights.
  void predict(const_matrix_view X, vector_view out) const;
  // The same with X = op(A), for rows stored contiguously.
  void predict(transposition op, const_matrix_block A, vector_view out) const;
};

}  // namespace corvane::model
