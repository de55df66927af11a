// SPDX-License-Identifier: BSD-3-Clause
//
// Names are those of leave_one_out_sums.h; the sums run over all n bins f. With
// theta = 2 pi / n, tau the sums of a weight against cosines, and x the vector with bins z,
//   a_fj = sum over i of G_ij exp(I theta f i) / sqrt(n),   I^2 = -1,
//   q_fg = sum over l of R_lg cos(theta f l),
//   sum of weight_f conj(a_fj) a_fk = G_j' T G_k / n,    T_im = tau_|i-m|,
//   sum of weight_f q_fg q_fh = R_g' S R_h,   S_lm = (tau_(l+m) + tau_|l-m|) / 2,
//   sum of Re(conj(z_f) a_fj) = G_j' x,
//   sum of Re(conj(z_f) a_fj) q_fg = G_j' H R_g,   H_il = (x_(i+l) + x_(i-l)) / 2.
#include "model/ridge_regression/scores/gcv_score.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/vector_dispatch.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// What a weight of a bin is made of.
struct bin {
  double d;
  double s_squared;
};

// sums_l += sum over i of x_i x_(i+l)
void add_autocorrelation(const_vector_view x, vector_view sums) {
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < x.size(); ++i)
      for (index_t l = 0; l < x.size() - i; ++l) sums[l] += x[i] * x[i + l];
  });
}

// From sums over the diagonals of a symmetric matrix C to the amplitudes of
//   (1 / n) sum over i and m of C_im cos(2 pi f (i - m) / n) :
// a diagonal off the main one stands for two.
void scale_to_amplitudes(index_t n, vector_view diagonal_sums) {
  for (index_t l = 0; l < diagonal_sums.size(); ++l)
    diagonal_sums[l] *= (l == 0 ? 1.0 : 2.0) / static_cast<double>(n);
}

// R, k by groups: the amplitudes of q_g = sum over the columns j of the group of |a_j|^2.
void fill_square_amplitudes(index_t n, const_matrix_block G, const penalty_groups& groups,
                            matrix_block R) {
  fill(R, 0.0);
  for (index_t j = 0; j < G.cols(); ++j)
    add_autocorrelation(G.column(j), R.column(groups[j]));
  for (index_t g = 0; g < R.cols(); ++g) scale_to_amplitudes(n, R.column(g));
}

void fill_toeplitz(const_vector_view tau, matrix_block lower) {
  for (index_t m = 0; m < lower.cols(); ++m)
    for (index_t i = m; i < lower.rows(); ++i) lower(i, m) = tau[i - m];
}

// S. tau has 2 k - 1 entries.
void fill_cosine_products(const_vector_view tau, matrix_block lower) {
  for (index_t m = 0; m < lower.cols(); ++m)
    for (index_t l = m; l < lower.rows(); ++l)
      lower(l, m) = 0.5 * (tau[l + m] + tau[l - m]);
}

// H. x begins k - 1 entries before x_0.
void fill_shifts(const_vector_view x, matrix_block H) {
  const index_t k = H.rows();
  for (index_t l = 0; l < k; ++l)
    for (index_t i = 0; i < k; ++i) H(i, l) = 0.5 * (x[k - 1 + i + l] + x[k - 1 + i - l]);
}

// V, k by groups: the sum of w_j G_j over the columns of each group.
void fill_prediction_slopes(const_matrix_block G, const_vector_view w,
                            const penalty_groups& groups, matrix_block V) {
  fill(V, 0.0);
  for (index_t j = 0; j < G.cols(); ++j) {
    const vector_view sum = V.column(groups[j]);
    for (index_t i = 0; i < G.rows(); ++i) sum[i] += w[j] * G(i, j);
  }
}

}  // namespace

gcv_score::gcv_score(rotated_problem&& problem)
    : problem_{std::move(problem)},
      transform_{problem_.target.size()},
      point_{problem_.design.cols()},
      W_{problem_.design.rows(), problem_.design.cols()},
      d_{transform_.bins()},
      s_real_{transform_.bins()},
      s_imaginary_{transform_.bins()},
      s_squared_{transform_.bins()} {}

bool gcv_score::move_to(const ridge_system& system, const_vector_view t) {
  if (point_.is_at(t)) return true;
  if (!point_.solve(system, t)) return false;
  divide_columns(t, problem_.design, W_);
  trsm(side::right, triangle::lower, transposed, point_.cholesky(), W_);
  compute_leverages();
  compute_residuals();
  return true;
}

// d = 1 - leverage, K inverse(A) K' = W W'
void gcv_score::compute_leverages() {
  scoped_allocator scope;
  const index_t k = W_.rows();
  const symmetric_view hat = scope.symmetric(k);
  syrk(1.0, plain, W_, 0.0, hat);
  const vector_view amplitudes = scope.vector(k);
  std::fill(amplitudes.begin(), amplitudes.end(), 0.0);
  const const_matrix_block lower = hat;
  for (index_t m = 0; m < k; ++m)
    for (index_t i = m; i < k; ++i) amplitudes[i - m] += lower(i, m);
  scale_to_amplitudes(transform_.length(), amplitudes);
  transform_.to_cosines(amplitudes, d_);
  for (double& d : d_) d = 1.0 - d;
}

