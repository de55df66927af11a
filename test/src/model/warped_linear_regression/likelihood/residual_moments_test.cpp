// SPDX-License-Identifier: BSD-3-Clause
//
// The sums that the objective is made of, against the same from full columns: z, its
// derivatives and its log Jacobian from the operations of the family, and the residuals by
// explicit projection.
#include "model/warped_linear_regression/likelihood/residual_moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/linear_algebra.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

// Orthonormal columns that span those of X, by Gram-Schmidt, each column twice.
dense_matrix orthonormal(dense_matrix X) {
  for (index_t j = 0; j < X.cols(); ++j) {
    const vector_view column = X.view().column(j);
    for (int pass = 0; pass < 2; ++pass)
      for (index_t k = 0; k < j; ++k) {
        const double along = dot(X.view().column(k), column);
        for (index_t i = 0; i < X.rows(); ++i) column[i] -= along * X(i, k);
      }
    const double length = norm(column);
    for (double& entry : column) entry /= length;
  }
  return X;
}

dense_matrix residuals(const dense_matrix& basis, dense_matrix columns) {
  for (int pass = 0; pass < 2; ++pass)
    for (index_t j = 0; j < columns.cols(); ++j)
      for (index_t k = 0; k < basis.cols(); ++k) {
        const vector_view column = columns.view().column(j);
        const double along = dot(basis.view().column(k), column);
        for (index_t i = 0; i < basis.rows(); ++i) column[i] -= along * basis(i, k);
      }
  return columns;
}

struct case_of_moments {
  dense_matrix basis;
  std::vector<double> y;
  std::vector<double> theta;
};

residual_moments summed(const case_of_moments& data) {
  const auto m = static_cast<index_t>(data.theta.size());
  const auto family = make_tanh_target_warper_descriptor(m / 3);
  const index_t n = data.basis.rows();
  const index_t p = data.basis.cols();
  dense_matrix rows(n, 1 + p);
  fill(matrix_block{rows}.part_columns(0, 1), 1.0);
  copy(data.basis, matrix_block{rows}.part_columns(1, p));
  residual_moments moments{m, 2 * m};
  family->compute_residual_moments(
      view(data.theta), projected_targets{view(data.y), std::move(rows)}, moments);
  return moments;
}

// `tolerance` is relative to the lengths of the columns whose products are compared.
void expect_plain_sums(const case_of_moments& data, double tolerance) {
  const residual_moments moments = summed(data);
  const auto n = static_cast<index_t>(data.y.size());
  const auto m = static_cast<index_t>(data.theta.size());
  const auto family = make_tanh_target_warper_descriptor(m / 3);
  dense_matrix z(n, 1);
  dense_matrix jacobian(n, m);
  dense_matrix curvature(n, 2 * m);
  dense_vector gradient(m);
  symmetric_matrix hessian(m, m);
  double log_jacobian = 0.0;
  family->compute_latent(view(data.theta), view(data.y), log_jacobian, z.view().column(0));
  family->compute_latent_with_gradient(view(data.theta), view(data.y), z.view().column(0),
                                       jacobian, gradient);
  family->compute_latent_with_hessian(view(data.theta), view(data.y), z.view().column(0),
                                      jacobian, curvature, hessian);
  const dense_matrix projected_z = residuals(data.basis, z);
  const dense_matrix projected_jacobian = residuals(data.basis, jacobian);
  const const_vector_view r = projected_z.view().column(0);
  const auto near = [&](double value, const_vector_view a, const_vector_view b) {
    const double expected = dot(a, b);
    EXPECT_NEAR(value, expected, tolerance * norm(a) * norm(b) + 1e-300);
  };
  near(moments.sum_of_squares, r, r);
  EXPECT_NEAR(moments.log_jacobian, log_jacobian, 1e-12 * (1.0 + std::abs(log_jacobian)));
  for (index_t j = 0; j < m; ++j) {
    const const_vector_view column = projected_jacobian.view().column(j);
    near(moments.slope[j], column, r);
    EXPECT_NEAR(moments.log_jacobian_gradient[j], gradient[j],
                1e-11 * (1.0 + std::abs(gradient[j])));
    for (index_t i = j; i < m; ++i) {
      near(moments.gram(i, j), column, projected_jacobian.view().column(i));
      EXPECT_NEAR(moments.log_jacobian_hessian(i, j), hessian(i, j),
                  1e-10 * (1.0 + std::abs(hessian(i, j))));
    }
  }
  for (index_t pair = 0; pair < 2 * m; ++pair)
    near(moments.curvature[pair], curvature.view().column(pair), r);
}

const std::vector<std::vector<double>> thetas{
    {},
    {0.7, 1.2, 0.3},
    {-3.0, 0.4, -1.0},
    {1.1, 0.6, 0.2, -0.5, 2.0, -0.4, 2.0, 1.0, 1.0}};

TEST(residual_moments, are_the_plain_sums_over_blocks_full_and_partial) {
  for (const index_t n : {3, 512, 513, 1500})
    for (const auto& theta : thetas)
      for (const index_t p : {0, 1, 2})
        expect_plain_sums({orthonormal(normal_matrix(n, p, 1)), normal_vector(n, 2), theta},
                          n < 10 ? 1e-11 : 1e-13);
}

// The residuals of the latents on X are a millionth of the latents: sums of squares from
// which the part in the span of X is subtracted would keep no more than four digits.
TEST(residual_moments, keep_their_digits_where_residuals_are_small_against_the_latents) {
  const std::vector<double> theta{0.4, 0.05, 0.3};
  const auto y = normal_vector(800, 5);
  const auto noise = normal_vector(800, 6);
  dense_matrix X(800, 1);
  for (index_t i = 0; i < 800; ++i) {
    const auto entry = static_cast<std::size_t>(i);
    X(i, 0) = y[entry] + 1e-6 * noise[entry];
  }
  const case_of_moments data{orthonormal(X), y, theta};
  const residual_moments moments = summed(data);
  EXPECT_LT(moments.sum_of_squares, 1e-5);
  expect_plain_sums(data, 1e-8);
}

TEST(residual_moments, targets_far_from_zero_lose_no_digits_to_their_means) {
  auto y = normal_vector(700, 7);
  for (double& entry : y) entry += 1e5;
  expect_plain_sums({orthonormal(normal_matrix(700, 2, 8)), y, {0.8, 1.1, -1e5}}, 1e-10);
}

TEST(residual_moments, equal_targets_have_derivatives_of_exactly_zero) {
  const residual_moments moments = summed(
      {orthonormal(normal_matrix(600, 2, 9)), std::vector<double>(600, 0.3), thetas[3]});
  for (index_t j = 0; j < 9; ++j) {
    EXPECT_EQ(moments.slope[j], 0.0);
    for (index_t i = j; i < 9; ++i) EXPECT_EQ(moments.gram(i, j), 0.0);
  }
}

}  // namespace
}  // namespace corvane::model
