// SPDX-License-Identifier: BSD-3-Clause
//
// The second derivatives d2z_ab = X d2w_ab and d2h_ab enter the Hessian only as the sums
// u'd2z_ab and v'd2h_ab, u = c1 a, v = c1 b. These are found without the derivatives: with
//   W = H^-1 X' diag(v) X H^-1,  omega = diag(W),  q_i = x_i' W x_i
//   v'd2h_ab = 2 tr(dH_a H^-1 dH_b W) - <d2H_ab, W>
// where d2H_ab = X' diag(l4 dz_a dz_b + l3 d2z_ab) X + diag(d2r2/dadb + dr3/da dw_b
// + dr3/db dw_a + r3 d2w_ab + r4 dw_a dw_b). What then multiplies d2w_ab is one vector s,
// and H d2w_ab is known from differentiating the inner gradient twice, so that
//   s'd2w_ab = mu'(H d2w_ab),  mu = H^-1 s,  s = X'(u - l3 q) - r3 omega
//   H d2w_ab = -(X'(l3 dz_a dz_b) + dr2/da dw_b + dr2/db dw_a + d2r1/dadb + r3 dw_a dw_b).
// The work for a pair of hyperparameters is thus that of its own sums over n and p.
#include "model/linear_linked_regression/detail/loo_chain_rule.h"

#include <algorithm>
#include <array>
#include <optional>

#include "common/finite.h"
#include "common/vector_dispatch.h"
#include "model/linear_linked_regression/detail/observation_products.h"
#include "model/linear_linked_regression/detail/pairwise_forms.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// Per sample: derivatives of the loss at z (l3, l4) and at zeta (c1, c2), and what they
// make of the two variables z and h that zeta depends on.
struct sample_derivatives {
  sample_derivatives(scoped_allocator& scratch, index_t n)
      : l3{scratch.vector(n)},
        l4{scratch.vector(n)},
        c1{scratch.vector(n)},
        c2{scratch.vector(n)},
        u{scratch.vector(n)},
        v{scratch.vector(n)},
        zz{scratch.vector(n)},
        zh{scratch.vector(n)},
        hh{scratch.vector(n)} {}

  vector_view l3, l4, c1, c2;
  vector_view u;   // dl/dz  = c1 a
  vector_view v;   // dl/dh  = c1 b
  vector_view zz;  // d2l/dz2  = c2 a^2 + c1 da/dz
  vector_view zh;  // d2l/dzdh = c2 a b + c1 da/dh
  vector_view hh;  // d2l/dh2  = c2 b^2 + c1 db/dh
};

bool differentiate_loss(const linear_loss_link& link, const inner_optimum& optimum,
                        const sample_derivatives& at) {
  const const_vector_view y = optimum.y;
  if (link.can_compute_jointly()) {
    link.compute_jointly(y, optimum.predictions, {{}, {}, {}, at.l3, at.l4});
    link.compute_jointly(y, optimum.loo_predictions, {{}, at.c1, at.c2, {}, {}});
    return true;
  }
  return link.compute_third_derivative(y, optimum.predictions, at.l3) &&
         link.compute_fourth_derivative(y, optimum.predictions, at.l4) &&
         link.compute_first_derivative(y, optimum.loo_predictions, at.c1) &&
         link.compute_second_derivative(y, optimum.loo_predictions, at.c2);
}

// Derivatives of a sample's loss at zeta as a function of z and h.
struct chained_derivatives {
  double u, v, zz, zh, hh;
};

// e = 1 - h l2, where h l2 is the leverage of the sample. If e is 0 the sample alone
// determines its prediction, and the derivatives are not finite.
inline chained_derivatives chain_sample(double h, double l1, double l2, double l3,
                                        double l4, double c1, double c2) {
  const double r = 1.0 / (1.0 - h * l2);  // 1 / e
  // a = dzeta/dz and b = dzeta/dh
  const double a = h * l2 * r + 1.0 + l3 * l1 * h * h * (r * r);
  const double b = l1 * (r * r);
  const double da_dz = (h * l3 + (l2 * l3 + l1 * l4) * h * h) * (r * r) +
                       2.0 * l1 * h * h * h * l3 * l3 * (r * r * r);
  const double da_dh = 2.0 * l1 * h * l3 * (r * r * r) + l2 * (r * r);
  const double db_dh = 2.0 * l1 * l2 * (r * r * r);
  return {c1 * a, c1 * b, da_dz * c1 + a * a * c2, da_dh * c1 + a * b * c2,
          db_dh * c1 + b * b * c2};
}

// By blocks, whose results stand apart from the arguments: so many arrays that might
// overlap would keep the loop from becoming vector instructions.
constexpr index_t block_size = 256;

