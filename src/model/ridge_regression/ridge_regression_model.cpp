// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/ridge_regression_model.h"

#include <algorithm>

#include "common/linear_algebra.h"

namespace corvane::model {

// A bias weight, at the end, stays out of the product: it is in the intercept.
void ridge_regression_model::predict(const_matrix_view X, vector_view out) const {
  std::fill(out.begin(), out.end(), intercept);
  gemv(1.0, plain, X, weights.view().part(0, X.cols()), 1.0, out);
}

}  // namespace corvane::model
