// SPDX-License-Identifier: BSD-3-Clause
//
// The nodes that replace targets: sums of polynomials at them are those at the targets.
#include "model/warped_linear_regression/likelihood/target_cells.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "model/warped_linear_regression/likelihood/step_summation.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using tanh_warper_detail::step_coefficients;
using tanh_warper_detail::step_resolution;
using tanh_warper_detail::summation_blocks;
using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

std::vector<double> at_points(const chebyshev_basis& basis, double (*f)(double)) {
  std::vector<double> values;
  for (index_t j = 0; j < chebyshev_basis::num_points; ++j)
    values.push_back(f(basis.point(j)));
  return values;
}

// The interpolating polynomial at x.
double interpolate(const chebyshev_basis& basis, const std::vector<double>& values,
                   double x) {
  dense_matrix polynomials(1, chebyshev_basis::num_points);
  chebyshev_basis::fill_polynomials({&x, 1}, polynomials);
  double sum = 0.0;
  for (index_t k = 0; k < chebyshev_basis::num_points; ++k)
    for (index_t j = 0; j < chebyshev_basis::num_points; ++j)
      sum += polynomials(0, k) * basis.cardinal_coefficients()(j, k) *
             values[static_cast<std::size_t>(j)];
  return sum;
}

TEST(chebyshev_basis, interpolates_entire_functions_to_rounding) {
  const chebyshev_basis basis;
  const auto values =
      at_points(basis, [](double x) { return std::exp(2.0 * x) + std::sin(x); });
  for (double x = -1.0; x <= 1.0; x += 0.05)
    EXPECT_NEAR(interpolate(basis, values, x), std::exp(2.0 * x) + std::sin(x), 2e-14);
}

// 1 / (x^2 + 1/4), the poles of which lie on the ellipse with rho = (1 + sqrt 5) / 2: of
// 24 points the error is of the order of rho^-24 = 1e-5, and it is not less.
TEST(chebyshev_basis, has_the_error_of_the_nearest_pole) {
  const chebyshev_basis basis;
  const auto values = at_points(basis, [](double x) { return 1.0 / (x * x + 0.25); });
  double worst = 0.0;
  for (double x = -1.0; x <= 1.0; x += 0.01)
    worst = std::max(worst, std::abs(interpolate(basis, values, x) - 1.0 / (x * x + 0.25)));
  EXPECT_LT(worst, 1e-3);
  EXPECT_GT(worst, 1e-6);
}

target_cells make_cells(const std::vector<double>& y, index_t cols) {
  return {view(y), normal_matrix(static_cast<index_t>(y.size()), cols, 3)};
}

TEST(target_cells, keep_the_targets_in_order_and_each_row_with_its_target) {
  const auto y = normal_vector(1000, 5);
  dense_matrix rows(1000, 2);
  for (index_t i = 0; i < 1000; ++i) {
    rows(i, 0) = 2.0 * y[static_cast<std::size_t>(i)];
    rows(i, 1) = -y[static_cast<std::size_t>(i)];
  }
  const target_cells cells{view(y), std::move(rows)};
  EXPECT_TRUE(std::is_sorted(cells.y().begin(), cells.y().end()));
  for (index_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(cells.rows()(i, 0), 2.0 * cells.y()[i]);
    EXPECT_EQ(cells.rows()(i, 1), -cells.y()[i]);
  }
}

TEST(target_cells, few_targets_make_no_cells) {
  EXPECT_FALSE(make_cells(normal_vector(71, 5), 2).has_cells());
  EXPECT_TRUE(make_cells(normal_vector(72, 5), 2).has_cells());
}

// The sums of each column times (y - lower)^k, over the targets of a leaf or the leaves
// below a cell, against those at its nodes.
TEST(target_cells, the_nodes_of_every_cell_give_the_sums_of_polynomials_over_its_targets) {
  const auto y = normal_vector(1200, 6);
  const target_cells cells = make_cells(y, 3);
  index_t num_leaves = target_cells::root;
  while (!cells.is_leaf(num_leaves)) num_leaves *= 2;
  ASSERT_EQ(num_leaves, 16);
  for (index_t c = target_cells::root; c < 2 * num_leaves; ++c) {
    index_t first_leaf = c;
    index_t last_leaf = c;
    while (!cells.is_leaf(first_leaf)) {
      first_leaf = 2 * first_leaf;
      last_leaf = 2 * last_leaf + 1;
    }
    const index_t first = cells.first_target(first_leaf);
    const index_t end = cells.first_target(last_leaf + 1);
    EXPECT_EQ(cells.lower(c), cells.y()[first]);
    EXPECT_EQ(cells.upper(c), cells.y()[end - 1]);
    const double width = cells.upper(c) - cells.lower(c);
    for (const int power : {0, 1, 2, 11, 23})
      for (index_t j = 0; j < 3; ++j) {
        const auto term = [&](double at) {
          return std::pow((at - cells.lower(c)) / width, power);
        };
        double exact = 0.0;
        double size = 0.0;
        for (index_t i = first; i < end; ++i) {
          exact += cells.rows()(i, j) * term(cells.y()[i]);
          size += std::abs(cells.rows()(i, j));
        }
        double sum = 0.0;
        for (index_t k = 0; k < target_cells::num_nodes; ++k)
          sum += cells.node_rows(c)(k, j) * term(cells.node(c, k));
        EXPECT_NEAR(sum, exact, 1e-13 * size) << c << " " << power;
      }
  }
}