void differentiate_samples(const inner_optimum& optimum, const sample_derivatives& at) {
  run_vectorized([&optimum, &at](auto /*width*/) {
    std::array<std::array<double, block_size>, 5> out;
    for (index_t first = 0; first < at.u.size(); first += block_size) {
      const index_t count = std::min(block_size, at.u.size() - first);
      const double* const h = optimum.leverages.data() + first;
      const double* const l1 = optimum.l1.data() + first;
      const double* const l2 = optimum.l2.data() + first;
      const double* const l3 = at.l3.data() + first;
      const double* const l4 = at.l4.data() + first;
      const double* const c1 = at.c1.data() + first;
      const double* const c2 = at.c2.data() + first;
      for (index_t i = 0; i < count; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const chained_derivatives of =
            chain_sample(h[i], l1[i], l2[i], l3[i], l4[i], c1[i], c2[i]);
        out[0][k] = of.u;
        out[1][k] = of.v;
        out[2][k] = of.zz;
        out[3][k] = of.zh;
        out[4][k] = of.hh;
      }
      const std::array targets{at.u, at.v, at.zz, at.zh, at.hh};
      for (std::size_t which = 0; which < targets.size(); ++which)
        std::copy_n(out[which].begin(), count, targets[which].begin() + first);
    }
  });
}

// What stands in place of the second derivatives of the optimum.
struct adjoint {
  adjoint(scoped_allocator& scratch, index_t n, index_t p)
      : whitened_gram{scratch.matrix(p, p)},
        omega{scratch.vector(p)},
        q{scratch.vector(n)},
        mu{scratch.vector(p)},
        X_mu{scratch.vector(n)} {}

  matrix_view whitened_gram;  // L^-1 X' diag(v) X L^-T
  vector_view omega;          // diag(W)
  vector_view q;              // x_i' W x_i
  vector_view mu;             // H^-1 s
  vector_view X_mu;
};

// W and what is read off it.
void fill_leverage_adjoint(const inner_optimum& optimum, const_vector_view v,
                           const adjoint& to) {
  scoped_allocator scratch;
  const matrix_view gram = to.whitened_gram;
  weighted_gram(optimum.X, v, gram, optimum.interrupt);
  mirror_lower(gram);
  divide_by_factor(plain, optimum.hessian_factor, gram);
  // W = L^-T (L^-1 X' diag(v) X L^-T) L^-1
  const matrix_view W = scratch.matrix(gram.rows(), gram.cols());
  copy(gram, W);
  divide_by_factor(transposed, optimum.hessian_factor, W);
  for (index_t k = 0; k < W.rows(); ++k) to.omega[k] = W(k, k);
  quadratic_forms(optimum.X, W, to.q, optimum.interrupt);
}

// mu = H^-1 s
void fill_weight_adjoint(const inner_optimum& optimum, const penalty_derivatives& penalty,
                         const sample_derivatives& at, const adjoint& to) {
  scoped_allocator scratch;
  const vector_view t = scratch.vector(at.u.size());
  for (index_t i = 0; i < t.size(); ++i) t[i] = at.u[i] - at.l3[i] * to.q[i];
  gemv(1.0, transposed, optimum.X, t, 0.0, to.mu);
  for (index_t k = 0; k < to.mu.size(); ++k) to.mu[k] -= penalty.r3[k] * to.omega[k];
  trsv(triangle::lower, plain, optimum.hessian_factor, to.mu);
  trsv(triangle::lower, transposed, optimum.hessian_factor, to.mu);
  gemv(1.0, plain, optimum.X, to.mu, 0.0, to.X_mu);
}

// Everything that is a sum over samples of products of dz and dh.
void add_sample_terms(const optimum_derivatives& moves, const sample_derivatives& at,
                      const adjoint& from, symmetric_view hessian) {
  scoped_allocator scratch;
  const index_t n = moves.dz.rows();
  const vector_view t = scratch.vector(n);
  for (index_t i = 0; i < n; ++i)
    t[i] = at.zz[i] - at.l4[i] * from.q[i] - at.l3[i] * from.X_mu[i];
  for_each_row_block(moves.dz, nullptr, [&](const_matrix_block rows, index_t first) {
    add_weighted_gram(rows, t.part(first, rows.rows()), hessian);
  });
  for_each_row_block(moves.dh, nullptr, [&](const_matrix_block rows, index_t first) {
    add_weighted_gram(rows, const_vector_view{at.hh}.part(first, rows.rows()), hessian);
  });
  // dz_a' diag(zh) dh_b + dh_a' diag(zh) dz_b
  const matrix_view scaled = scratch.matrix(n, moves.dz.cols());
  for (index_t a = 0; a < scaled.cols(); ++a)
    for (index_t i = 0; i < n; ++i) scaled(i, a) = at.zh[i] * moves.dz(i, a);
  syr2k(1.0, transposed, scaled, moves.dh, 1.0, hessian);
}

// 2 tr(dH_a H^-1 dH_b W): with E the whitened dH and G the whitened Gram matrix it is
// 2 tr(E_a E_b G) = 2 <E_a, E_b G>, as E_a is symmetric.
void add_curvature_terms(const_matrix_view whitened_dH, const_matrix_view whitened_gram,
                         symmetric_view hessian) {
  scoped_allocator scratch;
  const index_t p = whitened_gram.rows();
  const index_t Q = hessian.rows();
  const const_matrix_block E = whitened_dH;
  const matrix_view product = scratch.matrix(p, p);
  for (index_t b = 0; b < Q; ++b) {
    const const_matrix_block E_b{E.column(b).data(), p, p, p};
    gemm(1.0, plain, E_b, plain, whitened_gram, 0.0, product);
    // Entries (b, b) to (Q - 1, b) stand one behind the other.
    gemv(2.0, transposed, E.part_columns(b, Q - b), {product.data(), product.size()}, 1.0,
         {&hessian(b, b), Q - b});
  }
}

