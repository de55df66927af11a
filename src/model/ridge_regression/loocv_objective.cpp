// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/loocv_objective.h"

#include <utility>

#include "common/scoped_allocator.h"
#include "model/ridge_regression/leave_one_out_sums.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// b = X'y, each entry summed in extended precision and rounded once.
dense_vector correlate_extended(const_matrix_view design, const_vector_view target) {
  dense_vector correlation{design.cols()};
  for (index_t j = 0; j < design.cols(); ++j) {
    long double sum = 0.0L;
    for (index_t i = 0; i < design.rows(); ++i)
      sum += static_cast<long double>(target[i]) * static_cast<long double>(design(i, j));
    correlation[j] = static_cast<double>(sum);
  }
  return correlation;
}

}  // namespace

loocv_objective::loocv_objective(dense_matrix&& design, dense_vector&& target)
    : ridge_score_objective{{factor_design(design).triangle(),
                             correlate_extended(design, target)}},
      score_{std::move(design), std::move(target)} {}

bool loocv_objective::evaluate_groups(const_vector_view t, const penalty_groups& groups,
                                      const ridge_outputs& wanted) {
  if (!score_.move_to(system(), t)) return false;
  if (wanted.value != nullptr) *wanted.value = score_.value();
  if (!wanted.derivatives_wanted()) return true;
  scoped_allocator scope;
  const leave_one_out_sums sums = take_sums(scope, t.size(), groups.count(), wanted);
  score_.add_derivatives(groups, sums);
  write_derivatives(score_.point(), groups, sums, wanted);
  return true;
}

}  // namespace corvane::model::ridge_regression_detail