// s = (y - prediction) / d; before the transform the prediction is W z.
void gcv_score::compute_residuals() {
  scoped_allocator scope;
  const vector_view residual = scope.vector(problem_.target.size());
  std::copy(problem_.target.begin(), problem_.target.end(), residual.begin());
  gemv(-1.0, plain, W_, point_.z(), 1.0, residual.part(0, W_.rows()));
  transform_.to_bins(residual, s_real_, s_imaginary_);
  for (index_t f = 0; f < d_.size(); ++f) {
    s_real_[f] /= d_[f];
    s_imaginary_[f] /= d_[f];
    s_squared_[f] = s_real_[f] * s_real_[f] + s_imaginary_[f] * s_imaginary_[f];
  }
}

double gcv_score::value() const {
  double sum = 0.0;
  for (index_t f = 0; f < d_.size(); ++f) sum += transform_.multiplicity(f) * s_squared_[f];
  return sum;
}

template <class Weight>
void gcv_score::sum_cosines(Weight weight, vector_view sums) {
  scoped_allocator scope;
  const vector_view weights = scope.vector(d_.size());
  for (index_t f = 0; f < d_.size(); ++f) weights[f] = weight(bin{d_[f], s_squared_[f]});
  transform_.sum_cosines(weights, sums);
}

template <class Factor>
void gcv_score::from_bins(Factor factor, index_t first, vector_view x) {
  scoped_allocator scope;
  const vector_view real_part = scope.vector(d_.size());
  const vector_view imaginary_part = scope.vector(d_.size());
  for (index_t f = 0; f < d_.size(); ++f) {
    const double times = factor(bin{d_[f], s_squared_[f]});
    real_part[f] = times * s_real_[f];
    imaginary_part[f] = times * s_imaginary_[f];
  }
  transform_.from_bins(real_part, imaginary_part, first, x);
}

void gcv_score::add_derivatives(const penalty_groups& groups,
                                const leave_one_out_sums& sums) {
  scoped_allocator scope;
  const index_t k = W_.rows();
  const matrix_view a = scope.matrix(k, W_.cols());
  copy(W_, a);
  trsm(side::right, triangle::lower, plain, point_.cholesky(), a);
  const const_matrix_block G = const_matrix_block{a}.part_columns(0, sums.g.size());
  const matrix_view R = scope.matrix(k, groups.count());
  fill_square_amplitudes(transform_.length(), G, groups, R);

  const vector_view tau = scope.vector(k);
  sum_cosines([](const bin& at) { return 2.0 * at.s_squared / at.d; }, tau);
  gemv(1.0, transposed, R, tau, 0.0, sums.C_traces);
  const vector_view two_u = scope.vector(k);
  from_bins([](const bin& at) { return 2.0 / at.d; }, 0, two_u);
  gemv(1.0, transposed, G, two_u, 0.0, sums.g);
  if (sums.C.rows() == 0) return;

  const matrix_view T = scope.matrix(k, k);
  const matrix_view TG = scope.matrix(k, G.cols());
  fill_toeplitz(tau, T);
  symm(1.0 / static_cast<double>(transform_.length()), T, G, 0.0, TG);
  gemmt(1.0, transposed, G, plain, TG, 0.0, sums.C);
  add_curvature(G, R, groups, sums.curvature);
}

// V' T V / n - 4 (V' H R + R' H' V) + R' S R is the symmetric part of V' X + R' Y, with
// X = T V / n - 8 H R and Y = S R.
void gcv_score::add_curvature(const_matrix_block G, const_matrix_block R,
                              const penalty_groups& groups, matrix_block curvature) {
  scoped_allocator scope;
  const index_t k = G.rows();
  const index_t m = groups.count();
  const vector_view tau = scope.vector(std::max<index_t>(2 * k - 1, 0));
  const vector_view x = scope.vector(std::max<index_t>(3 * k - 2, 0));
  const matrix_view kernel = scope.matrix(k, k);
  const matrix_view V = scope.matrix(k, m);
  const matrix_view X = scope.matrix(k, m);
  const matrix_view Y = scope.matrix(k, m);
  fill_prediction_slopes(G, point_.w(), groups, V);

  sum_cosines([](const bin& at) { return 2.0 / (at.d * at.d); }, tau.part(0, k));
  fill_toeplitz(tau, kernel);
  symm(1.0 / static_cast<double>(transform_.length()), kernel, V, 0.0, X);
  from_bins([](const bin& at) { return 1.0 / (at.d * at.d); }, 1 - k, x);
  fill_shifts(x, kernel);
  gemm(-8.0, plain, kernel, plain, R, 1.0, X);
  sum_cosines([](const bin& at) { return 6.0 * at.s_squared / (at.d * at.d); }, tau);
  fill_cosine_products(tau, kernel);
  symm(1.0, kernel, R, 0.0, Y);

  const matrix_view product = scope.matrix(m, m);
  gemm(1.0, transposed, V, plain, X, 0.0, product);
  gemm(1.0, transposed, R, plain, Y, 1.0, product);
  for (index_t j = 0; j < m; ++j)
    for (index_t i = j; i < m; ++i)
      curvature(i, j) += 0.5 * (product(i, j) + product(j, i));
}

}  // namespace corvane::model::ridge_regression_detail
