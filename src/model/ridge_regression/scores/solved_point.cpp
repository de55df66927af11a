// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/solved_point.h"

#include <algorithm>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

solved_point::solved_point(index_t p) : t_{p}, cholesky_{p, p}, z_{p}, w_{p} {}

bool solved_point::solve(const ridge_system& system, const_vector_view t) {
  penalized_ = t.size();
  std::copy(t.begin(), t.end(), t_.begin());
  solved_ = factor_normal_matrix(system, t, cholesky_);
  if (!solved_) return false;
  std::copy(system.correlation.begin(), system.correlation.end(), z_.begin());
  divide_entries(t, z_);
  trsv(triangle::lower, plain, cholesky_, z_);
  std::copy(z_.begin(), z_.end(), w_.begin());
  trsv(triangle::lower, transposed, cholesky_, w_);
  return true;
}

bool solved_point::is_at(const_vector_view t) const {
  return solved_ && std::equal(t.begin(), t.end(), t_.begin(), t_.begin() + penalized_);
}

}  // namespace corvane::model::ridge_regression_detail
