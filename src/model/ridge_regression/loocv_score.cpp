// SPDX-License-Identifier: BSD-3-Clause
//
// Names are those of leave_one_out_sums.h. With the rows X of a second pair of tables,
//   B = (2 / d^2) (v - 2 s q),   E = (2 s / d^2) (3 s q - 2 v),
// the sums over the rows of a block are
//   curvature = v'B + q'E,   C = a'(phi a).
#include "model/ridge_regression/loocv_score.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/vector_dispatch.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Blocks are long enough for the speed of level 3 and, where that allows it, so short that
// six tables leave room in the arena for the sums. The length depends on the shape alone,
// so that every evaluation rounds in the same way.
index_t rows_of_block(index_t n, index_t p) {
  constexpr index_t fewest = 64;
  constexpr index_t most = 256;
  constexpr index_t doubles_of_tables = 160000;
  return std::min(
      std::clamp(doubles_of_tables / (6 * std::max<index_t>(p, 1)), fewest, most), n);
}

// W = X T, of one block
void multiply_by_triangle(const_matrix_block from, triangle which, const_matrix_block T,
                          matrix_block to) {
  copy(from, to);
  trmm(side::right, which, plain, T, to);
}

// The lower triangle of sums += A'B, which is symmetric
void add_symmetric_products(const_matrix_block a, const_matrix_block b, matrix_block sums) {
  gemmt(1.0, transposed, a, plain, b, 1.0, sums);
}

// T = inverse(D) inverse(L'), upper triangular, zeros below the diagonal.
void fill_whitening(const_vector_view t, const_matrix_block L_inverse, matrix_block T) {
  for (index_t j = 0; j < T.cols(); ++j)
    for (index_t k = 0; k < T.rows(); ++k)
      T(k, j) = k < t.size() ? L_inverse(j, k) / t[k] : L_inverse(j, k);
}

// sums_i += sum over j of W_ij^2
void add_squares(const_matrix_block W, double* sums) {
  run_vectorized([=](auto /*width*/) {
    for (index_t j = 0; j < W.cols(); ++j) {
      const double* const entries = W.data() + j * W.stride();
      for (index_t i = 0; i < W.rows(); ++i) sums[i] += entries[i] * entries[i];
    }
  });
}

// The tables of one block of observations, with a row for each.
struct derivative_tables {
  matrix_block a;      // p columns
  matrix_block phi_a;  // q columns
  matrix_block v;      // a column per group, as the following
  matrix_block q;
  matrix_block B;
  matrix_block E;

  derivative_tables narrowed(index_t rows) const {
    return {a.part_rows(0, rows), phi_a.part_rows(0, rows), v.part_rows(0, rows),
            q.part_rows(0, rows), B.part_rows(0, rows),     E.part_rows(0, rows)};
  }
};

derivative_tables take_tables(scoped_allocator& scope, index_t rows, index_t p, index_t q,
                              index_t groups) {
  return {scope.matrix(rows, p),      scope.matrix(rows, q),
          scope.matrix(rows, groups), scope.matrix(rows, groups),
          scope.matrix(rows, groups), scope.matrix(rows, groups)};
}

// v_g = sum of a_j w_j and q_g = sum of a_j^2 over the columns j of each group
void sum_groups(const_vector_view w, const penalty_groups& groups, index_t penalized,
                const derivative_tables& block) {
  fill(block.v, 0.0);
  fill(block.q, 0.0);
  for (index_t j = 0; j < penalized; ++j)
    run_vectorized([a = block.a.column(j), v = block.v.column(groups[j]),
                    q = block.q.column(groups[j]), w_j = w[j]](auto /*width*/) {
      for (index_t i = 0; i < a.size(); ++i) {
        v[i] += a[i] * w_j;
        q[i] += a[i] * a[i];
      }
    });
}

// The weights of a block of observations.
struct observation_weights {
  vector_view phi;    // 2 s^2 / d
  vector_view two_u;  // 2 s / d
  const_vector_view s;
  const_vector_view d;
};

