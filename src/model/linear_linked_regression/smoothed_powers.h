// SPDX-License-Identifier: BSD-3-Clause
//
// smoothed_powers: for every group of weights its own |w|^q, q = alpha^2 + 1, smoothed
// below the threshold s. The coefficients c(alpha) of the smoothing polynomial solve a
// linear system whose right side is the power's derivatives at s; so dc/dalpha and
// d2c/dalpha2 solve the same system with the alpha derivatives of these.
#pragma once

#include <array>

#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/power_function.h"
#include "model/linear_linked_regression/smoothing_basis.h"
#include "model/linear_linked_regression/smoothing_polynomial.h"

namespace corvane::model {

class smoothed_powers {
 public:
  // `alpha` has one entry per group. Coefficients are made for alpha derivatives up to
  // `highest_alpha_order`, in `scratch`, which must outlive this.
  smoothed_powers(const_vector_view alpha, double s, smoothing_basis basis,
                  int highest_alpha_order, scoped_allocator& scratch);

  // m-th derivative in w, j-th in alpha, of the function of `group`
  template <int m, int j>
  double derivative(index_t group, double w) const {
    if (is_in_smoothing_zone(w, threshold_))
      return smoothing_polynomial<m>(coefficients_[j].column(group), threshold_, w);
    return power_function{alpha_[group]}.derivative<m, j>(w);
  }

 private:
  const_vector_view alpha_;
  double threshold_;
  // 5 by G each: c, dc/dalpha and d2c/dalpha2, one column per group; empty with s = 0.0,
  // where no weight is below the threshold.
  std::array<const_matrix_view, 3> coefficients_;
};

}  // namespace corvane::model
