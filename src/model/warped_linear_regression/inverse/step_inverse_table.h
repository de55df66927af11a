// SPDX-License-Identifier: BSD-3-Clause
//
// A table of the inverse of a sum of tanh steps on an interval of latents: cubic Hermite
// polynomials between equidistant latents v_j, from x_j = f^-1(v_j) and 1 / f'(x_j). It
// gives start points for an iteration, without a bound of their error.
#pragma once

#include "common/scoped_allocator.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

class step_inverse_table {
 public:
  // Of `num_cells` polynomials on [first, last], taken from `scope`. Over an interval whose
  // width is 0 or overflows it gives NaN.
  step_inverse_table(scoped_allocator& scope, double first, double last, index_t num_cells);

  index_t num_knots() const { return num_cells_ + 1; }
  double knot(index_t j) const;  // v_j

  // From x_j and f'(x_j) at each knot.
  void fill(const_vector_view x, const_vector_view slopes);

  // x = f^-1(latent), nearly; the latents lie in [first, last].
  void interpolate(const_vector_view latent, vector_view x) const;

 private:
  static constexpr index_t num_coefficients = 4;

  double first_;
  double last_;
  double width_;  // of a cell
  index_t num_cells_;
  double* coefficients_;  // of the powers of (v - v_j) / width, cell after cell
};

}  // namespace corvane::model::tanh_warper_detail
