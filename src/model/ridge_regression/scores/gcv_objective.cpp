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
#include "model/ridge_regression/scores/gcv_objective.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// R = U diag(s) V', with as many singular values as R has rows: k = min(n, p).
struct triangle_decomposition {
  dense_matrix u;   // k by k
  dense_vector s;   // k
  dense_matrix vt;  // k by p
};

triangle_decomposition decompose(const_matrix_block triangle) {
  const index_t k = triangle.rows();
  dense_matrix destroyed{k, triangle.cols()};
  copy(triangle, destroyed);
  triangle_decomposition svd{dense_matrix{k, k}, dense_vector{k},
                             dense_matrix{k, triangle.cols()}};
  if (gesdd(svd_job::thin, destroyed, svd.s, svd.u, svd.vt) != 0)
    throw std::runtime_error{"the singular value decomposition of the design failed"};
  return svd;
}

// diag(s) V', the rows of the rotated design before the transform.
dense_matrix singular_rows(const triangle_decomposition& svd) {
  dense_matrix rows{svd.s.size(), svd.vt.cols()};
  for (index_t j = 0; j < rows.cols(); ++j)
    for (index_t i = 0; i < rows.rows(); ++i) rows(i, j) = svd.s[i] * svd.vt(i, j);
  return rows;
}

// The arguments of a weight.
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
// a diagonal off the main one counts twice.
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

// The design is factored in place, and its memory is freed on return.
gcv_objective::reduced_data gcv_objective::reduce(const_vector_view target,
                                                  dense_matrix&& design,
                                                  interruption* interruption) {
  dense_vector correlation = correlate(design, target);
  check(interruption);
  const design_factorization qr = factor_design(std::move(design), interruption);
  dense_matrix triangle = qr.triangle();
  const triangle_decomposition svd =
      decompose(const_matrix_block{triangle}.part_rows(0, qr.tau.size()));
  dense_vector y{target};
  check(interruption);
  apply(qr.record(), transposed, y.view());
  const vector_view in_range = y.view().part(0, svd.s.size());
  const dense_vector reflected{in_range};
  gemv(1.0, transposed, svd.u, reflected, 0.0, in_range);
  return {{std::move(triangle), std::move(correlation)}, singular_rows(svd), std::move(y)};
}

gcv_objective::gcv_objective(const_vector_view target, dense_matrix design,
                             interruption* interruption)
    : gcv_objective{reduce(target, std::move(design), interruption)} {}

gcv_objective::gcv_objective(reduced_data&& reduced)
    : ridge_regression_objective{std::move(reduced.system)},
      design_{std::move(reduced.design)},
      target_{std::move(reduced.target)},
      transform_{target_.size()},
      cache_{residual_state{design_.rows(), design_.cols(), transform_.bins()}} {}

bool gcv_objective::evaluate(const_vector_view t, const penalty_groups& groups,
                             const ridge_outputs& wanted) {
  const residual_state* at = cache_.at(t, [&](residual_state& state) {
    if (!state.solution.solve(system(), t)) return false;
    divide_columns(t, design_, state.W);
    trsm(side::right, triangle::lower, transposed, state.solution.cholesky, state.W);
    compute_leverages(state);
    compute_residuals(state);
    return true;
  });
  if (at == nullptr) return false;
  if (wanted.value != nullptr) *wanted.value = sum_over_bins(*at);
  if (wanted.derivatives_wanted()) {
    scoped_allocator scope;
    const leave_one_out_sums sums = take_sums(scope, t.size(), groups.count(), wanted);
    add_derivatives(*at, groups, sums);
    write_derivatives(at->solution, t, groups, sums, wanted);
  }
  return wanted.all_finite();
}

// d = 1 - leverage, K inverse(A) K' = W W'
void gcv_objective::compute_leverages(residual_state& state) {
  scoped_allocator scope;
  const index_t k = state.W.rows();
  const symmetric_view hat = scope.symmetric(k);
  syrk(1.0, plain, state.W, 0.0, hat);
  const vector_view amplitudes = scope.vector(k);
  std::fill(amplitudes.begin(), amplitudes.end(), 0.0);
  const const_matrix_block lower = hat;
  for (index_t m = 0; m < k; ++m)
    for (index_t i = m; i < k; ++i) amplitudes[i - m] += lower(i, m);
  scale_to_amplitudes(transform_.length(), amplitudes);
  transform_.to_cosines(amplitudes, state.d);
  for (double& d : state.d) d = 1.0 - d;
}

