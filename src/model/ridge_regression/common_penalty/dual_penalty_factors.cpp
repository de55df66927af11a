// SPDX-License-Identifier: BSD-3-Clause
//
// dual_penalty_factors: the factors of a design with at least as many columns as rows. A
// reflection P takes N to the first axis; what lies below it, A = (P X1) without its first
// row, is X1 with N projected out, in a basis of the complement of N. Of A = U diag(s) V'
// only s and U are needed:
//   weights = A' U diag(1 / (s^2 + t^2)) U'y.
// They are the eigenvalues and eigenvectors of A A' where these are far from zero, and
// otherwise the singular ones of T' in A' = Q T (tall), which has not been squared.
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/factorization/tall_factorization.h"

namespace corvane::model::ridge_regression_detail {

namespace {

class dual_penalty_factors final : public common_penalty_factors {
 public:
  explicit dual_penalty_factors(const common_penalty_design& design);

  const penalty_spectrum& spectrum() const override { return spectrum_; }
  penalty_rows rows() const override;
  void column_dof(double t, vector_view dof) const override;
  void solve(double t, vector_view weights) const override;

 private:
  dense_matrix compute_gram() const;  // A A', lower triangle
  bool decompose_gram(const dense_matrix& gram);
  void decompose_triangle(dense_matrix&& gram);
  // Columns of A, read into as many columns of `room`, which has a row for each
  // observation.
  const_matrix_block read_columns(index_t first, matrix_block room) const;
  // Each column x of the observations' space becomes P x.
  void reflect(matrix_block columns) const;
  index_t rank() const { return left_.rows(); }

