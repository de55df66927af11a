// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "common/finite.h"
#include "n_array/n_array.h"

namespace corvane::testing {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

dense_vector vector_of(const std::vector<double>& values) {
  return dense_vector{{values.data(), static_cast<index_t>(values.size())}};
}

// From the rows of the lower triangle, one after the other.
symmetric_matrix symmetric_of(index_t n, const std::vector<double>& lower) {
  symmetric_matrix H(n, n);
  auto next = lower.begin();
  for (index_t i = 0; i < n; ++i)
    for (index_t j = 0; j <= i; ++j) H(i, j) = *next++;
  return H;
}

TEST(initial_radius, is_a_quarter_of_the_norm_of_the_start) {
  EXPECT_EQ(initial_radius(vector_of({0.0, 8.0})), 2.0);
  EXPECT_EQ(initial_radius(vector_of({3.0, -4.0})), 1.25);
}

TEST(initial_radius, is_a_thousandth_at_the_origin) {
  EXPECT_EQ(initial_radius(vector_of({0.0, 0.0})), 0.001);
  EXPECT_EQ(initial_radius(vector_of({1e-16})), 0.001);
  EXPECT_EQ(initial_radius({}), 0.001);
}

TEST(compute_scale, is_the_root_of_the_diagonal_but_not_below_its_smallest_root) {
  dense_vector scale(3);
  EXPECT_TRUE(compute_scale(scale, symmetric_of(3, {4.0, 1.0, 0.0, 1.0, 1.0, -9.0})));
  EXPECT_EQ(scale[0], 2.0);
  EXPECT_EQ(scale[1], 2.0);
  EXPECT_EQ(scale[2], 3.0);
}

TEST(compute_scale, has_a_floor) {
  dense_vector scale(1);
  EXPECT_TRUE(compute_scale(scale, symmetric_of(1, {1e-30})));
  EXPECT_EQ(scale[0], 2.220446049250313e-11);
}

TEST(compute_scale, fails_when_the_diagonal_is_all_zero) {
  dense_vector scale(2);
  EXPECT_FALSE(compute_scale(scale, symmetric_of(2, {0.0, 5.0, -0.0})));
  EXPECT_FALSE(compute_scale({}, {}));
}

TEST(is_degenerate, needs_gradient_and_diagonal_within_one_epsilon) {
  const symmetric_matrix flat = symmetric_of(2, {-double_epsilon, 7.0, 0.0});
  EXPECT_TRUE(is_degenerate(vector_of({double_epsilon, 0.0}), flat));
  EXPECT_FALSE(is_degenerate(vector_of({0.0, -2.0 * double_epsilon}), flat));
  EXPECT_FALSE(is_degenerate(vector_of({0.0, 0.0}), symmetric_of(2, {0.0, 0.0, 1.0})));
  EXPECT_FALSE(is_degenerate(vector_of({nan, 0.0}), flat));
}

TEST(measure_stop, takes_the_change_relative_to_the_value_and_one) {
  EXPECT_EQ(measure_stop(-3.0, -5.0, {}, {}, 0.0).value_change, 0.5);
}

TEST(measure_stop, scales_the_gradient_by_the_diagonal_where_that_reaches_the_floor) {
  const symmetric_matrix H = symmetric_of(2, {-4.0, 0.0, 0.01});
  EXPECT_EQ(measure_stop(0.0, 0.0, vector_of({6.0, 0.2}), H, 0.1).gradient_max, 3.0);
  EXPECT_EQ(measure_stop(0.0, 0.0, vector_of({6.0, -5.0}), H, 0.1).gradient_max, 5.0);
  EXPECT_EQ(measure_stop(0.0, 0.0, vector_of({6.0, 0.5}), H, 0.01).gradient_max, 5.0);
}

TEST(measure_stop, does_not_lose_a_nan_in_the_gradient) {
  const symmetric_matrix H = symmetric_of(3, {1.0, 0.0, 1.0, 0.0, 0.0, 1.0});
  for (const auto& gradient :
       {vector_of({nan, 1.0, 2.0}), vector_of({1.0, nan, 2.0}), vector_of({1.0, 2.0, nan})})
    EXPECT_TRUE(std::isnan(measure_stop(0.0, 0.0, gradient, H, 0.1).gradient_max));
}

TEST(hessian_positive_definite, tells_definite_from_indefinite) {
  EXPECT_TRUE(hessian_positive_definite(symmetric_of(2, {2.0, 1.0, 2.0}), double_epsilon));
  EXPECT_FALSE(hessian_positive_definite(symmetric_of(2, {1.0, 2.0, 1.0}), double_epsilon));
}

TEST(hessian_positive_definite, leaves_out_a_variable_whose_diagonal_has_vanished) {
  EXPECT_TRUE(hessian_positive_definite(symmetric_of(3, {2.0, 9.0, 0.0, 1.0, 9.0, 2.0}),
                                        double_epsilon));
  EXPECT_TRUE(hessian_positive_definite(symmetric_of(1, {0.0}), double_epsilon));
  EXPECT_TRUE(hessian_positive_definite({}, double_epsilon));
}

TEST(hessian_positive_definite, is_false_with_a_nan_whatever_the_factorization_reports) {
  for (std::size_t place = 0; place < 6; ++place) {
    std::vector<double> lower{2.0, 0.0, 2.0, 0.0, 0.0, 2.0};
    lower[place] = nan;
    EXPECT_FALSE(hessian_positive_definite(symmetric_of(3, lower), double_epsilon))
        << place;
  }
}

TEST(stop_test, holds_below_both_limits_alone) {
  const symmetric_matrix H = symmetric_of(1, {1.0});
  const stop_limits limits{0.5, 0.25, double_epsilon};
  EXPECT_TRUE(stop_test({0.49, 0.24}, H, limits));
  EXPECT_FALSE(stop_test({0.5, 0.24}, H, limits));
  EXPECT_FALSE(stop_test({0.49, 0.25}, H, limits));
  EXPECT_FALSE(stop_test({nan, 0.24}, H, limits));
  EXPECT_FALSE(stop_test({0.49, nan}, H, limits));
}

TEST(stop_test, needs_some_curvature_and_no_negative_one) {
  const stop_limits limits{0.5, 0.25, double_epsilon};
  EXPECT_FALSE(stop_test({0.0, 0.0}, symmetric_of(2, {0.0, 1.0, 0.0}), limits));
  EXPECT_FALSE(stop_test({0.0, 0.0}, symmetric_of(1, {double_epsilon}), limits));
  EXPECT_FALSE(stop_test({0.0, 0.0}, symmetric_of(2, {1.0, 0.0, -1.0}), limits));
}

}  // namespace
}  // namespace corvane::testing
