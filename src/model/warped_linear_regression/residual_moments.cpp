// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/residual_moments.h"

#include <algorithm>
#include <utility>

#include "common/compensated_sum.h"

namespace corvane::model {

namespace {

dense_vector sum_columns(const_matrix_block a) {
  dense_vector sums(a.cols());
  for (index_t j = 0; j < a.cols(); ++j) sums[j] = compensated_total(a.column(j));
  return sums;
}

dense_vector deviations(const_vector_view y, double mean) {
  dense_vector from_mean{y};
  for (double& entry : from_mean) entry -= mean;
  return from_mean;
}

// Rounding must not lead out of the targets: equal ones have themselves as their mean.
double mean_within(const_vector_view y) {
  if (y.size() == 0) return 0.0;
  const auto [smallest, largest] = std::minmax_element(y.begin(), y.end());
  return std::clamp(compensated_mean(y), *smallest, *largest);
}

}  // namespace

projected_targets::projected_targets(const_vector_view y, dense_matrix&& ones_and_basis)
    : basis_sums_{sum_columns(
          const_matrix_block{ones_and_basis}.part_columns(1, ones_and_basis.cols() - 1))},
      mean_{mean_within(y)},
      cells_{deviations(y, mean_), std::move(ones_and_basis)} {}

}  // namespace corvane::model
