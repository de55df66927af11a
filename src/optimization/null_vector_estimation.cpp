// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/null_vector_estimation.h"

#include <cmath>
#include <memory>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane {

double pivot_bound(index_t pivot, double lambda, const_symmetric_view H,
                   const_symmetric_view factor) {
  if (pivot == 0) return -H(0, 0);
  scoped_allocator scope;
  const vector_view w = scope.vector(pivot);
  for (index_t j = 0; j < pivot; ++j) w[j] = factor(pivot, j);
  // What the failing pivot would have been: (-w, 1)'(H + lambda I)(-w, 1) = d <= 0.
  const double d = H(pivot, pivot) + lambda - dot(w, w);
  const const_matrix_block leading = const_matrix_block{factor}.part(0, 0, pivot, pivot);
  trsv(triangle::lower, transposed, leading, w);
  return lambda + (-d) / (1.0 + dot(w, w));
}

namespace {

// sum_{k} L(j, k) x_k of one row j, for either sign of the latest e_k.
struct row_sums {
  double plus;
  double minus;
};

using chosen_sum = double row_sums::*;

// Sets the sums of the rows below k for e_k = +1 and e_k = -1, each on top of the sums that
// `active` names, and returns the choice under which x and what follows it grow more. A tie
// takes -1.
chosen_sum grow_rows(const_symmetric_view factor, index_t k, chosen_sum active,
                     row_sums* sums) {
  const double x_plus = (1.0 - sums[k].*active) / factor(k, k);
  const double x_minus = (-1.0 - sums[k].*active) / factor(k, k);
  double growth_plus = std::abs(x_plus);
  double growth_minus = std::abs(x_minus);
  for (index_t j = k + 1; j < factor.rows(); ++j) {
    const double sum = sums[j].*active;
    sums[j].plus = x_plus * factor(j, k) + sum;
    sums[j].minus = x_minus * factor(j, k) + sum;
    growth_plus += std::abs(sums[j].plus) / factor(j, j);
    growth_minus += std::abs(sums[j].minus) / factor(j, j);
  }
  return growth_plus > growth_minus ? &row_sums::plus : &row_sums::minus;
}

}  // namespace

void sign_vector(const_symmetric_view factor, vector_view e) {
  scoped_allocator scope;
  const index_t n = factor.rows();
  auto* sums = scope.take<row_sums>(n, alignof(row_sums));
  std::uninitialized_fill_n(sums, n, row_sums{0.0, 0.0});
  chosen_sum active = &row_sums::plus;
  for (index_t k = 0; k < n; ++k) {
    active = grow_rows(factor, k, active, sums);
    e[k] = active == &row_sums::plus ? 1.0 : -1.0;
  }
}

}  // namespace corvane
