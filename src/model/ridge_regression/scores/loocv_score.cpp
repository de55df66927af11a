// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/loocv_score.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/vector_dispatch.h"
#include "model/ridge_regression/scores/loocv_tables.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Blocks are long enough for the speed of level 3 and, where that allows it, so short that
// four tables leave room in the arena for the sums. A power of 2 between columns would have
// them share places in the first cache. The length depends on the shape alone, so that
// every evaluation rounds in the same way.
index_t rows_of_block(index_t n, index_t p) {
  constexpr index_t fewest = 64;
  constexpr index_t most = 360;
  constexpr index_t doubles_of_tables = 160000;
  return std::min(
      std::clamp(doubles_of_tables / (4 * std::max<index_t>(p, 1)), fewest, most), n);
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

}  // namespace

loocv_score::loocv_score(dense_matrix&& design, dense_vector&& target,
                         interruption* interruption)
    : design_{std::move(design)},
      target_{std::move(target)},
      point_{design_.cols()},
      L_inverse_{design_.cols(), design_.cols()},
      W_{design_.rows(), design_.cols()},
      s_{design_.rows()},
      d_{design_.rows()},
      interruption_{interruption} {}

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

  const index_t rows = rows_of_block(n, p);
  for (index_t first = 0; first < n; first += rows) {
    check(interruption_);
    const index_t count = std::min(rows, n - first);
    const matrix_block W = matrix_block{W_}.part_rows(first, count);
    const vector_view s = s_.view().part(first, count);
    const vector_view d = d_.view().part(first, count);
    multiply_by_triangle(const_matrix_block{design_}.part_rows(first, count),
                         triangle::upper, T, W);
    predict(W, point_.z(), s, d);
    scale_residuals(target_.view().part(first, count), s, d);
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
  const loocv_tables tables = take_tables(scope, rows, W_.cols(), q, groups.count());
  const grouped_columns columns = sort_by_group(scope, q, groups);
  const matrix_view f_products = scope.matrix(hessian ? groups.count() : 0, groups.count());
  fill(f_products, 0.0);
  for (index_t first = 0; first < n; first += rows) {
    check(interruption_);
    const loocv_tables block = tables.narrowed(std::min(rows, n - first));
    const const_matrix_block a = block.a.part_columns(0, q);
    multiply_by_triangle(const_matrix_block{W_}.part_rows(first, block.count),
                         triangle::lower, L_inverse_, block.a);
    weigh_observations(s_.view().part(first, block.count),
                       d_.view().part(first, block.count), block);
    gemv(1.0, transposed, a, block.two_u, 1.0, sums.g);
    fill_tables(point_.w(), columns, block, sums.C_traces);
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
