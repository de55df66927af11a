// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/unitary_fourier_transform.h"

#include <algorithm>
#include <cmath>

#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Input and output of one transform of n entries.
struct transform_space {
  transform_space(scoped_allocator& scope, const real_fft& fft)
      : x{scope.vector(fft.length())},
        real_part{scope.vector(fft.bins())},
        imaginary_part{scope.vector(fft.bins())} {}

  void set_leading(const_vector_view entries) const {
    std::fill(std::copy(entries.begin(), entries.end(), x.begin()), x.end(), 0.0);
  }

  vector_view x;
  vector_view real_part;
  vector_view imaginary_part;
};

// An empty x has one bin, the empty sum.
double root_of_length(const real_fft& fft) {
  return std::sqrt(static_cast<double>(std::max<index_t>(fft.length(), 1)));
}

}  // namespace

void unitary_fourier_transform::to_bins(const_vector_view x, vector_view real_part,
                                        vector_view imaginary_part) {
  scoped_allocator scope;
  const transform_space space{scope, fft_};
  space.set_leading(x);
  fft_.forward(space.x, real_part, imaginary_part);
  const double root = root_of_length(fft_);
  for (double& entry : real_part) entry /= root;
  for (double& entry : imaginary_part) entry = -entry / root;
}

// With X = A + i B, A even and B odd in f,
//   x_i sqrt(n) = sum over f of A_f cos(2 pi f i / n) + B_f sin(2 pi f i / n):
// the real part less the imaginary part of the transform of A + B.
void unitary_fourier_transform::from_bins(const_vector_view real_part,
                                          const_vector_view imaginary_part, index_t first,
                                          vector_view x) {
  const index_t n = length();
  if (n == 0) return std::fill(x.begin(), x.end(), 0.0);
  scoped_allocator scope;
  const transform_space space{scope, fft_};
  for (index_t f = 0; f < std::min(bins(), n); ++f)
    space.x[f] = real_part[f] + imaginary_part[f];
  for (index_t f = bins(); f < n; ++f)
    space.x[f] = real_part[n - f] - imaginary_part[n - f];
  fft_.forward(space.x, space.real_part, space.imaginary_part);
  const double root = root_of_length(fft_);
  for (index_t k = 0; k < x.size(); ++k) {
    const index_t i = ((first + k) % n + n) % n;
    const double sum = i < bins() ? space.real_part[i] - space.imaginary_part[i]
                                  : space.real_part[n - i] + space.imaginary_part[n - i];
    x[k] = sum / root;
  }
}

void unitary_fourier_transform::to_cosines(const_vector_view amplitudes, vector_view c) {
  scoped_allocator scope;
  const transform_space space{scope, fft_};
  space.set_leading(amplitudes);
  fft_.forward(space.x, c, space.imaginary_part);
}

void unitary_fourier_transform::sum_cosines(const_vector_view weights, vector_view sums) {
  const index_t n = length();
  if (n == 0) return std::fill(sums.begin(), sums.end(), 0.0);
  scoped_allocator scope;
  const transform_space space{scope, fft_};
  for (index_t f = 0; f < n; ++f) space.x[f] = weights[std::min(f, n - f)];
  fft_.forward(space.x, space.real_part, space.imaginary_part);
  for (index_t k = 0; k < sums.size(); ++k)
    sums[k] = space.real_part[std::min(k % n, n - k % n)];
}

}  // namespace corvane::model::ridge_regression_detail
