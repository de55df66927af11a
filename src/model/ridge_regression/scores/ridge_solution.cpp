// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/ridge_solution.h"

#include <algorithm>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

bool ridge_solution::solve(const ridge_system& system, const_vector_view t) {
  if (!solve_forward(system, t, cholesky, z)) return false;
  std::copy(z.begin(), z.end(), w.begin());
  trsv(triangle::lower, transposed, cholesky, w);
  return true;
}

}  // namespace corvane::model::ridge_regression_detail
