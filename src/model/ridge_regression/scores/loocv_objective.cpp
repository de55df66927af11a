// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/loocv_objective.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "model/ridge_regression/factorization/tall_factorization.h"
#include "model/ridge_regression/scores/loocv_tables.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// b = X'y, each entry summed in extended precision and rounded once. Four sums at a time
// are independent of each other; the last column repeats where fewer are left.
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

// R of X = Q R. Q is not needed, so that a tall design takes less work than
// Householder's factorization.
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

// Blocks are long enough for the speed of level 3 and, where that allows it, so short that
// four tables leave room in the arena for the sums. A power of 2 between columns would map
// them to the same sets of the first-level cache. The length depends on the shape alone, so
// that every evaluation rounds in the same way.
index_t rows_of_block(index_t n, index_t p) {
  constexpr index_t fewest = 64;
  constexpr index_t most = 360;
  constexpr index_t doubles_of_tables = 160000;
  return std::min(
      std::clamp(doubles_of_tables / (4 * std::max<index_t>(p, 1)), fewest, most), n);
}

// Up to this width narrow_products is faster on one block than a BLAS, which uses several
// threads on wider blocks.
constexpr index_t most_narrow_columns = 128;

// to = from T, of one block
void multiply_by_triangle(const_matrix_block from, triangle which, const_matrix_block T,
                          matrix_block to) {
  if (T.cols() <= most_narrow_columns) return multiply_narrow(from, which, T, to);
  copy(from, to);
  trmm(side::right, which, plain, T, to);
}

// The lower triangle of sums += A'A
void add_gram(const_matrix_block a, matrix_block sums) {
  if (a.cols() <= most_narrow_columns) return add_narrow_gram(a, sums);
  syrk(1.0, transposed, a, 1.0, sums);
}

// The lower triangle of sums += A'B, which is symmetric
void add_symmetric_products(const_matrix_block a, const_matrix_block b, matrix_block sums) {
  if (a.cols() <= most_narrow_columns) return add_narrow_lower_products(a, b, sums);
  gemmt(1.0, transposed, a, plain, b, 1.0, sums);
}

// T = inverse(D) inverse(L'), upper triangular, zeros below the diagonal.
void fill_whitening(const_vector_view t, const_matrix_block L_inverse, matrix_block T) {
  for (index_t j = 0; j < T.cols(); ++j)
    for (index_t k = 0; k < T.rows(); ++k)
      T(k, j) = k < t.size() ? L_inverse(j, k) / t[k] : L_inverse(j, k);
}

// prediction = W z and leverage_i = |W_i|^2, in one pass over W
void predict(const_matrix_block W, const_vector_view z, vector_view prediction,
             vector_view leverage) {
  run_vectorized([=](auto /*width*/) {
    std::fill(prediction.begin(), prediction.end(), 0.0);
    std::fill(leverage.begin(), leverage.end(), 0.0);
    for (index_t j = 0; j < W.cols(); ++j) {
      const double* const column = W.data() + j * W.stride();
      const double z_j = z[j];
      for (index_t i = 0; i < W.rows(); ++i) {
        prediction[i] += column[i] * z_j;
        leverage[i] += column[i] * column[i];
      }
    }
  });
}

// s = (y - prediction) / d, d = 1 - leverage
void scale_residuals(const_vector_view y, vector_view prediction, vector_view leverage) {
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < y.size(); ++i) leverage[i] = 1.0 - leverage[i];
    for (index_t i = 0; i < y.size(); ++i)
      prediction[i] = (y[i] - prediction[i]) / leverage[i];
  });
}

// In order of i.
double sum_of_squares(const_vector_view s) {
  double sum = 0.0;
  for (const double entry : s) sum += entry * entry;
  return sum;
}

}  // namespace

loocv_objective::loocv_objective(dense_matrix&& design, dense_vector&& target,
                                 interruption* interruption)
    : ridge_regression_objective{{triangle_of(design, interruption),
                                  correlate_extended(design, target, interruption)}},
      design_{std::move(design)},
      target_{std::move(target)},
      interruption_{interruption},
      cache_{residual_state{design_.rows(), design_.cols()}} {}

bool loocv_objective::evaluate(const_vector_view t, const penalty_groups& groups,
                               const ridge_outputs& wanted) {
  const residual_state* at =
      cache_.at(t, [&](residual_state& state) { return compute_residuals(t, state); });
  if (at == nullptr) return false;
  if (wanted.value != nullptr) *wanted.value = sum_of_squares(at->s);
  if (!wanted.derivatives_wanted()) return true;
  scoped_allocator scope;
  const leave_one_out_sums sums = take_sums(scope, t.size(), groups.count(), wanted);
  add_derivatives(*at, groups, sums);
  write_derivatives(at->solution, t, groups, sums, wanted);
  return true;
}

bool loocv_objective::compute_residuals(const_vector_view t, residual_state& state) const {
  if (!state.solution.solve(system(), t)) return false;
  scoped_allocator scope;
  const index_t n = design_.rows();
  const index_t p = design_.cols();
  fill(state.L_inverse, 0.0);
  copy_lower(state.solution.cholesky, state.L_inverse);
  trtri(triangle::lower, state.L_inverse);
  const matrix_view T = scope.matrix(p, p);
  fill_whitening(t, state.L_inverse, T);

  const index_t rows = rows_of_block(n, p);
  for (index_t first = 0; first < n; first += rows) {
    check(interruption_);
    const index_t count = std::min(rows, n - first);
    const matrix_block W = matrix_block{state.W}.part_rows(first, count);
    const vector_view s = state.s.view().part(first, count);
    const vector_view d = state.d.view().part(first, count);
    multiply_by_triangle(const_matrix_block{design_}.part_rows(first, count),
                         triangle::upper, T, W);
    predict(W, state.solution.z, s, d);
    scale_residuals(target_.view().part(first, count), s, d);
  }
  return true;
}

void loocv_objective::add_derivatives(const residual_state& at,
                                      const penalty_groups& groups,
                                      const leave_one_out_sums& sums) const {
  scoped_allocator scope;
  const index_t n = design_.rows();
  const index_t p = design_.cols();
  const index_t q = sums.g.size();
  const bool hessian = sums.C.rows() > 0;
  const index_t rows = rows_of_block(n, p);
  const loocv_tables tables = take_tables(scope, rows, p, q, groups.count());
  const grouped_columns columns = sort_by_group(scope, q, groups);
  const matrix_view f_products = scope.matrix(hessian ? groups.count() : 0, groups.count());
  fill(f_products, 0.0);
  for (index_t first = 0; first < n; first += rows) {
    check(interruption_);
    const loocv_tables block = tables.narrowed(std::min(rows, n - first));
    const const_matrix_block a = block.a.part_columns(0, q);
    multiply_by_triangle(const_matrix_block{at.W}.part_rows(first, block.count),
                         triangle::lower, at.L_inverse, block.a);
    weigh_observations(at.s.view().part(first, block.count),
                       at.d.view().part(first, block.count), block);
    gemv(1.0, transposed, a, block.two_u, 1.0, sums.g);
    fill_tables(at.solution.w, columns, block, sums.C_traces);
    if (!hessian) continue;
    add_gram(block.e, sums.curvature);
    add_gram(block.f, f_products);
    add_symmetric_products(a, block.phi_a, sums.C);
  }
  for (index_t j = 0; j < f_products.rows(); ++j)
    for (index_t i = j; i < f_products.rows(); ++i)
      sums.curvature(i, j) -= f_products(i, j);
}

}  // namespace corvane::model::ridge_regression_detail