// hessian_ab -= sum_k weights_k rows_ab,k over the stored entries of a row per pair.
void subtract_pair_rows(const sparse_matrix& rows, const_vector_view weights,
                        symmetric_view hessian) {
  if (rows.empty()) return;
  const index_t Q = hessian.rows();
  for (index_t a = 0; a < Q; ++a)
    for (index_t b = a; b < Q; ++b) {
      const index_t pair = pair_index(a, b, Q);
      const const_vector_view values = rows.row_values(pair);
      const const_index_view columns = rows.row_columns(pair);
      for (index_t e = 0; e < values.size(); ++e)
        hessian(b, a) -= weights[columns[e]] * values[e];
    }
}

// hessian_ab -= sum_k weights_k (rows_a,k dw_b,k + rows_b,k dw_a,k)
void subtract_crossed_rows(const sparse_matrix& rows, const_vector_view weights,
                           const_matrix_view dW, symmetric_view hessian) {
  if (rows.empty()) return;
  scoped_allocator scratch;
  const index_t Q = hessian.rows();
  const matrix_view scaled = scratch.matrix(dW.rows(), Q);
  for (index_t b = 0; b < Q; ++b)
    for (index_t k = 0; k < dW.rows(); ++k) scaled(k, b) = weights[k] * dW(k, b);
  for (index_t a = 0; a < Q; ++a) {
    const const_vector_view values = rows.row_values(a);
    const const_index_view columns = rows.row_columns(a);
    for (index_t b = 0; b < Q; ++b) {
      double sum = 0.0;
      for (index_t e = 0; e < values.size(); ++e) sum += values[e] * scaled(columns[e], b);
      hessian(std::max(a, b), std::min(a, b)) -= a == b ? 2.0 * sum : sum;
    }
  }
}

// Everything that is a sum over weights: the diagonal parts of d2H_ab under omega, and
// those of H d2w_ab under mu.
void add_weight_terms(const optimum_derivatives& moves, const penalty_derivatives& penalty,
                      const adjoint& from, symmetric_view hessian) {
  scoped_allocator scratch;
  const vector_view t = scratch.vector(from.mu.size());
  for (index_t k = 0; k < t.size(); ++k)
    t[k] = -penalty.r4[k] * from.omega[k] - penalty.r3[k] * from.mu[k];
  add_weighted_gram(moves.dW, t, hessian);
  subtract_pair_rows(penalty.curvature_hessian, from.omega, hessian);
  subtract_pair_rows(penalty.gradient_hessian, from.mu, hessian);
  subtract_crossed_rows(penalty.third_derivative, from.omega, moves.dW, hessian);
  subtract_crossed_rows(penalty.curvature_derivative, from.mu, moves.dW, hessian);
}

}  // namespace

bool compute_loo_gradient_hessian(const linear_loss_link& link, const regularizer& penalty,
                                  const inner_optimum& optimum, vector_view gradient,
                                  symmetric_view hessian) {
  scoped_allocator scratch;
  const sample_derivatives at{scratch, optimum.X.rows()};
  if (!differentiate_loss(link, optimum, at)) return false;
  const auto of_penalty = differentiate_penalty(penalty, optimum.theta, optimum.weights);
  if (!of_penalty) return false;
  if (optimum.theta.size() == 0) return true;  // nothing to differentiate by

  differentiate_samples(optimum, at);
  const optimum_derivatives moves = differentiate_optimum(scratch, optimum, *of_penalty);
  std::optional<pairwise_forms> forms;
  matrix_view whitened_dH;
  if (pairwise_forms::is_worthwhile(optimum)) {
    forms.emplace(scratch, optimum, *of_penalty, at.l3, moves.dW, moves.dz);
    forms->differentiate_leverages(moves.dh);
  } else {
    whitened_dH = differentiate_leverages(scratch, optimum, *of_penalty, at.l3, moves);
  }
  gemv(1.0, transposed, moves.dz, at.u, 0.0, gradient);
  gemv(1.0, transposed, moves.dh, at.v, 1.0, gradient);

  const adjoint second{scratch, optimum.X.rows(), optimum.X.cols()};
  fill_leverage_adjoint(optimum, at.v, second);
  fill_weight_adjoint(optimum, *of_penalty, at, second);
  fill_lower(hessian, 0.0);
  add_sample_terms(moves, at, second, hessian);
  if (forms)
    forms->add_curvature_terms(at.v, hessian);
  else
    add_curvature_terms(whitened_dH, second.whitened_gram, hessian);
  add_weight_terms(moves, *of_penalty, second, hessian);
  return all_finite(gradient) && all_finite(hessian);
}

}  // namespace corvane::model::linear_linked_regression_detail
