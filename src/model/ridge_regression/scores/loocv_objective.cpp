// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/loocv_objective.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/scoped_allocator.h"
#include "model/ridge_regression/factorization/tall_factorization.h"
#include "model/ridge_regression/scores/leave_one_out_sums.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// b = X'y, each entry summed in extended precision and rounded once. Four sums at a time do
// not wait for each other; behind the last column it is taken again.
dense_vector correlate_extended(const_matrix_view design, const_vector_view target,
                                interruption* interruption) {
  constexpr std::size_t together = 4;
  const index_t last = design.cols() - 1;
  dense_vector correlation{design.cols()};
  for (index_t first = 0; first <= last; first += together) {
    check(interruption);
    std::array<long double, together> sums{};
    std::array<index_t, together> columns{};
    for (std::size_t k = 0; k < together; ++k)
      columns[k] = std::min(first + static_cast<index_t>(k), last);
    for (index_t i = 0; i < design.rows(); ++i)
      for (std::size_t k = 0; k < together; ++k)
        sums[k] += static_cast<long double>(target[i]) *
                   static_cast<long double>(design(i, columns[k]));
    for (std::size_t k = 0; k < together; ++k)
      correlation[columns[k]] = static_cast<double>(sums[k]);
  }
  return correlation;
}

// R of X = Q R. Q is not needed, so that a tall design takes less than Householder's way.
dense_matrix triangle_of(const_matrix_view design_view, interruption* interruption) {
  if (design_view.rows() < design_view.cols()) return factor_design(design_view).triangle();
  const const_matrix_block design = design_view;
  const tall_factorization factors{
      {.rows = design.rows(),
       .cols = design.cols(),
       .read = [design, interruption](index_t first, matrix_block block) {
         check(interruption);
         copy(design.part_rows(first, block.rows()), block);
       }}};
  return factors.triangle();
}

}  // namespace

loocv_objective::loocv_objective(dense_matrix&& design, dense_vector&& target,
                                 interruption* interruption)
    : ridge_score_objective{{triangle_of(design, interruption),
                             correlate_extended(design, target, interruption)}},
      score_{std::move(design), std::move(target), interruption} {}

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
