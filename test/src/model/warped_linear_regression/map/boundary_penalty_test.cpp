// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/boundary_penalty.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "n_array/n_array.h"
#include "support/step_ladder.h"

namespace corvane::model::tanh_warper_detail {
namespace {

double penalty_at(double alpha, double beta, double gamma) {
  std::vector<double> theta{alpha, beta, gamma};
  double value = 0.0;
  boundary_penalty{}.add_value({theta.data(), 3}, value);
  return value;
}

TEST(boundary_penalty, at_exactly_1000_value_and_derivatives_are_zero) {
  std::vector<double> theta{1000.0, -1000.0, 0.0};
  const const_vector_view view{theta.data(), 3};
  dense_vector gradient{const_vector_view{std::vector<double>{0.0, 0.0, 0.0}.data(), 3}};
  symmetric_matrix hessian(3, 3);
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) hessian(i, j) = 0.0;
  const boundary_penalty penalty;
  penalty.add_gradient(view, gradient);
  penalty.add_hessian(view, hessian);
  EXPECT_EQ(penalty_at(1000.0, 0.0, 0.0), 0.0);
  for (const double entry : gradient) EXPECT_EQ(entry, 0.0);
  for (index_t j = 0; j < 3; ++j) EXPECT_EQ(hessian(j, j), 0.0);
}

TEST(boundary_penalty, at_1010_the_outer_branch_gives_a_hundred_thirds) {
  EXPECT_DOUBLE_EQ(penalty_at(1010.0, 0.0, 0.0), 100.0 / 3.0);
  EXPECT_DOUBLE_EQ(penalty_at(0.0, -1010.0, 0.0), 100.0 / 3.0);
}

TEST(boundary_penalty, does_not_depend_on_positions) {
  EXPECT_EQ(penalty_at(1.0, 2.0, 5000.0), 0.0);
}

TEST(boundary_penalty, adds_to_what_is_there_for_each_full_triple) {
  std::vector<double> theta{1020.0, 0.0, 0.0, 0.0, 1020.0, 0.0, 1020.0};
  double value = 7.0;
  boundary_penalty{}.add_value({theta.data(), 7}, value);
  EXPECT_DOUBLE_EQ(value, 7.0 + 2.0 * (20.0 * 10.0 + 100.0 / 3.0));
}

TEST(boundary_penalty, its_derivatives_are_those_of_its_value_on_every_piece) {
  const smooth_boundary boundary{1.0, 1000.0, 1010.0};
  for (const double x : {12.0, 998.0, 1003.0, 1007.5, 1013.0, 2500.0}) {
    const testing::ladder_options options{.first_step = 0.5, .noise = 1e-12};
    EXPECT_TRUE(testing::is_derivative_of(
        [&](double t) { return std::vector<double>{boundary.value(x + t)}; },
        {boundary.slope(x)}, options))
        << x;
    EXPECT_TRUE(testing::is_derivative_of(
        [&](double t) { return std::vector<double>{boundary.slope(x + t)}; },
        {boundary.curvature(x)}, options))
        << x;
  }
}

TEST(boundary_penalty, value_and_slope_are_continuous_where_pieces_meet) {
  const smooth_boundary boundary{2.5, 10.0, 14.0};
  for (const double joint : {10.0, 14.0}) {
    const double below = std::nextafter(joint, 0.0);
    EXPECT_NEAR(boundary.value(below), boundary.value(joint), 1e-12);
    EXPECT_NEAR(boundary.slope(below), boundary.slope(joint), 1e-12);
  }
  EXPECT_NEAR(boundary.curvature(std::nextafter(14.0, 0.0)), boundary.curvature(14.0),
              1e-12);
}

TEST(boundary_penalty, slope_has_the_sign_of_the_parameter) {
  std::vector<double> theta{-1005.0, 1005.0, 0.0};
  dense_vector gradient(3);
  for (double& entry : gradient) entry = 0.0;
  boundary_penalty{}.add_gradient({theta.data(), 3}, gradient);
  EXPECT_DOUBLE_EQ(gradient[0], -2.5);
  EXPECT_DOUBLE_EQ(gradient[1], 2.5);
  EXPECT_EQ(gradient[2], 0.0);
}

TEST(boundary_penalty, the_base_class_adds_nothing) {
  std::vector<double> theta{5000.0, 5000.0, 5000.0};
  const const_vector_view view{theta.data(), 3};
  double value = 1.25;
  dense_vector gradient{view};
  symmetric_matrix hessian(3, 3);
  hessian(1, 1) = 4.0;
  const corvane::boundary_penalty none;
  none.add_value(view, value);
  none.add_gradient(view, gradient);
  none.add_hessian(view, hessian);
  EXPECT_EQ(value, 1.25);
  EXPECT_EQ(gradient[0], 5000.0);
  EXPECT_EQ(hessian(1, 1), 4.0);
}

}  // namespace
}  // namespace corvane::model::tanh_warper_detail
