// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/linear_linked_regression_model.h"

#include "common/linear_algebra.h"

namespace corvane::model {

// The weights are in raw units, so one product with the raw features does.
void linear_linked_regression_model::predict_proba(transposition op, const_matrix_block A,
                                                   vector_view out) const {
  affine_gemv(bias, op, A, weights.view().part(0, normalizer.num_features()), out);
  loss_link->compute_prediction(out, out);
}

void linear_linked_regression_model::predict(transposition op, const_matrix_block A,
                                             vector_view out) const {
  predict_proba(op, A, out);
  for (double& value : out)
    value = value < 0.5 ? normalizer.classes[0] : normalizer.classes[1];
}

void linear_linked_regression_model::predict_proba(const_matrix_view X,
                                                   vector_view out) const {
  predict_proba(plain, X, out);
}

void linear_linked_regression_model::predict(const_matrix_view X, vector_view out) const {
  predict(plain, X, out);
}

}  // namespace corvane::model
