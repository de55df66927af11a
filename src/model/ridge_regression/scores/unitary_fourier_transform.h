// SPDX-License-Identifier: BSD-3-Clause
//
// Between n real numbers x_i and the n bins of their unitary Fourier transform, conjugated,
//   X_f = sum over i of x_i exp(2 pi i f i / n) / sqrt(n).
// Bin n - f is the conjugate of bin f, so that bins 0 .. n / 2 determine all. Sums of a
// real weight over all bins against cosines are transforms too. Each call is one real
// transform.
#pragma once

#include "common/real_fft.h"

namespace corvane::model::ridge_regression_detail {

class unitary_fourier_transform {
 public:
  explicit unitary_fourier_transform(index_t n) : fft_{n} {}

  index_t length() const { return fft_.length(); }  // n
  index_t bins() const { return fft_.bins(); }      // n / 2 + 1
  // 2 where bin f has a conjugate of another number, else 1.
  double multiplicity(index_t f) const { return f > 0 && f < length() - f ? 2.0 : 1.0; }

  // X of x, whose entries behind those given are zeros.
  void to_bins(const_vector_view x, vector_view real_part, vector_view imaginary_part);
  // x of X. Entry k is x_(first + k), where x has period n.
  void from_bins(const_vector_view real_part, const_vector_view imaginary_part,
                 index_t first, vector_view x);
  // c_f = sum over k of amplitudes_k cos(2 pi f k / n), for the bins 0 .. n / 2
  void to_cosines(const_vector_view amplitudes, vector_view c);
  // sums_k = sum over all n bins of weights_f cos(2 pi f k / n), weights_f = weights_(n-f)
  void sum_cosines(const_vector_view weights, vector_view sums);

 private:
  real_fft fft_;
};

}  // namespace corvane::model::ridge_regression_detail
