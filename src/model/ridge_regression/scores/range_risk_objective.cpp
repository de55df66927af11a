// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/range_risk_objective.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The number of diagonal entries of R that are not negligible beside the largest one.
index_t numerical_rank(const design_factorization& qr) {
  const auto pivots = diagonal(qr.packed.view());
  double largest = 0.0;
  for (index_t j = 0; j < pivots.size(); ++j)
    largest = std::max(largest, std::abs(pivots[j]));
  index_t rank = 0;
  for (index_t j = 0; j < pivots.size(); ++j)
    if (std::abs(pivots[j]) / largest > double_epsilon) ++rank;
  return rank;
}

// Whether two columns are equal in every bit. The pivot of the second is then at rounding
// level, on either side of the threshold of the rank.
bool repeats_a_column(const_matrix_view design) {
  std::vector<const_vector_view> columns;
  for (index_t j = 0; j < design.cols(); ++j) columns.push_back(design.column(j));
  std::sort(columns.begin(), columns.end(),
            [](const_vector_view one, const_vector_view other) {
              return std::lexicographical_compare(one.begin(), one.end(), other.begin(),
                                                  other.end());
            });
  return std::adjacent_find(columns.begin(), columns.end(),
                            [](const_vector_view one, const_vector_view other) {
                              return std::equal(one.begin(), one.end(), other.begin());
                            }) != columns.end();
}

// s2 = |the part of y outside the range of X|^2 / (n - p): 0 / 0 where n = p.
double measure_noise_variance(const design_factorization& qr, const_vector_view target) {
  dense_vector rotated{target};
  apply(qr.record(), transposed, rotated.view());
  const index_t p = qr.packed.cols();
  const const_vector_view outside = rotated.view().part(p, target.size() - p);
  return dot(outside, outside) / static_cast<double>(outside.size());
}

// B inverse(L') in place, for B upper triangular with zeros below. Row j of B begins at
// column j, so that a panel of rows needs the trailing block of L only.
void solve_by_transposed_factor(const_matrix_block L, matrix_block B) {
  constexpr index_t panel_rows = 64;
  const index_t p = B.rows();
  for (index_t first = 0; first < p; first += panel_rows) {
    const index_t size = p - first;
    trsm(side::right, triangle::lower, transposed, L.part(first, first, size, size),
         B.part(first, first, std::min(panel_rows, size), size));
  }
}

double sum_of_squares(const_matrix_view a) {
  const const_vector_view entries{a.data(), a.size()};
  return dot(entries, entries);
}

// The terms of the derivatives, with c = R beta.
struct range_solution {
  const_vector_view beta;  // inverse(A) b, p entries
  const_vector_view v;     // G'c = inverse(A) X'X beta, p entries
  const_matrix_block G;    // R inverse(A), p by p
  double noise_variance;
};

// gradient_j = -4 t_j beta_j v_j + 4 t_j beta_j^2 - 4 t_j s2 |G_j|^2
bool write_gradient(const_vector_view t, const penalty_groups& groups,
                    const range_solution& at, vector_view gradient) {
  std::fill(gradient.begin(), gradient.end(), 0.0);
  for (index_t j = 0; j < t.size(); ++j) {
    const const_vector_view G_j = at.G.column(j);
    gradient[groups[j]] += at.v[j] * (-4.0 * t[j]) * at.beta[j] +
                           at.beta[j] * at.beta[j] * (4.0 * t[j]) +
                           dot(G_j, G_j) * (-4.0 * t[j]) * at.noise_variance;
    if (!is_finite(gradient[groups[j]])) return false;
  }
  return true;
}

