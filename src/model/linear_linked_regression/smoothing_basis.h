// SPDX-License-Identifier: BSD-3-Clause
//
// smoothing_basis: finds the polynomial that takes the place of an even function f near
// zero,
//   phi(w) = c0 u^2 + c1 u^4 + c2 |u|^5 + c3 u^6 + c4 |u|^7,   u = w / s,  |w| < s,
// and meets f at s in value and four derivatives. With M the 5 by 5 matrix of the basis
// functions' derivatives at u = 1 that is M c = (f(s), f'(s) s, ..., f''''(s) s^4).
//
// M = Q R is factored once, on first use, and kept until the process ends.
#pragma once

#include "common/qr_factorization.h"
#include "n_array/n_array_view.h"

namespace corvane::model {

inline constexpr index_t num_smoothing_coefficients = 5;

// A look at the one factorization; construction from several threads is safe.
class smoothing_basis {
 public:
  smoothing_basis();

  // Takes f and its four derivatives at s, and leaves c0 to c4 in their place.
  void solve(double s, vector_view joined) const;

 private:
  qr_factorization basis_;
};

}  // namespace corvane::model
