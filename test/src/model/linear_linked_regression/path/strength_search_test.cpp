// SPDX-License-Identifier: BSD-3-Clause
//
// The search for strengths: against a fine grid, under permutations, and how it ends.
#include "model/linear_linked_regression/path/strength_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "model/linear_linked_regression/path/free_set_leave_one_out.h"
#include "optimization/optimizer_error.h"
#include "sparse_path_problem.h"

namespace corvane::model::sparse_path {

namespace {

index_vector one_group(index_t p) {
  index_vector groups{p};
  std::fill(groups.begin(), groups.end(), 0);
  return groups;
}

double loss_at(const sparse_problem& problem, double l1, double l2) {
  return leave_each_row_out(problem,
                            fit(problem, equal_strengths(problem.X.cols(), l1, l2)))
      .loss;
}

TEST(strength_search, is_as_low_as_a_fine_grid) {
  for (unsigned seed = 0; seed < 10; ++seed) {
    const drawn_sparse_problem drawn{60, seed % 2 == 0 ? 8 : 50, seed};
    const sparse_problem problem{drawn.X, drawn.s, true};
    const index_vector groups = one_group(drawn.X.cols());
    const search_result found = strength_search{problem, {.groups = groups}}.find();
    double best = found.loss;
    const double largest =
        null_fit(problem, equal_strengths(drawn.X.cols(), 1.0, 0.0)).strengths.l1[0];
    for (int k = 0; k < 100; ++k)
      best = std::min(best, loss_at(problem, largest * std::exp(-0.05 * k), 0.0));
    EXPECT_LE(found.loss, 1.003 * best);
    EXPECT_NEAR(loss_at(problem, found.strengths.l1[0], 0.0), found.loss,
                1e-7 * found.loss);
  }
}

TEST(strength_search, elastic_net_is_no_worse_than_the_lasso) {
  for (unsigned seed = 0; seed < 4; ++seed) {
    const drawn_sparse_problem drawn{50, 20, seed};
    const sparse_problem problem{drawn.X, drawn.s, true};
    const index_vector groups = one_group(20);
    const search_result lasso = strength_search{problem, {.groups = groups}}.find_common();
    const search_result net =
        strength_search{problem, {.groups = groups, .with_l2 = true}}.find();
    EXPECT_LE(net.loss, lasso.loss);
  }
}

TEST(strength_search, groups_are_no_worse_than_what_they_have_in_common) {
  const drawn_sparse_problem drawn{80, 12, 11};
  const sparse_problem problem{drawn.X, drawn.s, true};
  index_vector groups{12};
  for (index_t j = 0; j < 12; ++j) groups[j] = j == 11 ? -1 : j % 3;
  const search_options options{.groups = groups};
  const search_result common = strength_search{problem, options}.find_common();
  const search_result apart = strength_search{problem, options}.find();
  EXPECT_LT(apart.loss, common.loss);
  EXPECT_TRUE(apart.end == run_end::within_tolerance);
  const search_result again = strength_search{problem, options}.find_from(apart.strengths);
  EXPECT_LE(again.loss, apart.loss * (1.0 + 1e-9));
}

TEST(strength_search, rows_and_columns_in_another_order_choose_the_same_strengths) {
  int same = 0;
  constexpr int num_sets = 20;
  for (unsigned seed = 0; seed < num_sets; ++seed) {
    const index_t p = seed % 2 == 0 ? 10 : 60;
    const drawn_sparse_problem drawn{50, p, seed};
    std::vector<index_t> rows(50);
    std::vector<index_t> columns(static_cast<std::size_t>(p));
    std::iota(rows.begin(), rows.end(), 0);
    std::iota(columns.begin(), columns.end(), 0);
    std::mt19937 generator{seed};
    std::shuffle(rows.begin(), rows.end(), generator);
    std::shuffle(columns.begin(), columns.end(), generator);
    drawn_sparse_problem permuted = drawn;
    for (index_t i = 0; i < 50; ++i) {
      permuted.s[i] = drawn.s[rows[static_cast<std::size_t>(i)]];
      for (index_t j = 0; j < p; ++j)
        permuted.X(i, j) = drawn.X(rows[static_cast<std::size_t>(i)],
                                   columns[static_cast<std::size_t>(j)]);
    }
    const index_vector groups = one_group(p);
    const sparse_problem first{drawn.X, drawn.s, true};
    const sparse_problem second{permuted.X, permuted.s, true};
    const search_options options{.groups = groups, .with_l2 = seed % 4 < 2};
    const group_strengths a = strength_search{first, options}.find().strengths;
    const group_strengths b = strength_search{second, options}.find().strengths;
    const sparse_fit fit_a = fit(first, spread(a, groups));
    const sparse_fit fit_b = fit(second, spread(b, groups));
    double largest = 0.0;
    double distance = 0.0;
    for (index_t j = 0; j < p; ++j) {
      const double w = fit_a.weights[columns[static_cast<std::size_t>(j)]];
      largest = std::max(largest, std::abs(w));
      distance = std::max(distance, std::abs(w - fit_b.weights[j]));
    }
    if (distance <= 1e-6 * largest) ++same;
  }
  EXPECT_GE(same, 19);
}

TEST(strength_search, ends_at_the_limit_with_the_best_point_so_far) {
  const drawn_sparse_problem drawn{50, 10, 1};
  const sparse_problem problem{drawn.X, drawn.s, true};
  const index_vector groups = one_group(10);
  double least = 1e300;
  search_options options{.groups = groups, .max_evaluations = 5};
  options.observe = [&](int, double loss, const group_strengths&) {
    least = std::min(least, loss);
  };
  const search_result found = strength_search{problem, options}.find();
  EXPECT_TRUE(found.end == run_end::iteration_limit);
  EXPECT_EQ(found.num_evaluations, 6);
  EXPECT_EQ(found.loss, least);
}

TEST(strength_search, observer_ends_it) {
  const drawn_sparse_problem drawn{50, 10, 1};
  const sparse_problem problem{drawn.X, drawn.s, true};
  const index_vector groups = one_group(10);
  search_options options{.groups = groups};
  options.observe = [&](int evaluation, double, const group_strengths&) {
    if (evaluation == 3) throw optimizer_iteration_limit_error{};
  };
  const search_result found = strength_search{problem, options}.find();
  EXPECT_TRUE(found.end == run_end::iteration_limit);
  EXPECT_EQ(found.num_evaluations, 4);
}

}  // namespace

}  // namespace corvane::model::sparse_path
