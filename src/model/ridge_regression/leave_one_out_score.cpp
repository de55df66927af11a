// SPDX-License-Identifier: BSD-3-Clause
//
// The names are those of leave_one_out_block.h. With T_j = ds/dt_j = Q_j u - P_j / d,
// omega = 2 m and phi_k = omega_k sum over r of s u, the sums over all rows are
//   g = sum of omega u a,   C = sum of phi a a',
//   gradient_j = sum of omega s T_j = (2 / t_j) (w_j g_j - C_jj).
// In the Hessian the products of first derivatives collect as
//   omega (3 u^2 Q_j Q_k - 2 (u / d) (P_j Q_k + P_k Q_j) + P_j P_k / d^2)
//     = (4 / (t_j t_k)) (e_j e_k - f_j f_k).
#include "model/ridge_regression/leave_one_out_score.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/leave_one_out_block.h"

namespace corvane::model::ridge_regression_detail {

namespace {

struct score_sums {
  double value = 0.0;
  vector_view g;           // q entries
  vector_view C_diagonal;  // q entries
  matrix_block C;          // q by q, the lower triangle
  matrix_block curvature;  // sum of e e' - f f', q by q, the lower triangle
};

score_sums take_sums(scoped_allocator& scope, index_t q, const ridge_outputs& wanted) {
  const index_t gradient_size = wanted.derivatives_wanted() ? q : 0;
  const index_t hessian_size = wanted.hessian ? q : 0;
  const score_sums sums{.g = scope.vector(gradient_size),
                        .C_diagonal = scope.vector(gradient_size),
                        .C = scope.matrix(hessian_size, hessian_size),
                        .curvature = scope.matrix(hessian_size, hessian_size)};
  std::fill(sums.g.begin(), sums.g.end(), 0.0);
  std::fill(sums.C_diagonal.begin(), sums.C_diagonal.end(), 0.0);
  fill_lower(sums.C, 0.0);
  fill_lower(sums.curvature, 0.0);
  return sums;
}

// In the order of the observations.
void add_value(const block_tables& block, double& value) {
  for (index_t k = 0; k < block.count; ++k)
    value += 0.5 * block.omega[k] * block.s_squared[k];
}

void add_gradient(const block_tables& block, const score_sums& sums) {
  gemv(1.0, transposed, block.a.part_columns(0, sums.g.size()), block.omega_u, 1.0, sums.g);
  gemv(1.0, transposed, block.squares, block.phi, 1.0, sums.C_diagonal);
}

// phi has the sign of d, which rounding can make negative: C is not a sum of squares.
void add_hessian(const solved_point& point, const block_tables& block,
                 const score_sums& sums) {
  form_e(point, block);
  syrk(1.0, transposed, block.scaled, 1.0, sums.curvature);
  form_f(block);
  syrk(-1.0, transposed, block.squares, 1.0, sums.curvature);
  form_phi_a(block);
  gemmt(1.0, transposed, block.a.part_columns(0, sums.C.cols()), plain, block.scaled, 1.0,
        sums.C);
}

void add_block(const leave_one_out_rows& rows, const solved_point& point,
               const block_tables& block, const ridge_outputs& wanted, score_sums& sums) {
  predict_block(rows, point, block);
  add_value(block, sums.value);
  if (!wanted.derivatives_wanted()) return;
  differentiate_block(point, block);
  add_gradient(block, sums);
  if (wanted.hessian) add_hessian(point, block, sums);
}

double gradient_entry(const solved_point& point, const score_sums& sums, index_t j) {
  return 2.0 / point.t[j] * (point.w[j] * sums.g[j] - sums.C_diagonal[j]);
}

// The second derivatives P2 and Q2 of prediction and leverage add to the sums above
//   (4 / (t_j t_k)) inverse(M)_jk (2 C_jk - g_j w_k - g_k w_j), and gradient_j / t_j on the
// diagonal. L is not needed any more and becomes inverse(M).
void write_hessian(const solved_point& point, const score_sums& sums, matrix_block cholesky,
                   symmetric_view hessian) {
  potri(cholesky);
  const const_matrix_block M_inverse = cholesky;
  const auto& [t, L, z, w] = point;
  const vector_view g = sums.g;
  for (index_t j = 0; j < t.size(); ++j) {
    for (index_t k = j; k < t.size(); ++k) {
      const double mixed = 2.0 * sums.C(k, j) - g[j] * w[k] - g[k] * w[j];
      hessian(k, j) = 4.0 / t[j] / t[k] * (sums.curvature(k, j) + M_inverse(k, j) * mixed);
    }
    hessian(j, j) += gradient_entry(point, sums, j) / t[j];
  }
}

}  // namespace

bool evaluate_leave_one_out(const leave_one_out_rows& rows, const ridge_system& system,
                            const_vector_view t, const ridge_outputs& wanted) {
  scoped_allocator scope;
  const index_t p = rows.design.cols();
  const matrix_view cholesky = scope.matrix(p, p);
  if (!factor_normal_matrix(system, t, cholesky)) return false;

  const vector_view z = scope.vector(p);
  std::copy(system.correlation.begin(), system.correlation.end(), z.begin());
  divide_entries(t, z);
  trsv(triangle::lower, plain, cholesky, z);
  const vector_view w = scope.vector(p);
  std::copy(z.begin(), z.end(), w.begin());
  trsv(triangle::lower, transposed, cholesky, w);

  const solved_point point{t, cholesky, z, w};
  score_sums sums = take_sums(scope, t.size(), wanted);
  const block_tables tables = take_block_tables(scope, rows, t.size(), wanted);
  for (index_t first = 0; first < rows.count; first += tables.count)
    add_block(rows, point,
              tables.narrowed(first, std::min(tables.count, rows.count - first)), wanted,
              sums);

  if (wanted.value != nullptr) *wanted.value = sums.value;
  if (wanted.gradient)
    for (index_t j = 0; j < t.size(); ++j)
      (*wanted.gradient)[j] = gradient_entry(point, sums, j);
  if (wanted.hessian) write_hessian(point, sums, cholesky, *wanted.hessian);
  return true;
}

}  // namespace corvane::model::ridge_regression_detail
