// SPDX-License-Identifier: BSD-3-Clause
//
// Names are those of leave_one_out_sums.h. The curvature sums a quadratic form in v and q,
//   [v q] K [v q]',   K = [ 2 / d^2,    -4 s / d^2
//                           -4 s / d^2,  6 s^2 / d^2 ]:
// with v over q in one table and K [v q]' in another it is one product of the two.
#include "model/ridge_regression/loocv_score.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/vector_dispatch.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Blocks are long enough for the speed of level 3 and, where that allows it, so short that
// six tables leave room in the arena for the sums. The length depends on the shape alone,
// so that every evaluation rounds in the same way.
index_t rows_of_block(index_t n, index_t p) {
  constexpr index_t fewest = 64;
  constexpr index_t most = 240;
  constexpr index_t doubles_of_tables = 160000;
  return std::min(
      std::clamp(doubles_of_tables / (6 * std::max<index_t>(p, 1)), fewest, most), n);
}

// Up to here the products of one block are faster by a loop of our own than by a BLAS,
// which from some width on has work for several threads.
constexpr index_t most_narrow_columns = 128;

// to = from T, of one block
void multiply_by_triangle(const_matrix_block from, triangle which, const_matrix_block T,
                          matrix_block to) {
  if (T.cols() <= most_narrow_columns) return multiply_narrow(from, which, T, to);
  copy(from, to);
  trmm(side::right, which, plain, T, to);
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

// sums_i += sum over j of W_ij^2
void add_squares(const_matrix_block W, double* sums) {
  run_vectorized([=](auto /*width*/) {
    for (index_t j = 0; j < W.cols(); ++j) {
      const double* const entries = W.data() + j * W.stride();
      for (index_t i = 0; i < W.rows(); ++i) sums[i] += entries[i] * entries[i];
    }
  });
}

// What an observation weighs in the sums.
struct observation_weights {
  vector_view two_u;  // 2 s / d
  vector_view phi;    // 2 s^2 / d
  vector_view K_vv;
  vector_view K_vq;
  vector_view K_qq;
};

// The tables of one block of observations.
struct derivative_tables {
  index_t count;            // observations
  matrix_block a;           // count by p
  matrix_block phi_a;       // count by q
  matrix_block slopes;      // v over q, 2 count by groups
  matrix_block curvatures;  // K [v q]', 2 count by groups
  observation_weights of;   // count entries each

  matrix_block v() const { return slopes.part_rows(0, count); }
  matrix_block q() const { return slopes.part_rows(count, count); }
  derivative_tables narrowed(index_t rows) const {
    return {rows,
            a.part_rows(0, rows),
            phi_a.part_rows(0, rows),
            slopes.part_rows(0, 2 * rows),
            curvatures.part_rows(0, 2 * rows),
            {of.two_u.part(0, rows), of.phi.part(0, rows), of.K_vv.part(0, rows),
             of.K_vq.part(0, rows), of.K_qq.part(0, rows)}};
  }
};

derivative_tables take_tables(scoped_allocator& scope, index_t rows, index_t p, index_t q,
                              index_t groups) {
  return {rows,
          scope.matrix(rows, p),
          scope.matrix(rows, q),
          scope.matrix(2 * rows, groups),
          scope.matrix(2 * rows, groups),
          {scope.vector(rows), scope.vector(rows), scope.vector(rows), scope.vector(rows),
           scope.vector(rows)}};
}

// One loop per table: with few arrays each becomes vector instructions.
void weigh_observations(const_vector_view s, const_vector_view d,
                        const observation_weights& of) {
  run_vectorized([=](auto /*width*/) {
    const index_t count = s.size();
    for (index_t i = 0; i < count; ++i) of.two_u[i] = 2.0 * s[i] / d[i];
    for (index_t i = 0; i < count; ++i) of.phi[i] = of.two_u[i] * s[i];
    for (index_t i = 0; i < count; ++i) of.K_vv[i] = 2.0 / (d[i] * d[i]);
    for (index_t i = 0; i < count; ++i) of.K_vq[i] = -2.0 * s[i] * of.K_vv[i];
    for (index_t i = 0; i < count; ++i) of.K_qq[i] = -1.5 * s[i] * of.K_vq[i];
  });
}

// v_g = sum of a_j w_j and q_g = sum of a_j^2 over the columns j of each group
void sum_groups(const_vector_view w, const penalty_groups& groups, index_t penalized,
                const derivative_tables& block) {
  fill(block.slopes, 0.0);
  for (index_t j = 0; j < penalized; ++j)
    run_vectorized([a = block.a.column(j), v = block.v().column(groups[j]),
                    q = block.q().column(groups[j]), w_j = w[j]](auto /*width*/) {
      for (index_t i = 0; i < a.size(); ++i) {
        v[i] += a[i] * w_j;
        q[i] += a[i] * a[i];
      }
    });
}

// to = x .* from_x + y .* from_y
void add_weighted(const_vector_view x, const_vector_view from_x, const_vector_view y,
                  const_vector_view from_y, vector_view to) {
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < to.size(); ++i) to[i] = x[i] * from_x[i] + y[i] * from_y[i];
  });
}

void weigh_slopes(const derivative_tables& block) {
  const auto& of = block.of;
  for (index_t g = 0; g < block.slopes.cols(); ++g) {
    const vector_view v = block.v().column(g);
    const vector_view q = block.q().column(g);
    const vector_view weighted = block.curvatures.column(g);
    add_weighted(of.K_vv, v, of.K_vq, q, weighted.part(0, block.count));
    add_weighted(of.K_vq, v, of.K_qq, q, weighted.part(block.count, block.count));
  }
}

void form_phi_a(const derivative_tables& block) {
  for (index_t j = 0; j < block.phi_a.cols(); ++j)
    run_vectorized([a = block.a.column(j), out = block.phi_a.column(j),
                    phi = block.of.phi](auto /*width*/) {
      for (index_t i = 0; i < a.size(); ++i) out[i] = phi[i] * a[i];
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
  for (index_t first = 0; first < n; first += rows) {
    const derivative_tables block = tables.narrowed(std::min(rows, n - first));
    const const_matrix_block a = block.a.part_columns(0, q);
    multiply_by_triangle(const_matrix_block{W_}.part_rows(first, block.count),
                         triangle::lower, L_inverse_, block.a);
    weigh_observations(s_.view().part(first, block.count),
                       d_.view().part(first, block.count), block.of);
    sum_groups(point_.w(), groups, q, block);
    gemv(1.0, transposed, a, block.of.two_u, 1.0, sums.g);
    gemv(1.0, transposed, block.q(), block.of.phi, 1.0, sums.C_traces);
    if (!hessian) continue;
    weigh_slopes(block);
    add_symmetric_products(block.slopes, block.curvatures, sums.curvature);
    form_phi_a(block);
    add_symmetric_products(a, block.phi_a, sums.C);
  }
}

}  // namespace corvane::model::ridge_regression_detail