void form_weighted(const observation_weights& weights, const derivative_tables& block) {
  for (index_t j = 0; j < block.phi_a.cols(); ++j)
    run_vectorized([a = block.a.column(j), phi_a = block.phi_a.column(j),
                    phi = weights.phi](auto /*width*/) {
      for (index_t i = 0; i < a.size(); ++i) phi_a[i] = phi[i] * a[i];
    });
  for (index_t g = 0; g < block.v.cols(); ++g)
    run_vectorized([v = block.v.column(g), q = block.q.column(g), B = block.B.column(g),
                    E = block.E.column(g), s = weights.s, d = weights.d](auto /*width*/) {
      for (index_t i = 0; i < v.size(); ++i) {
        const double weight = 2.0 / (d[i] * d[i]);
        B[i] = weight * (v[i] - 2.0 * s[i] * q[i]);
        E[i] = weight * s[i] * (3.0 * s[i] * q[i] - 2.0 * v[i]);
      }
    });
}

}  // namespace

loocv_score::loocv_score(dense_matrix&& design, dense_vector&& target)
    : design_{std::move(design)},
      target_{std::move(target)},
      point_{design_.cols()},
      L_inverse_{design_.cols(), design_.cols()},
      W_{design_.rows(), design_.cols()},
      s_{design_.rows()},
      d_{design_.rows()} {}

bool loocv_score::move_to(const ridge_system& system, const_vector_view t) {
  if (point_.is_at(t)) return true;
  if (!point_.solve(system, t)) return false;
  scoped_allocator scope;
  const index_t n = W_.rows();
  const index_t p = W_.cols();
  fill(L_inverse_, 0.0);
  copy_lower(point_.cholesky(), L_inverse_);
  trtri(triangle::lower, L_inverse_);
  const matrix_view T = scope.matrix(p, p);
  fill_whitening(t, L_inverse_, T);

  std::fill(d_.begin(), d_.end(), 0.0);
  const index_t rows = rows_of_block(n, p);
  for (index_t first = 0; first < n; first += rows) {
    const index_t count = std::min(rows, n - first);
    const matrix_block W = matrix_block{W_}.part_rows(first, count);
    multiply_by_triangle(const_matrix_block{design_}.part_rows(first, count),
                         triangle::upper, T, W);
    add_squares(W, d_.data() + first);
    gemv(1.0, plain, W, point_.z(), 0.0, s_.view().part(first, count));
  }
  for (index_t i = 0; i < n; ++i) {
    d_[i] = 1.0 - d_[i];
    s_[i] = (target_[i] - s_[i]) / d_[i];
  }
  return true;
}

double loocv_score::value() const {
  double sum = 0.0;
  for (const double s : s_) sum += s * s;
  return sum;
}

void loocv_score::add_derivatives(const penalty_groups& groups,
                                  const leave_one_out_sums& sums) const {
  scoped_allocator scope;
  const index_t n = W_.rows();
  const index_t q = sums.g.size();
  const bool hessian = sums.C.rows() > 0;
  const index_t rows = rows_of_block(n, W_.cols());
  const derivative_tables tables = take_tables(scope, rows, W_.cols(), q, groups.count());
  const vector_view phi = scope.vector(rows);
  const vector_view two_u = scope.vector(rows);
  for (index_t first = 0; first < n; first += rows) {
    const index_t count = std::min(rows, n - first);
    const derivative_tables block = tables.narrowed(count);
    const observation_weights weights{phi.part(0, count), two_u.part(0, count),
                                      s_.view().part(first, count),
                                      d_.view().part(first, count)};
    for (index_t i = 0; i < count; ++i) {
      weights.two_u[i] = 2.0 * weights.s[i] / weights.d[i];
      weights.phi[i] = weights.two_u[i] * weights.s[i];
    }
    multiply_by_triangle(const_matrix_block{W_}.part_rows(first, count), triangle::lower,
                         L_inverse_, block.a);
    sum_groups(point_.w(), groups, q, block);
    gemv(1.0, transposed, block.a.part_columns(0, q), weights.two_u, 1.0, sums.g);
    gemv(1.0, transposed, block.q, weights.phi, 1.0, sums.C_traces);
    if (!hessian) continue;
    form_weighted(weights, block);
    add_symmetric_products(block.v, block.B, sums.curvature);
    add_symmetric_products(block.q, block.E, sums.curvature);
    add_symmetric_products(block.a.part_columns(0, q), block.phi_a, sums.C);
  }
}

}  // namespace corvane::model::ridge_regression_detail
