// SPDX-License-Identifier: BSD-3-Clause
#include "common/exponential.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "common/vector_dispatch.h"
#include "n_array/n_array.h"

namespace corvane {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double undefined = std::numeric_limits<double>::quiet_NaN();

double units_off(double computed, long double exact) {
  const long double error = std::abs(static_cast<long double>(computed) - exact);
  return static_cast<double>(error / std::abs(exact)) / double_epsilon;
}

TEST(exponential, agrees_with_a_wider_type_to_two_units_in_the_last_place) {
  std::mt19937_64 generator{1};
  for (const double reach : {1e-8, 0.3, 3.0, 40.0, 700.0}) {
    std::uniform_real_distribution<double> uniform{-reach, reach};
    for (int k = 0; k < 20000; ++k) {
      const double x = uniform(generator);
      EXPECT_LE(units_off(exponential(x), std::exp(static_cast<long double>(x))), 2.0) << x;
    }
  }
}

TEST(exponential, overflows_and_underflows_where_the_library_function_does) {
  for (const double x :
       {709.78, 709.79, 710.0, 1e5, infinity, -745.0, -745.2, -1e5, -infinity})
    EXPECT_EQ(exponential(x), std::exp(x)) << x;
  EXPECT_EQ(exponential(0.0), 1.0);
  EXPECT_EQ(exponential(-0.0), 1.0);
  EXPECT_TRUE(std::isnan(exponential(undefined)));
}

TEST(log_of_one_plus, agrees_with_a_wider_type_to_two_units_in_the_last_place) {
  std::mt19937_64 generator{2};
  std::uniform_real_distribution<double> exponent{-300.0, 300.0};
  std::uniform_real_distribution<double> moderate{0.0, 8.0};
  for (int k = 0; k < 50000; ++k)
    for (const double x : {std::pow(10.0, exponent(generator)), moderate(generator)})
      EXPECT_LE(units_off(log_of_one_plus(x), std::log1p(static_cast<long double>(x))), 2.0)
          << x;
}

TEST(log_of_one_plus, keeps_the_ends_of_its_range) {
  EXPECT_EQ(log_of_one_plus(0.0), 0.0);
  EXPECT_EQ(log_of_one_plus(5e-324), 5e-324);
  EXPECT_EQ(log_of_one_plus(infinity), infinity);
  EXPECT_TRUE(std::isnan(log_of_one_plus(undefined)));
}

TEST(exponential, gives_the_same_in_vector_instructions) {
  constexpr index_t n = 1001;
  dense_vector x{n};
  dense_vector out{n};
  std::mt19937_64 generator{3};
  std::uniform_real_distribution<double> uniform{-750.0, 720.0};
  for (double& entry : x) entry = uniform(generator);
  const double* const from = x.data();
  double* const to = out.data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < n; ++i) to[i] = log_of_one_plus(exponential(from[i]));
  });
  for (index_t i = 0; i < n; ++i) EXPECT_EQ(out[i], log_of_one_plus(exponential(x[i])));
}

}  // namespace
}  // namespace corvane
