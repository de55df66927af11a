// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/linear_linked_regression_model.h"

#include <algorithm>

#include "common/linear_algebra.h"

namespace corvane::model {

// The weights are in raw units, so one product with the raw features does.
void linear_linked_regression_model::predict_proba(const_matrix_view X,
                                                   vector_view out) const {
  std::fill(out.begin(), out.end(), bias);
  gemv(1.0, plain, X, weights.view().part(0, X.cols()), 1.0, out);
  loss_link->compute_prediction(out, out);
}

void linear_linked_regression_model::predict(const_matrix_view X, vector_view out) const {
  predict_proba(X, out);
  for (double& value : out)
    value = value < 0.5 ? normalizer.classes[0] : normalizer.classes[1];
}

}  // namespace corvane::model
