// SPDX-License-Identifier: BSD-3-Clause
//
// A real vector of even length is packed into a complex one of half the length; an odd
// length is transformed as it is. The complex transform is that of kissfft, whose cost
// grows with the prime factors of the length; if that is cheaper, the length is changed by
// the algorithm of L. Bluestein, "A linear filtering approach to the computation of
// discrete Fourier transform", IEEE Trans. Audio Electroacoustics 18 (1970).
#include "common/real_fft.h"

#include <kissfft/kissfft.hh>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace corvane {

namespace {

using complex = std::complex<double>;
using complex_vector = std::vector<complex>;

constexpr index_t longest_length = index_t{1} << 31;
// The cost of kissfft for a length, in operations per entry: one for a prime factor up to
// 5, for which it has a kernel, and f for a larger one.
std::size_t transform_cost(std::size_t n) {
  const std::size_t length = n;
  std::size_t per_entry = 0;
  for (std::size_t factor = 2; factor * factor <= n; ++factor)
    for (; n % factor == 0; n /= factor) per_entry += factor <= 5 ? 1 : factor;
  if (n > 1) per_entry += n <= 5 ? 1 : n;
  return length * per_entry;
}

bool has_no_prime_factor_above_5(std::size_t n) {
  for (const auto factor : {std::size_t{2}, std::size_t{3}, std::size_t{5}})
    while (n % factor == 0) n /= factor;
  return n == 1;
}

// The convolution theorem needs room for the linear convolution of n by 2 n - 1 entries, of
// which n are used. Of the lengths from there on the first one that kissfft has a kernel
// for in each factor: a few percent longer, where a power of 2 may be twice as long.
std::size_t convolution_length(std::size_t n) {
  std::size_t length = 2 * n - 1;
  while (!has_no_prime_factor_above_5(length)) ++length;
  return length;
}

// The length itself, or the longer one if two transforms of it are cheaper.
std::size_t transform_length(std::size_t n) {
  const std::size_t longer = convolution_length(n);
  return transform_cost(n) <= 2 * transform_cost(longer) ? n : longer;
}

// exp(-2 pi i k / n) for k = 0 .. n / 2
complex_vector make_half_turn(std::size_t n) {
  complex_vector roots(n / 2 + 1);
  for (std::size_t k = 0; k < roots.size(); ++k)
    roots[k] = std::polar(
        1.0, -2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n));
  return roots;
}

// exp(-i pi j^2 / n). The phase has period 2 n in j^2, which integers follow without
// rounding: (j + 1)^2 = j^2 + 2 j + 1.
complex_vector make_chirp(std::size_t n) {
  complex_vector chirp(n);
  std::size_t phase = 0;
  for (std::size_t j = 0; j < n; ++j) {
    chirp[j] = std::polar(
        1.0, -std::numbers::pi * static_cast<double>(phase) / static_cast<double>(n));
    phase += 2 * j + 1;
    if (phase >= 2 * n) phase -= 2 * n;
  }
  return chirp;
}

}  // namespace

// The forward complex transform of `input` into `output`, both of n entries, n > 0.
class real_fft::complex_plan {
 public:
  explicit complex_plan(std::size_t n)
      : input(n), output(n), transform_{transform_length(n), false} {
    if (transform_length(n) != n) prepare_chirp(n);
  }

  void run() {
    if (chirp_.empty())
      transform_.transform(input.data(), output.data());
    else
      run_chirp();
  }

  complex_vector input;
  complex_vector output;

 private:
  void prepare_chirp(std::size_t n) {
    const std::size_t m = transform_length(n);
    chirp_ = make_chirp(n);
    padded_.assign(m, 0.0);
    product_.resize(m);
    filter_.resize(m);
    for (std::size_t j = 0; j < n; ++j) {
      padded_[j] = std::conj(chirp_[j]);
      if (j > 0) padded_[m - j] = std::conj(chirp_[j]);
    }
    transform_.transform(padded_.data(), filter_.data());
  }

