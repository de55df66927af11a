// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/factorization/ridge_normal_matrix.h"

#include <algorithm>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The lower triangle of B'B. Column j of B ends at its row j, so that a panel of columns
// needs the rows above its last column alone: a third of the work of the full product.
void multiply_by_own_transpose(const_matrix_block B, matrix_block product) {
  constexpr index_t panel_columns = 64;
  const index_t p = B.cols();
  for (index_t first = 0; first < p; first += panel_columns) {
    const index_t count = std::min(panel_columns, p - first);
    const index_t depth = first + count;
    gemm(1.0, transposed, B.part(0, first, depth, p - first), plain,
         B.part(0, first, depth, count), 0.0, product.part(first, first, p - first, count));
  }
}

// geqrf, panel by panel: the reflectors of each are applied to the columns behind it. A
// panel holds so many columns that work on it takes a fraction of a second.
void factor_by_panels(matrix_block a, vector_view tau, interruption& interruption) {
  constexpr index_t entries = index_t{1} << 22;
  const index_t width = std::max<index_t>(4, entries / std::max<index_t>(a.rows(), 1));
  for (index_t first = 0; first < tau.size(); first += width) {
    interruption.check();
    const index_t count = std::min(width, tau.size() - first);
    const matrix_block panel = a.part(first, first, a.rows() - first, count);
    const vector_view scalars = tau.part(first, count);
    geqrf(panel, scalars);
    for (index_t next = first + count; next < a.cols(); next += width) {
      interruption.check();
      ormqr(transposed, panel, scalars,
            a.part(first, next, a.rows() - first, std::min(width, a.cols() - next)));
    }
  }
}

bool diagonal_is_finite(const_matrix_block a) {
  for (index_t j = 0; j < a.cols(); ++j)
    if (!is_finite(a(j, j))) return false;
  return true;
}

}  // namespace

qr_factorization design_factorization::record() const {
  return {.factor = packed, .tau = tau.data()};
}

dense_matrix design_factorization::triangle() const {
  const index_t p = packed.cols();
  dense_matrix r{p, p};
  fill(r, 0.0);
  for (index_t j = 0; j < p; ++j)
    for (index_t i = 0; i <= std::min(j, packed.rows() - 1); ++i) r(i, j) = packed(i, j);
  return r;
}

design_factorization factor_design(dense_matrix&& design, interruption* interruption) {
  dense_vector tau{std::min(design.rows(), design.cols())};
  design_factorization qr{std::move(design), std::move(tau)};
  if (interruption == nullptr)
    geqrf(qr.packed, qr.tau);
  else
    factor_by_panels(qr.packed, qr.tau, *interruption);
  return qr;
}

design_factorization factor_design(const_matrix_view design) {
  return factor_design(dense_matrix{design});
}

dense_vector correlate(const_matrix_view design, const_vector_view target) {
  dense_vector correlation{design.cols()};
  gemv(1.0, transposed, design, target, 0.0, correlation);
  return correlation;
}

void divide_entries(const_vector_view t, vector_view x) {
  for (index_t j = 0; j < t.size(); ++j) x[j] /= t[j];
}

void divide_columns(const_vector_view t, const_matrix_block from, matrix_block to) {
  for (index_t j = 0; j < t.size(); ++j)
    for (index_t i = 0; i < from.rows(); ++i) to(i, j) = from(i, j) / t[j];
  const index_t unpenalized = from.cols() - t.size();
  if (from.data() != to.data())
    copy(from.part_columns(t.size(), unpenalized), to.part_columns(t.size(), unpenalized));
}

bool factor_normal_matrix(const_matrix_block B, index_t penalized, matrix_block cholesky) {
  multiply_by_own_transpose(B, cholesky);
  for (index_t j = 0; j < penalized; ++j) cholesky(j, j) += 1.0;
  // A status of 0 does not prove that the factor is finite: a NaN may pass through.
  return potrf(cholesky) == 0 && diagonal_is_finite(cholesky);
}

bool factor_normal_matrix(const ridge_system& system, const_vector_view t,
                          matrix_block cholesky) {
  scoped_allocator scope;
  const matrix_view B = scope.matrix(cholesky.rows(), cholesky.cols());
  divide_columns(t, system.triangle, B);
  return factor_normal_matrix(B, t.size(), cholesky);
}

bool solve_forward(const ridge_system& system, const_vector_view t, matrix_block cholesky,
                   vector_view z) {
  if (!factor_normal_matrix(system, t, cholesky)) return false;
  std::copy(system.correlation.begin(), system.correlation.end(), z.begin());
  divide_entries(t, z);
  trsv(triangle::lower, plain, cholesky, z);
  return true;
}

// inverse(A) b = inverse(D) inverse(L)' inverse(L) inverse(D) b
bool solve_ridge_weights(const ridge_system& system, const_vector_view t,
                         vector_view weights) {
  scoped_allocator scope;
  const matrix_view cholesky = scope.matrix(weights.size(), weights.size());
  if (!solve_forward(system, t, cholesky, weights)) return false;
  trsv(triangle::lower, transposed, cholesky, weights);
  divide_entries(t, weights);
  return true;
}

}  // namespace corvane::model::ridge_regression_detail
