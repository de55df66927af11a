// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regression_model: the record of a fitted ridge model, in raw units.
#pragma once

#include "n_array/n_array.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct ridge_regression_model {
  double target_mean = 0.0;
  bool with_bias = false;  // the last weight is a bias
  double intercept = 0.0;  // added to every prediction
  trust_region_result result;
  dense_vector weights;                // p entries
  dense_vector regularization;         // q entries: t as the optimizer left it
  dense_vector regularization_scaled;  // q entries: the penalties t^2 in raw units
  index_vector regularization_groups;  // the group of each coefficient
  double score = 0.0;                  // final value of the objective, normalized units

  // X is n by the number of features; writes n predictions.
  void predict(const_matrix_view X, vector_view out) const;
};

}  // namespace corvane::model