  common_penalty_design design_;
  index_t free_;       // columns of N: 1 or 0
  dense_matrix left_;  // U
  penalty_spectrum spectrum_;
};

dual_penalty_factors::dual_penalty_factors(const common_penalty_design& design)
    : design_{design},
      free_{design.has_free_bias() ? 1 : 0},
      left_{design.observations() - free_, design.observations() - free_} {
  const index_t n = design.observations();
  const index_t k = n - free_;
  spectrum_ = {n, 0, 0.0, dense_vector{k}, dense_vector{k}};
  if (k == 0) return;
  dense_matrix gram = compute_gram();
  if (!decompose_gram(gram)) decompose_triangle(std::move(gram));

  scoped_allocator scope;
  const matrix_view target = scope.matrix(n, 1);
  design_.read_target(target.column(0));
  reflect(target);
  gemv(1.0, transposed, left_, target.column(0).part(free_, k), 0.0, spectrum_.z);
}

const_matrix_block dual_penalty_factors::read_columns(index_t first,
                                                      matrix_block room) const {
  design_.read_columns(first, room);
  reflect(room);
  return room.part_rows(free_, rank());
}

dense_matrix dual_penalty_factors::compute_gram() const {
  constexpr index_t block_columns = 512;
  dense_matrix gram{rank(), rank()};
  fill(gram, 0.0);
  scoped_allocator scope;
  const matrix_view room =
      scope.matrix(spectrum_.observations, std::min(block_columns, design_.penalized()));
  for (index_t first = 0; first < design_.penalized(); first += room.cols()) {
    const index_t count = std::min(room.cols(), design_.penalized() - first);
    syrk(1.0, plain, read_columns(first, matrix_block{room}.part_columns(0, count)), 1.0,
         gram);
  }
  return gram;
}

// The error of an eigenvalue s^2 of A A' is a rounding error of the largest one: the ratio
// of the smallest to the largest gives the digits that are lost. Neither overflow nor
// underflow has touched eigenvalues between these bounds.
bool dual_penalty_factors::decompose_gram(const dense_matrix& gram) {
  constexpr double harmless_ratio = 1e4;
  constexpr double smallest =
      std::numeric_limits<double>::min() / std::numeric_limits<double>::epsilon();
  for (index_t i = 0; i < gram.rows(); ++i)
    if (!is_finite(gram(i, i))) return false;
  copy_lower(gram, left_);
  const vector_view squares = spectrum_.s;
  if (syevd(left_, squares) != 0) return false;
  const double least = squares[0];
  if (!(least >= smallest && squares[squares.size() - 1] <= harmless_ratio * least))
    return false;
  for (double& square : squares) square = std::sqrt(square);
  return true;
}

void dual_penalty_factors::decompose_triangle(dense_matrix&& gram) {
  const index_t k = rank();
  const tall_factorization qr{{design_.penalized(), k,
                               [this](index_t first, matrix_block block) {
                                 scoped_allocator scope;
                                 const matrix_view room =
                                     scope.matrix(spectrum_.observations, block.rows());
                                 copy_transposed(read_columns(first, room), block);
                               }},
                              std::move(gram)};
  dense_matrix lower{k, k};
  copy_transposed(qr.triangle(), lower);
  dense_matrix right{k, k};
  if (gesdd(svd_job::thin, lower, spectrum_.s, left_, right) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
}

// P = I - v v' / v_0 with v = N + e_0, of which all entries but the first are equal.
void dual_penalty_factors::reflect(matrix_block columns) const {
  if (free_ == 0) return;
  const double entry = design_.bias_entry();
  const double first = entry + 1.0;
  scoped_allocator scope;
  const vector_view v = scope.vector(columns.rows());
  std::fill(v.begin(), v.end(), entry);
  v[0] = first;
  const vector_view multiples = scope.vector(columns.cols());
  gemv(1.0 / first, transposed, columns, v, 0.0, multiples);
  for (index_t j = 0; j < columns.cols(); ++j) {
    columns(0, j) -= multiples[j];  // v_0 = entry + 1
    const double shift = entry * multiples[j];
    double* const x = columns.column(j).data();
    run_vectorized([=, n = columns.rows()](auto... /*width*/) {
      for (index_t i = 0; i < n; ++i) x[i] -= shift;
    });
  }
}

// P [0; U]. The columns of N and U span R^n: one_minus_leverage and residual are zero
// without a penalty.
penalty_rows dual_penalty_factors::rows() const {
  const index_t k = rank();
  dense_matrix columns{spectrum_.observations, k + 2};
  fill(columns, 0.0);
  copy(left_, matrix_block{columns}.part(free_, 0, k, k));
  reflect(matrix_block{columns}.part_columns(0, k));
  return {std::move(columns)};
}

// sum over k of f_k V_jk^2 with V diag(s) = A'U, by blocks of columns of A
void dual_penalty_factors::column_dof(double t, vector_view dof) const {
  constexpr index_t block_columns = 512;
  const index_t k = rank();
  std::fill(dof.begin(), dof.end(), 0.0);
  scoped_allocator scope;
  const matrix_view room =
      scope.matrix(spectrum_.observations, std::min(block_columns, dof.size()));
  const matrix_view product_room = scope.matrix(k, room.cols());
  for (index_t first = 0; first < dof.size(); first += room.cols()) {
    const index_t count = std::min(room.cols(), dof.size() - first);
    const matrix_block product{product_room.data(), k, count, k};
    gemm(1.0, transposed, left_, plain,
         read_columns(first, matrix_block{room}.part_columns(0, count)), 0.0, product);
    for (index_t i = 0; i < k; ++i) {
      const double damped = damped_inverse_square(spectrum_.s[i], t);
      for (index_t j = 0; j < count; ++j)
        dof[first + j] += damped * product(i, j) * product(i, j);
    }
  }
}

// With the residuals' direction c = P [0; U diag(1 / (s^2 + t^2)) z]: weights = X1'c, since
// c is orthogonal to N, and the weight of N is N'y - (X1'N)'weights.
void dual_penalty_factors::solve(double t, vector_view weights) const {
  constexpr index_t block_columns = 64;
  scoped_allocator scope;
  const index_t n = spectrum_.observations;
  const index_t k = rank();
  const vector_view damped = scope.vector(k);
  for (index_t j = 0; j < k; ++j)
    damped[j] = spectrum_.z[j] * damped_inverse_square(spectrum_.s[j], t);
  const vector_view direction = scope.vector(n);
  std::fill(direction.begin(), direction.end(), 0.0);
  gemv(1.0, plain, left_, damped, 0.0, direction.part(free_, k));
  reflect({direction.data(), n, 1, n});

  const vector_view fitted = scope.vector(n);
  std::fill(fitted.begin(), fitted.end(), 0.0);
  const matrix_view room = scope.matrix(n, std::min(block_columns, design_.penalized()));
  for (index_t first = 0; first < design_.penalized(); first += block_columns) {
    const index_t count = std::min(block_columns, design_.penalized() - first);
    const matrix_block columns{room.data(), n, count, n};
    const vector_view part = weights.part(first, count);
    design_.read_columns(first, columns);
    gemv(1.0, transposed, columns, direction, 0.0, part);
    gemv(1.0, plain, columns, part, 1.0, fitted);
  }
  if (free_ == 0) return;
  const vector_view target = scope.vector(n);
  design_.read_target(target);
  double rest = 0.0;
  for (index_t i = 0; i < n; ++i) rest += target[i] - fitted[i];
  weights[design_.penalized()] = rest * design_.bias_entry();
}

}  // namespace

std::unique_ptr<const common_penalty_factors> make_dual_factors(
    const common_penalty_design& design) {
  return std::make_unique<dual_penalty_factors>(design);
}

}  // namespace corvane::model::ridge_regression_detail
