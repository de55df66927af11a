// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/ridge_regression_model.h"

#include "common/linear_algebra.h"

namespace corvane::model {

// A bias weight, at the end, stays out of the product: it is in the intercept.
void ridge_regression_model::predict(transposition op, const_matrix_block A,
                                     vector_view out) const {
  const index_t num_features = op == plain ? A.cols() : A.rows();
  affine_gemv(intercept, op, A, weights.view().part(0, num_features), out);
}

void ridge_regression_model::predict(const_matrix_view X, vector_view out) const {
  predict(plain, X, out);
}

}  // namespace corvane::model
