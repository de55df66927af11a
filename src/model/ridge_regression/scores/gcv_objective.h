// SPDX-License-Identifier: BSD-3-Clause
//
// gcv_objective: leave-one-out error in a rotated coordinate system in which every
// observation has the same weight in the fit (G. H. Golub, M. Heath, G. Wahba,
// "Generalized cross-validation as a method for choosing a good ridge parameter",
// Technometrics 21, 1979, section 2). With X = Q R and R = U S V' the rotation is
// F [U' 0; 0 I] Q', F the unitary Fourier matrix; before F the design is K = S V' above
// zeros, with k = min(n, p) rows. No row of F K is ever formed: for row x_f the leverage
// and the squares of the entries of a_f = inverse(M) inverse(D) x_f are sums of k cosines,
// and a weighted sum of products of two of these takes transforms of the weights alone.
// With G = K inverse(D) inverse(M),
//   leverage_f = sum over l of c_l cos(2 pi f l / n),   c_l from the l-th diagonal of
//                K inverse(A) K', and |a_fj|^2 likewise from that of G_j G_j',
//   sum over f of weight_f conj(a_fj) a_fk = G_j' T G_k / n,   T Toeplitz.
// An evaluation is O(n log n + k p^2) in place of O(n p^2).
#pragma once

#include "model/ridge_regression/scores/leave_one_out_sums.h"
#include "model/ridge_regression/scores/point_cache.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"
#include "model/ridge_regression/scores/ridge_solution.h"
#include "model/ridge_regression/scores/unitary_fourier_transform.h"

namespace corvane::model::ridge_regression_detail {

class gcv_objective final : public ridge_regression_objective {
 public:
  // Normalized y, n entries, and X, n by p. One that is moved in is never copied.
  gcv_objective(const_vector_view target, dense_matrix design,
                interruption* interruption = nullptr);

 private:
  // The data after the factorization of the design, before F.
  struct reduced_data {
    ridge_system system;
    dense_matrix design;  // K, k by p; the rows k .. n - 1 are zeros
    dense_vector target;  // n entries
  };
  // The residuals at a point. The last four have an entry for each of the bins 0 .. n / 2.
  struct residual_state {
    ridge_solution solution;
    dense_matrix W;  // K inverse(D) inverse(L'), k by p
    dense_vector d;
    dense_vector s_real;
    dense_vector s_imaginary;
    dense_vector s_squared;

    residual_state(index_t k, index_t p, index_t bins)
        : solution{p}, W{k, p}, d{bins}, s_real{bins}, s_imaginary{bins}, s_squared{bins} {}
  };

  static reduced_data reduce(const_vector_view target, dense_matrix&& design,
                             interruption* interruption);
  explicit gcv_objective(reduced_data&& reduced);

  bool evaluate(const_vector_view t, const penalty_groups& groups,
                const ridge_outputs& wanted) override;
  void compute_leverages(residual_state& state);
  void compute_residuals(residual_state& state);
  double sum_over_bins(const residual_state& at) const;
  // The sums for the derivatives.
  void add_derivatives(const residual_state& at, const penalty_groups& groups,
                       const leave_one_out_sums& sums);
  void add_curvature(const residual_state& at, const_matrix_block G, const_matrix_block R,
                     const penalty_groups& groups, matrix_block curvature);
  // The sums against cosines of weight(bin), and the vector with the bins factor(bin) s.
  template <class Weight>
  void sum_cosines(const residual_state& at, Weight weight, vector_view sums);
  template <class Factor>
  void from_bins(const residual_state& at, Factor factor, index_t first, vector_view x);

  dense_matrix design_;
  dense_vector target_;
  unitary_fourier_transform transform_;
  point_cache<residual_state> cache_;
};

}  // namespace corvane::model::ridge_regression_detail
