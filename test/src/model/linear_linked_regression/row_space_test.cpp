// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/row_space.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "classification_problem.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::row_space;

constexpr index_t n = 5;
constexpr index_t p = 17;

// Columns 0, 2, .. in a wide group, 1 and 3 in a narrow one, the others free.
variable_mapping mixed_mapping() {
  std::vector<variable_mapping::entry> entries(p, 0.0);
  for (std::size_t k = 0; k < static_cast<std::size_t>(p); k += 2) entries[k] = index_t{0};
  entries[1] = entries[3] = index_t{1};
  return variable_mapping{entries};
}

double product(const_matrix_view X, index_t i, const_vector_view w) {
  double z = 0.0;
  for (index_t j = 0; j < w.size(); ++j) z += X(i, j) * w[j];
  return z;
}

TEST(row_space, keeps_predictions_and_penalty_of_all_weights) {
  const classification_problem problem = drawn_problem(n, p, 4);
  const ridge_regularizer penalty{mixed_mapping()};
  const auto reduced = row_space::find(problem.X, penalty);
  ASSERT_TRUE(reduced.has_value());
  EXPECT_EQ(reduced->design.cols(), n + 2 + 6);
  std::mt19937 generator{1};
  std::normal_distribution<double> normal;
  dense_vector u{reduced->design.cols()};
  for (double& entry : u) entry = normal(generator);
  const dense_vector w = reduced->expand(u);
  ASSERT_EQ(w.size(), p);
  for (index_t i = 0; i < n; ++i)
    EXPECT_NEAR(product(problem.X, i, w), product(reduced->design, i, u), 1e-13);
  const std::vector<double> theta{0.7, -3.0};
  double of_w = 0.0;
  double of_u = 0.0;
  ASSERT_TRUE(penalty.compute_value({theta.data(), 2}, w, of_w));
  ASSERT_TRUE(reduced->penalty->compute_value({theta.data(), 2}, u, of_u));
  EXPECT_NEAR(of_w, of_u, 1e-13 * of_w);
}

// What the rows span: for any weights there are reduced ones with the same predictions.
TEST(row_space, has_the_gram_matrix_of_the_features) {
  const classification_problem problem = drawn_problem(n, p, 4);
  const ridge_regularizer penalty{cyclic_groups(p, 1)};
  const auto reduced = row_space::find(problem.X, penalty);
  ASSERT_TRUE(reduced.has_value());
  ASSERT_EQ(reduced->design.cols(), n);
  for (index_t i = 0; i < n; ++i)
    for (index_t k = 0; k < n; ++k) {
      double of_X = 0.0;
      double of_design = 0.0;
      for (index_t j = 0; j < p; ++j) of_X += problem.X(i, j) * problem.X(k, j);
      for (index_t j = 0; j < n; ++j)
        of_design += reduced->design(i, j) * reduced->design(k, j);
      EXPECT_NEAR(of_X, of_design, 1e-13 * (1.0 + std::abs(of_X)));
    }
}

TEST(row_space, is_not_taken_where_it_gains_nothing_or_changes_the_penalty) {
  const classification_problem wide = drawn_problem(n, p, 4);
  const classification_problem square = drawn_problem(n, n, 4);
  EXPECT_FALSE(row_space::find(square.X, ridge_regularizer{cyclic_groups(n, 1)}));
  EXPECT_FALSE(row_space::find(wide.X, ridge_regularizer{cyclic_groups(p, 4)}));
  for (const penalty_kind kind :
       {penalty_kind::lasso, penalty_kind::elastic, penalty_kind::bridge})
    EXPECT_FALSE(row_space::find(wide.X, *penalty_of(kind, cyclic_groups(p, 1))));
}

}  // namespace

}  // namespace corvane::model
