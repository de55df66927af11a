// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/gcv_objective.h"

#include <stdexcept>
#include <utility>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/scores/leave_one_out_sums.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// R = U diag(s) V', with as many singular values as R has rows: k = min(n, p).
struct triangle_decomposition {
  dense_matrix u;   // k by k
  dense_vector s;   // k
  dense_matrix vt;  // k by p
};

triangle_decomposition decompose(const_matrix_block triangle) {
  const index_t k = triangle.rows();
  dense_matrix destroyed{k, triangle.cols()};
  copy(triangle, destroyed);
  triangle_decomposition svd{dense_matrix{k, k}, dense_vector{k},
                             dense_matrix{k, triangle.cols()}};
  if (gesdd(svd_job::thin, destroyed, svd.s, svd.u, svd.vt) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
  return svd;
}

// diag(s) V', the rows of the rotated design before the transform.
dense_matrix singular_rows(const triangle_decomposition& svd) {
  dense_matrix rows{svd.s.size(), svd.vt.cols()};
  for (index_t j = 0; j < rows.cols(); ++j)
    for (index_t i = 0; i < rows.rows(); ++i) rows(i, j) = svd.s[i] * svd.vt(i, j);
  return rows;
}

}  // namespace

// The design is factored in place, and its memory is free again on return.
gcv_objective::reduced_data gcv_objective::reduce(const_vector_view target,
                                                  dense_matrix&& design,
                                                  interruption* interruption) {
  dense_vector correlation = correlate(design, target);
  check(interruption);
  const design_factorization qr = factor_design(std::move(design), interruption);
  dense_matrix triangle = qr.triangle();
  const triangle_decomposition svd =
      decompose(const_matrix_block{triangle}.part_rows(0, qr.tau.size()));
  dense_vector y{target};
  check(interruption);
  apply(qr.record(), transposed, y.view());
  const vector_view in_range = y.view().part(0, svd.s.size());
  const dense_vector unturned{in_range};
  gemv(1.0, transposed, svd.u, unturned, 0.0, in_range);
  return {{std::move(triangle), std::move(correlation)},
          {singular_rows(svd), std::move(y)}};
}

gcv_objective::gcv_objective(const_vector_view target, dense_matrix design,
                             interruption* interruption)
    : gcv_objective{reduce(target, std::move(design), interruption)} {}

gcv_objective::gcv_objective(reduced_data&& reduced)
    : ridge_score_objective{std::move(reduced.system)},
      score_{std::move(reduced.rotated)} {}

bool gcv_objective::evaluate_groups(const_vector_view t, const penalty_groups& groups,
                                    const ridge_outputs& wanted) {
  if (!score_.move_to(system(), t)) return false;
  if (wanted.value != nullptr) *wanted.value = score_.value();
  if (wanted.derivatives_wanted()) {
    scoped_allocator scope;
    const leave_one_out_sums sums = take_sums(scope, t.size(), groups.count(), wanted);
    score_.add_derivatives(groups, sums);
    write_derivatives(score_.point(), groups, sums, wanted);
  }
  return wanted.all_finite();
}

}  // namespace corvane::model::ridge_regression_detail
