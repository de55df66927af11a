// SPDX-License-Identifier: BSD-3-Clause
//
// The leave-one-out sum of squares over the rows of F K and F y, where F is the unitary
// Fourier matrix of bin_transform and K has k rows that are not zero, k = min(n, p). No row
// of F K is ever formed. For row x_f the leverage and the squares of the entries of a_f =
// inverse(M) inverse(D) x_f are sums of k cosines, and a weighted sum of products of two of
// these takes transforms of the weights alone. With G = K inverse(D) inverse(M),
//   leverage_f = sum over l of c_l cos(2 pi f l / n),   c_l from the l-th diagonal of
//                K inverse(A) K', and |a_fj|^2 likewise from that of G_j G_j',
//   sum over f of weight_f conj(a_fj) a_fk = G_j' T G_k / n,   T Toeplitz.
// An evaluation is O(n log n + k p^2) in place of O(n p^2).
#pragma once

#include "model/ridge_regression/scores/bin_transform.h"
#include "model/ridge_regression/scores/leave_one_out_sums.h"

namespace corvane::model::ridge_regression_detail {

// Before the transform.
struct rotated_problem {
  dense_matrix design;  // K, k by p; the rows k .. n - 1 are zeros
  dense_vector target;  // y, n entries
};

// The score at the point that it was last moved to.
class gcv_score {
 public:
  explicit gcv_score(rotated_problem&& problem);

  // Does nothing at the point where it is. False when the fit is undefined at t.
  bool move_to(const ridge_system& system, const_vector_view t);

  const solved_point& point() const { return point_; }
  double value() const;
  // The sums that the derivatives are made of.
  void add_derivatives(const penalty_groups& groups, const leave_one_out_sums& sums);

 private:
  void compute_leverages();
  void compute_residuals();
  void add_curvature(const_matrix_block G, const_matrix_block R,
                     const penalty_groups& groups, matrix_block curvature);
  // The sums against cosines of weight(bin), and the vector with the bins factor(bin) s.
  template <class Weight>
  void sum_cosines(Weight weight, vector_view sums);
  template <class Factor>
  void from_bins(Factor factor, index_t first, vector_view x);

  rotated_problem problem_;
  bin_transform transform_;
  solved_point point_;
  dense_matrix W_;  // K inverse(D) inverse(L'), k by p
  // One entry for each of the bins 0 .. n / 2.
  dense_vector d_;
  dense_vector s_real_;
  dense_vector s_imaginary_;
  dense_vector s_squared_;
};

}  // namespace corvane::model::ridge_regression_detail