TEST(target_cells, a_target_far_from_all_others_leaves_its_cells_unfilled) {
  auto y = normal_vector(2400, 7);
  y[5] = 1e4;
  const target_cells cells = make_cells(y, 1);
  // The standard deviation of m targets, all but one of them equal, is sqrt(1 / m) of the
  // width: an eighth of its half for m = 256.
  for (const index_t c : {1, 3, 7, 15}) {
    EXPECT_FALSE(cells.is_filled(c)) << c;
    EXPECT_TRUE(cells.is_filled(2 * c)) << 2 * c;
  }
  EXPECT_TRUE(cells.is_filled(31));
  EXPECT_TRUE(make_cells(std::vector<double>(500, 0.3), 1).is_filled(target_cells::root));
}

TEST(target_cells, equal_targets_have_all_nodes_at_their_value) {
  const target_cells cells = make_cells(std::vector<double>(500, 0.3), 1);
  for (index_t k = 0; k < target_cells::num_nodes; ++k)
    EXPECT_EQ(cells.node(target_cells::root, k), 0.3);
}

std::vector<step_coefficients> steps_of(const std::vector<double>& theta) {
  std::vector<step_coefficients> steps(theta.size() / 3);
  tanh_warper_detail::fill_step_coefficients(view(theta), steps.data());
  return steps;
}

TEST(step_resolution, is_smooth_on_narrow_intervals_and_where_all_steps_are_saturated) {
  const auto one = steps_of({1.0, 10.0, 0.5});  // b = 100, around -0.5
  const step_resolution resolution{one.data(), 1};
  EXPECT_TRUE(resolution.is_smooth(-0.504, -0.496));
  EXPECT_FALSE(resolution.is_smooth(-0.506, -0.494));
  EXPECT_TRUE(resolution.is_smooth(-0.2, 1000.0));
  EXPECT_FALSE(resolution.is_smooth(-0.3, 1000.0));
  EXPECT_TRUE(resolution.is_smooth(0.3, 0.3));

  const auto two = steps_of({1.0, 10.0, 0.5, 1.0, 10.0, 0.5});
  EXPECT_FALSE((step_resolution{two.data(), 2}.is_smooth(-0.504, -0.496)));
  EXPECT_TRUE((step_resolution{two.data(), 2}.is_smooth(-0.502, -0.498)));
  EXPECT_TRUE((step_resolution{two.data(), 0}.is_smooth(-1e9, 1e9)));
}

// Whatever the steps are, the weights of all blocks are as many as the targets, and no
// block is longer than requested.
TEST(summation_blocks, replace_all_targets) {
  for (const index_t n : {72, 500, 5000}) {
    dense_matrix ones(n, 1);
    fill(matrix_block{ones}, 1.0);
    const auto y = normal_vector(n, 8);
    const target_cells cells{view(y), std::move(ones)};
    for (const auto& theta : std::vector<std::vector<double>>{
             {}, {1.0, 0.1, 0.0}, {1.0, 2.0, 0.0}, {1.0, 30.0, 0.4}, {1.0, 1e4, -0.3}}) {
      const auto steps = steps_of(theta);
      const step_resolution resolution{steps.data(), static_cast<index_t>(steps.size())};
      summation_blocks blocks{cells, resolution, 150};
      double count = 0.0;
      double sum = 0.0;
      while (blocks.next()) {
        const auto block = blocks.block();
        ASSERT_LE(block.y.size(), 150);
        for (index_t i = 0; i < block.y.size(); ++i) {
          count += block.rows(i, 0);
          sum += block.rows(i, 0) * block.y[i];
        }
      }
      EXPECT_NEAR(count, static_cast<double>(n), 1e-12 * static_cast<double>(n));
      EXPECT_NEAR(sum, std::accumulate(y.begin(), y.end(), 0.0), 1e-11);
    }
  }
}

// A smooth map needs the nodes of one cell, a step that lies amid the targets the targets
// next to it: never all of them.
TEST(summation_blocks, are_few_where_the_map_is_smooth) {
  const auto count_rows = [](const target_cells& cells, const std::vector<double>& theta) {
    const auto steps = steps_of(theta);
    summation_blocks blocks{
        cells, step_resolution{steps.data(), static_cast<index_t>(steps.size())}, 512};
    index_t count = 0;
    while (blocks.next()) count += blocks.block().y.size();
    return count;
  };
  const target_cells cells = make_cells(normal_vector(50000, 9), 1);
  EXPECT_EQ(count_rows(cells, {1.0, 0.2, 0.0}), target_cells::num_nodes);
  EXPECT_LT(count_rows(cells, {1.0, 2.0, 0.0}), 2000);
  EXPECT_LT(count_rows(cells, {1.0, 1000.0, 0.1}), 2000);
}

}  // namespace
}  // namespace corvane::model
