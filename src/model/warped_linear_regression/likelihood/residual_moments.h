// SPDX-License-Identifier: BSD-3-Clause
//
// The sums over the targets from which value, gradient and Hessian of the concentrated
// likelihood are computed, with r the residual of the latents z(y; theta) on the columns of
// a design and Jr the derivatives of r in theta. As r is orthogonal to the design, the
// second derivatives of z may replace those of r.
#pragma once

#include "model/warped_linear_regression/likelihood/target_cells.h"
#include "n_array/n_array.h"

namespace corvane::model {

// The targets beside an orthonormal basis Q of the columns of the design.
class projected_targets {
 public:
  projected_targets() = default;
  // Takes y (n entries) and [1 Q], Q n by p; both are finite.
  projected_targets(const_vector_view y, dense_matrix&& ones_and_basis,
                    interruption* interrupt = nullptr);

  const target_cells& cells() const { return cells_; }  // y - mean, with the rows (1, q_i)
  index_t num_targets() const { return cells_.y().size(); }
  index_t num_basis_columns() const { return basis_sums_.size(); }  // p
  double mean() const { return mean_; }                             // of y
  const_vector_view basis_sums() const { return basis_sums_; }      // Q'1

 private:
  dense_vector basis_sums_;
  double mean_ = 0.0;
  target_cells cells_;
};

struct residual_moments {
  // For m parameters in blocks of which `num_pairs` pairs are packed in all.
  residual_moments(index_t m, index_t num_pairs)
      : slope(m),
        gram(m, m),
        curvature(num_pairs),
        log_jacobian_gradient(m),
        log_jacobian_hessian(m, m) {}

  double sum_of_squares = 0.0;            // r'r
  double log_jacobian = 0.0;              // L, the sum of log dz/dy
  dense_vector slope;                     // Jr'r
  symmetric_matrix gram;                  // Jr'Jr
  dense_vector curvature;                 // r'd2z, packed
  dense_vector log_jacobian_gradient;     // dL
  symmetric_matrix log_jacobian_hessian;  // d2L
};

}  // namespace corvane::model
