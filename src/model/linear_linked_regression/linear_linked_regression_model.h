// SPDX-License-Identifier: BSD-3-Clause
//
// linear_linked_regression_model: the record of a fitted classifier, in raw units.
#pragma once

#include <memory>

#include "common/blas_arguments.h"
#include "common/matrix_block.h"
#include "model/linear_linked_regression/classification_data_normalizer.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct linear_linked_regression_model {
  double bias = 0.0;  // the intercept
  classification_data_normalizer normalizer;
  std::shared_ptr<const linear_loss_link> loss_link;
  std::shared_ptr<const regularizer> penalty;
  // p entries. A bias column comes last, in units of 1 / sqrt(n); `bias` counts it already.
  dense_vector weights;
  // Of the optimization over the hyperparameters: `x` holds them, and `within_tolerance`
  // tells whether the tolerance was met.
  trust_region_result result;

  // X is n by the number of features. Writes n probabilities of the larger class.
  void predict_proba(const_matrix_view X, vector_view out) const;
  // Writes the class of each row; a probability of exactly 0.5 counts as the larger one.
  void predict(const_matrix_view X, vector_view out) const;
  // The same with X = op(A), for rows that lie one behind another.
  void predict_proba(transposition op, const_matrix_block A, vector_view out) const;
  void predict(transposition op, const_matrix_block A, vector_view out) const;
};

}  // namespace corvane::model
