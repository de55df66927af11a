// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/leave_one_out_sums.h"

#include <algorithm>

#include "common/linear_algebra.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The roots of the penalties, one for each group.
vector_view group_roots(scoped_allocator& scope, const_vector_view t,
                        const penalty_groups& groups) {
  const vector_view u = scope.vector(groups.count());
  std::fill(u.begin(), u.end(), 1.0);  // of a group without columns
  for (index_t j = 0; j < t.size(); ++j) u[groups[j]] = t[j];
  return u;
}

// gradient_g = sum of 2 s (Q u - P / d) = (2 / u_g) (sum over its columns of w_j g_j -
// C_jj)
void write_gradient(const ridge_solution& solution, const penalty_groups& groups,
                    const leave_one_out_sums& sums, const_vector_view u,
                    vector_view gradient) {
  for (index_t g = 0; g < groups.count(); ++g) gradient[g] = -sums.C_traces[g];
  for (index_t j = 0; j < sums.g.size(); ++j)
    gradient[groups[j]] += solution.w[j] * sums.g[j];
  for (index_t g = 0; g < groups.count(); ++g) gradient[g] *= 2.0 / u[g];
}

// The second derivatives of prediction and leverage add to the curvature
//   inverse(M)_jk (2 C_jk - g_j w_k - g_k w_j),
// entry by entry of inverse(M): this sum needs C of all columns, with groups too.
void add_second_derivatives(const ridge_solution& solution, const penalty_groups& groups,
                            const leave_one_out_sums& sums, symmetric_view hessian) {
  scoped_allocator scope;
  const const_matrix_block L = solution.cholesky;
  const matrix_view M_inverse = scope.matrix(L.rows(), L.rows());
  copy_lower(L, M_inverse);
  potri(M_inverse);
  const const_vector_view w = solution.w;
  const vector_view g = sums.g;
  for (index_t j = 0; j < g.size(); ++j)
    for (index_t k = j; k < g.size(); ++k) {
      const double mixed = 2.0 * sums.C(k, j) - g[j] * w[k] - g[k] * w[j];
      groups.add_to_hessian(k, j, M_inverse(k, j) * mixed, hessian);
    }
}

void write_hessian(const ridge_solution& solution, const penalty_groups& groups,
                   const leave_one_out_sums& sums, const_vector_view u,
                   const_vector_view gradient, symmetric_view hessian) {
  copy_lower(sums.curvature, hessian);
  add_second_derivatives(solution, groups, sums, hessian);
  for (index_t g = 0; g < groups.count(); ++g) {
    for (index_t h = g; h < groups.count(); ++h) hessian(h, g) *= 4.0 / u[g] / u[h];
    hessian(g, g) += gradient[g] / u[g];
  }
}

}  // namespace

leave_one_out_sums take_sums(scoped_allocator& scope, index_t q, index_t groups,
                             const ridge_outputs& wanted) {
  const bool hessian = wanted.hessian.has_value();
  const leave_one_out_sums sums{
      .g = scope.vector(q),
      .C_traces = scope.vector(groups),
      .C = scope.matrix(hessian ? q : 0, hessian ? q : 0),
      .curvature = scope.matrix(hessian ? groups : 0, hessian ? groups : 0)};
  std::fill(sums.g.begin(), sums.g.end(), 0.0);
  std::fill(sums.C_traces.begin(), sums.C_traces.end(), 0.0);
  fill(sums.C, 0.0);
  fill(sums.curvature, 0.0);
  return sums;
}

void write_derivatives(const ridge_solution& solution, const_vector_view t,
                       const penalty_groups& groups, const leave_one_out_sums& sums,
                       const ridge_outputs& wanted) {
  scoped_allocator scope;
  const vector_view u = group_roots(scope, t, groups);
  const vector_view gradient =
      wanted.gradient ? *wanted.gradient : scope.vector(groups.count());
  write_gradient(solution, groups, sums, u, gradient);
  if (wanted.hessian) write_hessian(solution, groups, sums, u, gradient, *wanted.hessian);
}

}  // namespace corvane::model::ridge_regression_detail
