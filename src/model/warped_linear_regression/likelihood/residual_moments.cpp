// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/residual_moments.h"

#include <utility>

#include "common/compensated_sum.h"
#include "common/linear_algebra.h"

namespace corvane::model {

namespace {

// Q'1, from [1 Q]
dense_vector sum_basis(const_matrix_block ones_and_basis) {
  dense_vector sums(ones_and_basis.cols() - 1);
  for (index_t j = 0; j < sums.size(); ++j)
    sums[j] = dot(ones_and_basis.column(0), ones_and_basis.column(1 + j));
  return sums;
}

dense_vector deviations(const_vector_view y, double mean) {
  dense_vector from_mean{y};
  for (double& entry : from_mean) entry -= mean;
  return from_mean;
}

}  // namespace

projected_targets::projected_targets(const_vector_view y, dense_matrix&& ones_and_basis,
                                     interruption* interrupt)
    : basis_sums_{sum_basis(ones_and_basis)},
      mean_{mean_of(y)},
      cells_{deviations(y, mean_), std::move(ones_and_basis), interrupt} {}

}  // namespace corvane::model
