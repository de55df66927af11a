// SPDX-License-Identifier: BSD-3-Clause
#include "common/real_fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "n_array/n_array.h"

namespace corvane {

namespace {

using complex = std::complex<double>;

dense_vector random_vector(index_t n, unsigned seed) {
  std::mt19937 generator{seed};
  std::normal_distribution<double> normal;
  dense_vector x{n};
  for (double& entry : x) entry = normal(generator);
  return x;
}

// Bins 0 .. n / 2 by the definition, in extended precision.
std::vector<complex> defined_bins(const dense_vector& x) {
  const index_t n = x.size();
  std::vector<complex> bins;
  for (index_t k = 0; k <= n / 2; ++k) {
    std::complex<long double> sum{};
    for (index_t j = 0; j < n; ++j) {
      const auto turns = static_cast<long double>(j * k % n) / static_cast<long double>(n);
      sum += static_cast<long double>(x[j]) *
             std::polar(1.0L, -2.0L * std::numbers::pi_v<long double> * turns);
    }
    bins.emplace_back(static_cast<double>(sum.real()), static_cast<double>(sum.imag()));
  }
  return bins;
}

std::vector<complex> transformed(real_fft& fft, const dense_vector& x) {
  dense_vector real_part{fft.bins()};
  dense_vector imaginary_part{fft.bins()};
  fft.forward(x, real_part, imaginary_part);
  std::vector<complex> bins;
  for (index_t k = 0; k < fft.bins(); ++k)
    bins.emplace_back(real_part[k], imaginary_part[k]);
  return bins;
}

void expect_defined_bins(index_t n) {
  SCOPED_TRACE(n);
  const dense_vector x = random_vector(n, static_cast<unsigned>(n));
  real_fft fft{n};
  const auto bins = transformed(fft, x);
  const auto expected = defined_bins(x);
  ASSERT_EQ(bins.size(), expected.size());
  double norm = 1.0;
  for (const double entry : x) norm += std::abs(entry);
  for (std::size_t k = 0; k < bins.size(); ++k)
    EXPECT_LE(std::abs(bins[k] - expected[k]), 2e-15 * norm) << "bin " << k;
}

}  // namespace

TEST(real_fft, equals_its_definition_at_every_small_length) {
  for (index_t n = 0; n <= 130; ++n) expect_defined_bins(n);
}

TEST(real_fft, equals_its_definition_at_primes_and_at_twice_a_prime) {
  for (const index_t n : {211, 257, 499, 509, 1009, 422, 442, 1018, 1700})
    expect_defined_bins(n);
}

TEST(real_fft, has_one_bin_more_than_half_of_the_length) {
  EXPECT_EQ(real_fft{0}.bins(), 1);
  EXPECT_EQ(real_fft{1}.bins(), 1);
  EXPECT_EQ(real_fft{2}.bins(), 2);
  EXPECT_EQ(real_fft{7}.bins(), 4);
  EXPECT_EQ(real_fft{8}.bins(), 5);
}

TEST(real_fft, one_plan_serves_any_number_of_vectors) {
  for (const index_t n : {60, 61, 118}) {
    real_fft fft{n};
    const dense_vector x = random_vector(n, 1);
    const auto before = transformed(fft, x);
    transformed(fft, random_vector(n, 2));
    EXPECT_EQ(transformed(fft, x), before) << n;
  }
}

TEST(real_fft, bins_that_are_their_own_conjugates_are_real) {
  for (const index_t n : {2, 4, 106, 107}) {
    real_fft fft{n};
    const auto bins = transformed(fft, random_vector(n, 3));
    EXPECT_NEAR(bins.front().imag(), 0.0, 1e-13) << n;
    if (n % 2 == 0) {
      EXPECT_NEAR(bins.back().imag(), 0.0, 1e-13) << n;
    }
  }
}

// 100003 is prime and 200006 twice a prime: only the chirp transform is fast there. The
// energy of all bins is n times that of the entries (Parseval).
TEST(real_fft, keeps_the_energy_at_a_large_prime_length) {
  for (const index_t n : {100003, 200006}) {
    real_fft fft{n};
    const dense_vector x = random_vector(n, 4);
    double energy = 0.0;
    for (const double entry : x) energy += entry * entry;
    const auto bins = transformed(fft, x);
    double bin_energy = std::norm(bins[0]);
    for (std::size_t k = 1; k < bins.size(); ++k) {
      const bool is_its_own_twin = 2 * k == static_cast<std::size_t>(n);
      bin_energy += (is_its_own_twin ? 1.0 : 2.0) * std::norm(bins[k]);
    }
    EXPECT_NEAR(bin_energy / static_cast<double>(n) / energy, 1.0, 1e-13) << n;
  }
}

// The round trip: of a vector y with the bins of x as its entries, the transform of
// real part + imaginary part (the Hartley transform, its own inverse up to n) gives x back.
TEST(real_fft, a_round_trip_at_a_large_prime_length_gives_the_vector_back) {
  constexpr index_t n = 100003;
  real_fft fft{n};
  const auto hartley = [&fft](const dense_vector& x) {
    const auto bins = transformed(fft, x);
    dense_vector y{n};
    for (index_t k = 0; k < n; ++k) {
      const bool is_kept = k < fft.bins();
      const complex bin = bins[static_cast<std::size_t>(is_kept ? k : n - k)];
      y[k] = bin.real() + (is_kept ? -bin.imag() : bin.imag());
    }
    return y;
  };
  const dense_vector x = random_vector(n, 5);
  const dense_vector back = hartley(hartley(x));
  double largest_error = 0.0;
  for (index_t i = 0; i < n; ++i)
    largest_error =
        std::max(largest_error, std::abs(back[i] / static_cast<double>(n) - x[i]));
  EXPECT_LT(largest_error, 1e-13);
}

TEST(real_fft, a_length_above_two_to_the_31_is_refused) {
  EXPECT_THROW(real_fft{(index_t{1} << 31) + 1}, std::length_error);
}

}  // namespace corvane
