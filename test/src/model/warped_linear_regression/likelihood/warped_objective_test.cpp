// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/warped_objective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/finite.h"
#include "model/warped_linear_regression/map/boundary_penalty.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"
#include "support/objective_law.h"

namespace corvane::model {
namespace {

using testing::obeys_objective_law;
using warped_linear_regression_detail::objective;
using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

std::unique_ptr<objective> make_objective(const dense_matrix& X,
                                          const std::vector<double>& y, index_t num_steps) {
  return std::make_unique<objective>(make_tanh_target_warper_descriptor(num_steps),
                                     dense_matrix{X}, dense_vector{view(y)}, 25);
}

double inner(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// The residual sum of squares of least squares, by Gram-Schmidt, each column twice.
double residual_squares(const dense_matrix& X, std::vector<double> z) {
  std::vector<std::vector<double>> basis;
  const auto remove = [&](std::vector<double>& v) {
    for (int pass = 0; pass < 2; ++pass)
      for (const auto& direction : basis) {
        const double along = inner(direction, v);
        for (std::size_t i = 0; i < v.size(); ++i) v[i] -= along * direction[i];
      }
  };
  for (index_t j = 0; j < X.cols(); ++j) {
    const const_vector_view column = X.view().column(j);
    std::vector<double> v{column.begin(), column.end()};
    remove(v);
    const double length = std::sqrt(inner(v, v));
    for (double& entry : v) entry /= length;
    basis.push_back(v);
  }
  remove(z);
  return inner(z, z);
}

double plain_value(const dense_matrix& X, const std::vector<double>& y,
                   const std::vector<double>& theta) {
  const auto warped = warped_testing::warp(theta, y);
  return static_cast<double>(y.size()) / 2.0 *
             std::log(residual_squares(X, warped.latent)) -
         warped.log_jacobian;
}

const std::vector<std::vector<double>> points{
    {0.7, 1.2, 0.3},
    {-3.0, 0.4, -1.0},
    {0.7, 1.2, 0.3, -0.5, -2.0, -0.4},
    {1.1, 0.6, 0.2, -0.5, 2.0, -0.4, 2.0, 1.0, 1.0}};

index_t steps_of(const std::vector<double>& theta) {
  return static_cast<index_t>(theta.size()) / 3;
}

TEST(warped_objective, the_value_is_that_of_dense_algebra) {
  for (const index_t n : {12, 700})
    for (const index_t p : {1, 4, 11}) {
      const dense_matrix X = normal_matrix(n, p, 1);
      const auto y = normal_vector(n, 2);
      for (const auto& theta : points) {
        double value = 0.0;
        ASSERT_TRUE(
            make_objective(X, y, steps_of(theta))->compute_value(view(theta), value));
        const double expected = plain_value(X, y, theta);
        EXPECT_NEAR(value, expected, 1e-11 * (1.0 + std::abs(expected))) << n << " " << p;
      }
    }
}

TEST(warped_objective, obeys_the_law_of_an_objective) {
  for (const index_t n : {12, 300}) {
    const dense_matrix X = normal_matrix(n, 4, 3);
    const auto y = normal_vector(n, 4);
    for (const auto& theta : points) {
      const auto tested = make_objective(X, y, steps_of(theta));
      EXPECT_TRUE(obeys_objective_law(*tested, theta, {.value_noise = 1e-13})) << n;
    }
  }
}

TEST(warped_objective, obeys_the_law_with_one_residual_left) {
  const dense_matrix X = normal_matrix(6, 5, 5);
  const auto y = normal_vector(6, 6);
  for (const auto& theta : points) {
    const auto tested = make_objective(X, y, steps_of(theta));
    EXPECT_TRUE(obeys_objective_law(*tested, theta,
                                    {.value_noise = 1e-12, .gradient_noise = 1e-11}));
  }
}

TEST(warped_objective, obeys_the_law_below_between_and_above_the_boundary) {
  const dense_matrix X = normal_matrix(30, 2, 7);
  auto y = normal_vector(30, 8);
  for (double& value : y) value *= 0.3;
  // The height of a step that is so flat that it is smooth, alone and behind another step.
  for (const double at : {990.0, 1004.0, -1006.0, 1012.0, -1500.0})
    for (const std::vector<double>& theta :
         {std::vector<double>{at, 0.6, 0.2}, {0.5, 0.8, 0.1, at, 0.4, -0.3}}) {
      const auto tested = make_objective(X, y, steps_of(theta));
      EXPECT_TRUE(obeys_objective_law(
          *tested, theta,
          {.first_step = 0.0008, .value_noise = 1e-12, .gradient_noise = 1e-12}))
          << at;
    }
}

// So steep a step is smooth where no target is near it, and then the boundary alone acts.
TEST(warped_objective, obeys_the_law_with_a_steepness_at_the_boundary) {
  const dense_matrix X = normal_matrix(30, 2, 7);
  const auto y = normal_vector(30, 8);
  for (const double at : {990.0, 1004.0, -1006.0, 1012.0, -1500.0}) {
    const std::vector<double> theta{0.5, 0.8, 0.1, 0.7, at, 50.0};
    const auto tested = make_objective(X, y, 2);
    EXPECT_TRUE(obeys_objective_law(
        *tested, theta,
        {.first_step = 0.0008, .value_noise = 1e-12, .gradient_noise = 1e-12}))
        << at;
    dense_vector gradient(6);
    ASSERT_TRUE(tested->compute_gradient(view(theta), gradient));
    const tanh_warper_detail::smooth_boundary boundary{1.0, 1000.0, 1010.0};
    EXPECT_NEAR(gradient[4], std::copysign(boundary.slope(std::abs(at)), at), 1e-12);
  }
}

TEST(warped_objective, the_boundary_adds_its_penalty_to_the_value) {
  const dense_matrix X = normal_matrix(30, 2, 7);
  const auto y = normal_vector(30, 8);
  const std::vector<double> theta{1010.0, 0.4, 0.1};
  double value = 0.0;
  ASSERT_TRUE(make_objective(X, y, 1)->compute_value(view(theta), value));
  EXPECT_NEAR(value, plain_value(X, y, theta) + 100.0 / 3.0, 1e-9);
}

TEST(warped_objective, combined_operations_give_the_numbers_of_the_separate_ones) {
  const dense_matrix X = normal_matrix(500, 6, 9);
  const auto y = normal_vector(500, 10);
  const std::vector<double> theta{1.1, 0.6, 0.2, -0.5, 2.0, -0.4};
  const auto tested = make_objective(X, y, 2);
  double value = 0.0;
  double combined_value = 0.0;
  dense_vector gradient(6);
  dense_vector combined_gradient(6);
  dense_vector paired_gradient(6);
  symmetric_matrix hessian(6, 6);
  symmetric_matrix combined_hessian(6, 6);
  symmetric_matrix paired_hessian(6, 6);
  tested->compute_value(view(theta), value);
  tested->compute_gradient(view(theta), gradient);
  tested->compute_hessian(view(theta), hessian);
  tested->compute_gradient_hessian(view(theta), paired_gradient, paired_hessian);
  tested->compute_value_gradient_hessian(view(theta), combined_value, combined_gradient,
                                         combined_hessian);
  EXPECT_EQ(combined_value, value);
  for (index_t j = 0; j < 6; ++j) {
    EXPECT_EQ(combined_gradient[j], gradient[j]);
    EXPECT_EQ(paired_gradient[j], gradient[j]);
    for (index_t i = j; i < 6; ++i) {
      EXPECT_EQ(combined_hessian(i, j), hessian(i, j));
      EXPECT_EQ(paired_hessian(i, j), hessian(i, j));
    }
  }
}

TEST(warped_objective, the_numbers_at_a_point_do_not_depend_on_the_points_before_it) {
  const dense_matrix X = normal_matrix(700, 3, 11);
  const auto y = normal_vector(700, 12);
  const auto visited = make_objective(X, y, 2);
  const auto fresh = make_objective(X, y, 2);
  const std::vector<double> here{1.1, 0.6, 0.2, -0.5, 2.0, -0.4};
  const std::vector<double> elsewhere{1.1, 0.6, 0.2, -0.5, 2.0, -0.3};
  double value = 0.0;
  dense_vector gradient(6);
  dense_vector expected(6);
  visited->compute_value(view(here), value);
  visited->compute_value(view(elsewhere), value);
  visited->compute_gradient(view(here), gradient);
  fresh->compute_gradient(view(here), expected);
  for (index_t j = 0; j < 6; ++j) EXPECT_EQ(gradient[j], expected[j]);
}

TEST(warped_objective, writes_the_stored_triangle_alone) {
  const auto tested = make_objective(normal_matrix(20, 2, 1), normal_vector(20, 2), 2);
  symmetric_matrix hessian(6, 6);
  for (index_t i = 0; i < 36; ++i) hessian.data()[i] = -77.0;
  ASSERT_TRUE(tested->compute_hessian(view(points[2]), hessian));
  for (index_t j = 0; j < 6; ++j)
    for (index_t i = 0; i < j; ++i) EXPECT_EQ(hessian.data()[j * 6 + i], -77.0);
}

std::string refusal(dense_matrix X, index_t num_targets) {
  try {
    const objective made{make_tanh_target_warper_descriptor(1), std::move(X),
                         dense_vector{view(normal_vector(num_targets, 2))}, 25};
  } catch (const std::exception& error) {
    return error.what();
  }
  return "accepted";
}

TEST(warped_objective, a_duplicated_column_is_refused) {
  // Rounding may leave a few 2^-52 of the second copy: it must be rejected all the same.
  for (const index_t n : {5, 50, 1000})
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
      dense_matrix X = normal_matrix(n, 4, seed);
      for (index_t i = 0; i < n; ++i) X(i, 3) = X(i, static_cast<index_t>(seed % 3));
      EXPECT_EQ(refusal(X, n), "feature_matrix has linear dependent columns") << n;
    }
}

TEST(warped_objective, a_column_of_zeros_is_refused) {
  dense_matrix X = normal_matrix(20, 3, 1);
  for (index_t i = 0; i < 20; ++i) X(i, 1) = 0.0;
  EXPECT_EQ(refusal(X, 20), "feature_matrix has linear dependent columns");
  for (double& entry : X) entry = 0.0;
  EXPECT_EQ(refusal(X, 20), "feature_matrix has linear dependent columns");
}

TEST(warped_objective, nearly_dependent_columns_above_the_rounding_are_accepted) {
  dense_matrix X = normal_matrix(50, 2, 1);
  const auto noise = normal_vector(50, 3);
  for (index_t i = 0; i < 50; ++i)
    X(i, 1) = X(i, 0) + 1e-12 * noise[static_cast<std::size_t>(i)];
  EXPECT_EQ(refusal(X, 50), "accepted");
}

TEST(warped_objective, shapes_that_do_not_fit_are_refused) {
  EXPECT_EQ(refusal(normal_matrix(5, 5, 1), 5),
            "number of features must be less than the number of data points");
  EXPECT_EQ(refusal(normal_matrix(3, 5, 1), 3),
            "number of features must be less than the number of data points");
  EXPECT_EQ(refusal(normal_matrix(5, 2, 1), 4),
            "feature_matrix and target_vector are mismatched");
  EXPECT_EQ(refusal(normal_matrix(5, 4, 1), 5), "accepted");
}

TEST(warped_objective, a_target_without_residual_is_undefined_everywhere) {
  const auto tested =
      make_objective(normal_matrix(10, 2, 1), std::vector<double>(10, 0.0), 1);
  for (const auto& theta : {points[0], points[1]}) {
    double value = 0.0;
    EXPECT_FALSE(tested->compute_value(view(theta), value));
    EXPECT_FALSE(is_finite(value));
  }
}

TEST(warped_objective, a_theta_that_overflows_the_map_is_undefined) {
  const auto tested = make_objective(normal_matrix(10, 2, 1), normal_vector(10, 2), 1);
  double value = 0.0;
  EXPECT_FALSE(tested->compute_value(view(std::vector<double>{1e200, 1.0, 0.0}), value));
}

}  // namespace
}  // namespace corvane::model
