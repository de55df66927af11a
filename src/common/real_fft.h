// SPDX-License-Identifier: BSD-3-Clause
//
// real_fft: the forward discrete Fourier transform of real vectors of any length, unscaled,
//   bin_k = sum over j of x_j exp(-2 pi i j k / n),   k = 0 .. n / 2,
// which is half of the spectrum: the other bins are the conjugates of these. A plan is made
// once for a length and transforms any number of vectors. It has a work space, so that it
// may be used by one thread at a time.
#pragma once

#include <complex>
#include <memory>
#include <vector>

#include "n_array/n_array_view.h"

namespace corvane {

class real_fft {
 public:
  // Throws std::length_error when n is above 2^31: the chirp's phase is an exact integer
  // only up to there.
  explicit real_fft(index_t n);
  real_fft(const real_fft&) = delete;
  real_fft& operator=(const real_fft&) = delete;
  real_fft(real_fft&&) = delete;
  real_fft& operator=(real_fft&&) = delete;
  ~real_fft();

  index_t length() const { return length_; }
  index_t bins() const { return length_ / 2 + 1; }

  // x has n entries; the parts have n / 2 + 1 each and do not overlap x. With n = 0 the one
  // bin is 0, the empty sum.
  void forward(const_vector_view x, vector_view real_part, vector_view imaginary_part);

 private:
  class complex_plan;
  void transform_packed(const_vector_view x, vector_view real_part,
                        vector_view imaginary_part);

  index_t length_;
  std::unique_ptr<complex_plan> plan_;
  std::vector<std::complex<double>> roots_;  // exp(-2 pi i k / n) of an even n
};

}  // namespace corvane