// s = (y - prediction) / d; before the transform the prediction is W z.
void gcv_objective::compute_residuals(residual_state& state) {
  scoped_allocator scope;
  const vector_view residual = scope.vector(target_.size());
  std::copy(target_.begin(), target_.end(), residual.begin());
  gemv(-1.0, plain, state.W, state.solution.z, 1.0, residual.part(0, state.W.rows()));
  transform_.to_bins(residual, state.s_real, state.s_imaginary);
  for (index_t f = 0; f < state.d.size(); ++f) {
    state.s_real[f] /= state.d[f];
    state.s_imaginary[f] /= state.d[f];
    state.s_squared[f] =
        state.s_real[f] * state.s_real[f] + state.s_imaginary[f] * state.s_imaginary[f];
  }
}

double gcv_objective::sum_over_bins(const residual_state& at) const {
  double sum = 0.0;
  for (index_t f = 0; f < at.d.size(); ++f)
    sum += transform_.multiplicity(f) * at.s_squared[f];
  return sum;
}

template <class Weight>
void gcv_objective::sum_cosines(const residual_state& at, Weight weight, vector_view sums) {
  scoped_allocator scope;
  const vector_view weights = scope.vector(at.d.size());
  for (index_t f = 0; f < at.d.size(); ++f)
    weights[f] = weight(bin{at.d[f], at.s_squared[f]});
  transform_.sum_cosines(weights, sums);
}

template <class Factor>
void gcv_objective::from_bins(const residual_state& at, Factor factor, index_t first,
                              vector_view x) {
  scoped_allocator scope;
  const vector_view real_part = scope.vector(at.d.size());
  const vector_view imaginary_part = scope.vector(at.d.size());
  for (index_t f = 0; f < at.d.size(); ++f) {
    const double times = factor(bin{at.d[f], at.s_squared[f]});
    real_part[f] = times * at.s_real[f];
    imaginary_part[f] = times * at.s_imaginary[f];
  }
  transform_.from_bins(real_part, imaginary_part, first, x);
}

void gcv_objective::add_derivatives(const residual_state& at, const penalty_groups& groups,
                                    const leave_one_out_sums& sums) {
  scoped_allocator scope;
  const index_t k = at.W.rows();
  const matrix_view a = scope.matrix(k, at.W.cols());
  copy(at.W, a);
  trsm(side::right, triangle::lower, plain, at.solution.cholesky, a);
  const const_matrix_block G = const_matrix_block{a}.part_columns(0, sums.g.size());
  const matrix_view R = scope.matrix(k, groups.count());
  fill_square_amplitudes(transform_.length(), G, groups, R);

  const vector_view tau = scope.vector(k);
  sum_cosines(
      at, [](const bin& f) { return 2.0 * f.s_squared / f.d; }, tau);
  gemv(1.0, transposed, R, tau, 0.0, sums.C_traces);
  const vector_view two_u = scope.vector(k);
  from_bins(
      at, [](const bin& f) { return 2.0 / f.d; }, 0, two_u);
  gemv(1.0, transposed, G, two_u, 0.0, sums.g);
  if (sums.C.rows() == 0) return;

  const matrix_view T = scope.matrix(k, k);
  const matrix_view TG = scope.matrix(k, G.cols());
  fill_toeplitz(tau, T);
  symm(1.0 / static_cast<double>(transform_.length()), T, G, 0.0, TG);
  gemmt(1.0, transposed, G, plain, TG, 0.0, sums.C);
  add_curvature(at, G, R, groups, sums.curvature);
}

// V' T V / n - 4 (V' H R + R' H' V) + R' S R is the symmetric part of V' X + R' Y, with
// X = T V / n - 8 H R and Y = S R.
void gcv_objective::add_curvature(const residual_state& at, const_matrix_block G,
                                  const_matrix_block R, const penalty_groups& groups,
                                  matrix_block curvature) {
  scoped_allocator scope;
  const index_t k = G.rows();
  const index_t m = groups.count();
  const vector_view tau = scope.vector(std::max<index_t>(2 * k - 1, 0));
  const vector_view x = scope.vector(std::max<index_t>(3 * k - 2, 0));
  const matrix_view kernel = scope.matrix(k, k);
  const matrix_view V = scope.matrix(k, m);
  const matrix_view X = scope.matrix(k, m);
  const matrix_view Y = scope.matrix(k, m);
  fill_prediction_slopes(G, at.solution.w, groups, V);

  sum_cosines(
      at, [](const bin& f) { return 2.0 / (f.d * f.d); }, tau.part(0, k));
  fill_toeplitz(tau, kernel);
  symm(1.0 / static_cast<double>(transform_.length()), kernel, V, 0.0, X);
  from_bins(
      at, [](const bin& f) { return 1.0 / (f.d * f.d); }, 1 - k, x);
  fill_shifts(x, kernel);
  gemm(-8.0, plain, kernel, plain, R, 1.0, X);
  sum_cosines(
      at, [](const bin& f) { return 6.0 * f.s_squared / (f.d * f.d); }, tau);
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
