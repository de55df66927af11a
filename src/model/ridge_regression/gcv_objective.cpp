// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/gcv_objective.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/linear_algebra.h"
#include "common/real_fft.h"
#include "model/ridge_regression/leave_one_out_score.h"

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

// The unitary transform of x, conjugated: bins 0 .. n / 2, their real parts into the first
// half of `halves`, their imaginary parts with the opposite sign into the second half. The
// one bin of an empty x stays 0.
void transform_unitary(real_fft& fft, const_vector_view x, vector_view halves) {
  const index_t bins = fft.bins();
  const vector_view real_part = halves.part(0, bins);
  const vector_view imaginary_part = halves.part(bins, bins);
  fft.forward(x, real_part, imaginary_part);
  const double root = std::sqrt(static_cast<double>(std::max<index_t>(fft.length(), 1)));
  for (double& entry : real_part) entry /= root;
  for (double& entry : imaginary_part) entry = -entry / root;
}

// Row i of diag(s) V' is the rotated design before the transform; the rows behind are
// zeros.
dense_matrix rotate_design(real_fft& fft, const triangle_decomposition& svd) {
  dense_matrix rotated{2 * fft.bins(), svd.vt.cols()};
  dense_vector column{fft.length()};
  std::fill(column.begin(), column.end(), 0.0);
  for (index_t j = 0; j < svd.vt.cols(); ++j) {
    for (index_t i = 0; i < svd.s.size(); ++i) column[i] = svd.s[i] * svd.vt(i, j);
    transform_unitary(fft, column, rotated.view().column(j));
  }
  return rotated;
}

// What is left of the data once the design is factored.
struct reduced_data {
  ridge_system system;
  triangle_decomposition svd;
  dense_vector target;  // Q'y, of which the entries in the range of R are turned by U'
};

// The design is factored in place, and its memory is free again on return.
reduced_data reduce(const_vector_view target, dense_matrix&& design) {
  dense_vector correlation = correlate(design, target);
  const design_factorization qr = factor_design(std::move(design));
  dense_matrix triangle = qr.triangle();
  triangle_decomposition svd =
      decompose(const_matrix_block{triangle}.part_rows(0, qr.tau.size()));
  dense_vector y{target};
  apply(qr.record(), transposed, y.view());
  const vector_view in_range = y.view().part(0, svd.s.size());
  const dense_vector unturned{in_range};
  gemv(1.0, transposed, svd.u, unturned, 0.0, in_range);
  return {{std::move(triangle), std::move(correlation)}, std::move(svd), std::move(y)};
}

}  // namespace

gcv_objective::rotated_data gcv_objective::rotate(const_vector_view target,
                                                  dense_matrix&& design) {
  reduced_data reduced = reduce(target, std::move(design));
  real_fft fft{target.size()};
  dense_vector rotated_target{2 * fft.bins()};
  transform_unitary(fft, reduced.target, rotated_target);
  return {std::move(reduced.system), rotate_design(fft, reduced.svd),
          std::move(rotated_target)};
}

gcv_objective::gcv_objective(const_vector_view target, dense_matrix design)
    : gcv_objective{target.size(), rotate(target, std::move(design))} {}

gcv_objective::gcv_objective(index_t observations, rotated_data&& rotated)
    : ridge_score_objective{std::move(rotated.system)},
      observations_{observations},
      frequencies_{observations / 2 + 1},
      design_{std::move(rotated.design)},
      target_{std::move(rotated.target)} {}

// Bin k stands for bin n - k too where that is another one: 0 < k < n - k.
bool gcv_objective::evaluate(const_vector_view t, const ridge_outputs& wanted) const {
  return evaluate_leave_one_out({.design = design_,
                                 .target = target_,
                                 .count = frequencies_,
                                 .parts = 2,
                                 .mirrored_end = (observations_ + 1) / 2},
                                system(), t, wanted) &&
         wanted.all_finite();
}

}  // namespace corvane::model::ridge_regression_detail
