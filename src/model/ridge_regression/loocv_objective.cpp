// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/loocv_objective.h"

#include <utility>

#include "model/ridge_regression/leave_one_out_score.h"

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
      design_{std::move(design)},
      target_{std::move(target)} {}

bool loocv_objective::evaluate(const_vector_view t, const ridge_outputs& wanted) const {
  return evaluate_leave_one_out(
      {.design = design_, .target = target_, .count = target_.size()}, system(), t, wanted);
}

}  // namespace corvane::model::ridge_regression_detail