// With K = G'G and the change of inverse(A) by t_k, -2 t_k inverse(A) e_k e_k' inverse(A).
// L is overwritten by inverse(M) = D inverse(A) D.
bool write_hessian(const_vector_view t, const penalty_groups& groups,
                   const range_solution& at, matrix_block cholesky,
                   symmetric_view hessian) {
  fill_lower(hessian, 0.0);
  scoped_allocator scope;
  const index_t q = t.size();
  const symmetric_view K = scope.symmetric(q);
  syrk(1.0, transposed, at.G.part_columns(0, q), 0.0, K);
  potri(cholesky);
  const auto& [beta, v, G, s2] = at;
  for (index_t j = 0; j < q; ++j)
    for (index_t k = j; k < q; ++k) {
      const double A_inverse = cholesky(k, j) / t[k] / t[j];
      const double tt = t[j] * t[k];
      double entry = 0.0;
      if (k == j)
        entry = -4.0 * s2 * K(j, j) + 4.0 * beta[j] * beta[j] - 4.0 * v[j] * beta[j];
      entry += 16.0 * tt * s2 * K(k, j) * A_inverse;
      entry += -16.0 * tt * beta[j] * beta[k] * A_inverse;
      entry += 8.0 * tt *
               (v[j] * A_inverse * beta[k] + beta[j] * beta[k] * K(k, j) +
                v[k] * A_inverse * beta[j]);
      groups.add_to_hessian(k, j, entry, hessian);
      if (!is_finite(entry)) return false;
    }
  return true;
}

}  // namespace

range_risk_objective::measured_data range_risk_objective::measure(
    const_vector_view target, dense_matrix&& design, interruption* interruption) {
  dense_vector correlation = correlate(design, target);
  check(interruption);
  const bool is_repetitive = repeats_a_column(design);
  const design_factorization qr = factor_design(std::move(design), interruption);
  if (is_repetitive || numerical_rank(qr) < qr.packed.cols())
    throw std::runtime_error{"feature_matrix has linear dependent columns"};
  return {{qr.triangle(), std::move(correlation)}, measure_noise_variance(qr, target)};
}

range_risk_objective::range_risk_objective(const_vector_view target, dense_matrix design,
                                           interruption* interruption)
    : range_risk_objective{measure(target, std::move(design), interruption)} {}

range_risk_objective::range_risk_objective(measured_data&& measured)
    : ridge_regression_objective{std::move(measured.system)},
      noise_variance_{measured.noise_variance} {}

// With beta = inverse(A) b the residual sum of squares less y'y is |R beta|^2 - 2 b'beta,
// and tr H = tr inverse(M) B'B = |B inverse(L')|^2.
bool range_risk_objective::evaluate(const_vector_view t, const penalty_groups& groups,
                                    const ridge_outputs& wanted) {
  scoped_allocator scope;
  const index_t p = system().correlation.size();
  const matrix_view B = scope.matrix(p, p);
  const matrix_view cholesky = scope.matrix(p, p);
  divide_columns(t, system().triangle, B);
  if (!factor_normal_matrix(B, t.size(), cholesky)) return false;

  // z = inverse(L) inverse(D) b with |z|^2 = b'beta, then inverse(M) inverse(D) b, then
  // beta.
  const vector_view beta = scope.vector(p);
  std::copy(system().correlation.begin(), system().correlation.end(), beta.begin());
  divide_entries(t, beta);
  trsv(triangle::lower, plain, cholesky, beta);
  const double target_dot_fit = dot(beta, beta);
  trsv(triangle::lower, transposed, cholesky, beta);
  const vector_view c = scope.vector(p);
  std::copy(beta.begin(), beta.end(), c.begin());
  trmv(triangle::upper, plain, B, c);
  divide_entries(t, beta);

  // B becomes B inverse(L') here and G = B inverse(M) inverse(D) below.
  solve_by_transposed_factor(cholesky, B);
  if (wanted.value != nullptr) {
    *wanted.value =
        (dot(c, c) - 2.0 * target_dot_fit) + 2.0 * noise_variance_ * sum_of_squares(B);
    if (!is_finite(*wanted.value)) return false;
  }
  if (!wanted.derivatives_wanted()) return true;

  trsm(side::right, triangle::lower, plain, cholesky, B);
  divide_columns(t, B, B);
  const const_matrix_block G{B};
  const vector_view v = scope.vector(p);
  gemv(1.0, transposed, G, c, 0.0, v);
  const range_solution solution{beta, v, G, noise_variance_};
  return (!wanted.gradient || write_gradient(t, groups, solution, *wanted.gradient)) &&
         (!wanted.hessian || write_hessian(t, groups, solution, cholesky, *wanted.hessian));
}

}  // namespace corvane::model::ridge_regression_detail