  // With c the chirp, j k = (j^2 + k^2 - (k - j)^2) / 2 makes of the transform a
  // convolution:
  //   output_k = c_k sum over j of (input_j c_j) conj(c_(k - j)).
  // The transform back is the forward one between two conjugations.
  void run_chirp() {
    const std::size_t n = input.size();
    std::fill(padded_.begin(), padded_.end(), complex{});
    for (std::size_t j = 0; j < n; ++j) padded_[j] = input[j] * chirp_[j];
    transform_.transform(padded_.data(), product_.data());
    for (std::size_t k = 0; k < padded_.size(); ++k)
      product_[k] = std::conj(product_[k] * filter_[k]);
    transform_.transform(product_.data(), padded_.data());
    const double scale = 1.0 / static_cast<double>(padded_.size());
    for (std::size_t k = 0; k < n; ++k)
      output[k] = chirp_[k] * std::conj(padded_[k]) * scale;
  }

  kissfft<double> transform_;
  complex_vector chirp_;   // n entries, empty if the direct transform is used
  complex_vector filter_;  // the transform of the conjugate chirp, mirrored
  complex_vector padded_;
  complex_vector product_;
};

real_fft::real_fft(index_t n) : length_{n} {
  if (n > longest_length) throw std::length_error{"the Fourier transform is too long"};
  if (n > 1) plan_ = std::make_unique<complex_plan>(n % 2 == 0 ? n / 2 : n);
  if (n > 1 && n % 2 == 0) roots_ = make_half_turn(static_cast<std::size_t>(n));
}

real_fft::~real_fft() = default;

void real_fft::forward(const_vector_view x, vector_view real_part,
                       vector_view imaginary_part) {
  if (length_ <= 1) {
    real_part[0] = length_ == 1 ? x[0] : 0.0;
    imaginary_part[0] = 0.0;
    return;
  }
  if (length_ % 2 == 0) return transform_packed(x, real_part, imaginary_part);
  std::copy(x.begin(), x.end(), plan_->input.begin());
  plan_->run();
  for (index_t k = 0; k < bins(); ++k) {
    const complex bin = plan_->output[static_cast<std::size_t>(k)];
    real_part[k] = bin.real();
    imaginary_part[k] = bin.imag();
  }
}

// With h = n / 2 and z_j = x_(2 j) + i x_(2 j + 1), the transforms of the even and of the
// odd entries are the two symmetric halves of that of z:
//   even_k = (Z_k + conj(Z_(h - k))) / 2,   odd_k = (Z_k - conj(Z_(h - k))) / (2 i),
//   bin_k = even_k + exp(-2 pi i k / n) odd_k.
void real_fft::transform_packed(const_vector_view x, vector_view real_part,
                                vector_view imaginary_part) {
  const index_t h = length_ / 2;
  for (index_t j = 0; j < h; ++j)
    plan_->input[static_cast<std::size_t>(j)] = {x[2 * j], x[2 * j + 1]};
  plan_->run();
  for (index_t k = 0; k <= h; ++k) {
    // Z has period h.
    const auto here = static_cast<std::size_t>(k == h ? 0 : k);
    const auto there = static_cast<std::size_t>(k == 0 ? 0 : h - k);
    const complex z = plan_->output[here];
    const complex mirrored = std::conj(plan_->output[there]);
    const complex even = 0.5 * (z + mirrored);
    const complex odd = complex{0.0, -0.5} * (z - mirrored);
    const complex root = roots_[static_cast<std::size_t>(k)];
    // Written out: the operator checks each product for infinities.
    const complex bin = {even.real() + root.real() * odd.real() - root.imag() * odd.imag(),
                         even.imag() + root.real() * odd.imag() + root.imag() * odd.real()};
    real_part[k] = bin.real();
    imaginary_part[k] = bin.imag();
  }
}

}  // namespace corvane
