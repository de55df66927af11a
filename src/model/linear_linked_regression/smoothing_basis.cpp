// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/smoothing_basis.h"

#include <array>

#include "common/linear_algebra.h"

namespace corvane::model {

namespace {

constexpr index_t size = num_smoothing_coefficients;

class factored_basis {
 public:
  factored_basis() {
    geqrf(matrix_view{factor_.data(), size, size}, {reflector_scalars_.data(), size});
  }
  qr_factorization view() const {
    return {0, 0, const_matrix_view{factor_.data(), size, size}, reflector_scalars_.data()};
  }

 private:
  // One line per column: u^2, u^4, |u|^5, u^6, |u|^7, each with its value and its four
  // derivatives at u = 1.
  std::array<double, size * size> factor_{1, 2, 2,  0,   0,    //
                                          1, 4, 12, 24,  24,   //
                                          1, 5, 20, 60,  120,  //
                                          1, 6, 30, 120, 360,  //
                                          1, 7, 42, 210, 840};
  std::array<double, size> reflector_scalars_{};
};

const factored_basis& shared_basis() {
  static const factored_basis shared;
  return shared;
}

}  // namespace

smoothing_basis::smoothing_basis() : basis_{shared_basis().view()} {}

void smoothing_basis::solve(double s, vector_view joined) const {
  double power = 1.0;  // s^k
  for (double& derivative : joined) {
    derivative *= power;
    power *= s;
  }
  apply(basis_, transposed, joined);
  solve_r(basis_, joined);
}

}  // namespace corvane::model
