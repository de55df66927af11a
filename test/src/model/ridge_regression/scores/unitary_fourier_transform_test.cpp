// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/unitary_fourier_transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Even, odd, prime and shortest lengths.
const std::vector<index_t> lengths{1, 2, 3, 4, 7, 12, 53, 60};

double angle(index_t n, index_t f, index_t i) {
  return 2.0 * std::numbers::pi * static_cast<double>(f * i % n) / static_cast<double>(n);
}

dense_vector waves(index_t size, double speed) {
  dense_vector x{size};
  for (index_t i = 0; i < size; ++i) x[i] = std::sin(speed * static_cast<double>(i) + 1.0);
  return x;
}

}  // namespace

TEST(unitary_fourier_transform, bins_are_the_unitary_sums_with_a_positive_exponent) {
  for (const index_t n : lengths) {
    unitary_fourier_transform transform{n};
    const dense_vector x = waves(n / 2 + 1, 0.7);  // zeros follow
    dense_vector real_part{transform.bins()};
    dense_vector imaginary_part{transform.bins()};
    transform.to_bins(x.view().part(0, std::min(n, x.size())), real_part, imaginary_part);
    for (index_t f = 0; f < transform.bins(); ++f) {
      double cosines = 0.0;
      double sines = 0.0;
      for (index_t i = 0; i < std::min(n, x.size()); ++i) {
        cosines += x[i] * std::cos(angle(n, f, i));
        sines += x[i] * std::sin(angle(n, f, i));
      }
      EXPECT_NEAR(real_part[f], cosines / std::sqrt(n), 1e-13) << n;
      EXPECT_NEAR(imaginary_part[f], sines / std::sqrt(n), 1e-13) << n;
    }
  }
}

TEST(unitary_fourier_transform, from_bins_inverts_to_bins_with_period_n) {
  for (const index_t n : lengths) {
    unitary_fourier_transform transform{n};
    const dense_vector x = waves(n, 1.3);
    dense_vector real_part{transform.bins()};
    dense_vector imaginary_part{transform.bins()};
    transform.to_bins(x, real_part, imaginary_part);
    dense_vector back{3 * n + 2};
    transform.from_bins(real_part, imaginary_part, -n - 1, back);
    for (index_t k = 0; k < back.size(); ++k)
      EXPECT_NEAR(back[k], x[(k + n - 1) % n], 1e-13) << n;
  }
}

TEST(unitary_fourier_transform, amplitudes_become_the_sums_of_their_cosines) {
  for (const index_t n : lengths) {
    unitary_fourier_transform transform{n};
    const dense_vector amplitudes = waves((n + 1) / 2, 0.4);
    dense_vector c{transform.bins()};
    transform.to_cosines(amplitudes, c);
    for (index_t f = 0; f < transform.bins(); ++f) {
      double expected = 0.0;
      for (index_t k = 0; k < amplitudes.size(); ++k)
        expected += amplitudes[k] * std::cos(angle(n, f, k));
      EXPECT_NEAR(c[f], expected, 1e-12) << n;
    }
  }
}

TEST(unitary_fourier_transform, sums_of_weights_run_over_all_bins_and_their_conjugates) {
  for (const index_t n : lengths) {
    unitary_fourier_transform transform{n};
    const dense_vector weights = waves(transform.bins(), 0.9);
    dense_vector sums{2 * n + 3};
    transform.sum_cosines(weights, sums);
    for (index_t k = 0; k < sums.size(); ++k) {
      double expected = 0.0;
      for (index_t f = 0; f < n; ++f)
        expected += weights[std::min(f, n - f)] * std::cos(angle(n, f, k));
      EXPECT_NEAR(sums[k], expected, 1e-12) << n;
    }
  }
}

TEST(unitary_fourier_transform, multiplicities_add_up_to_n) {
  for (const index_t n : lengths) {
    const unitary_fourier_transform transform{n};
    double sum = 0.0;
    for (index_t f = 0; f < transform.bins(); ++f) sum += transform.multiplicity(f);
    EXPECT_EQ(sum, static_cast<double>(n));
  }
}

TEST(unitary_fourier_transform, of_nothing_all_sums_are_empty) {
  unitary_fourier_transform transform{0};
  dense_vector sums{3};
  transform.sum_cosines(waves(1, 1.0), sums);
  for (const double sum : sums) EXPECT_EQ(sum, 0.0);
}

}  // namespace corvane::model::ridge_regression_detail
