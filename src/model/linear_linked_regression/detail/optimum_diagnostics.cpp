// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/optimum_diagnostics.h"

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

dense_vector effective_dof_of_columns(const inner_optimum& optimum,
                                      const_symmetric_view loss_curvature) {
  const index_t p = loss_curvature.rows();
  scoped_allocator scratch;
  const symmetric_view inverse = scratch.symmetric(p);
  copy_lower(optimum.hessian_factor, inverse);
  potri(inverse);
  dense_vector dof{p};
  for (index_t j = 0; j < p; ++j) {
    dof[j] = 0.0;
    for (index_t k = 0; k < p; ++k) dof[j] += loss_curvature(j, k) * inverse(k, j);
  }
  return dof;
}

}  // namespace corvane::model::linear_linked_regression_detail
