// SPDX-License-Identifier: BSD-3-Clause
//
// The sparse matrices of derivatives in the hyperparameters: which entries are stored,
// where the rows begin, and that the result can be multiplied.
#include "model/linear_linked_regression/hyperparameter_rows.h"

#include <gtest/gtest.h>

#include <limits>

#include "penalty_probe.h"

namespace corvane::model {

namespace {

using entry = variable_mapping::entry;
using indices = std::vector<index_t>;
using enum regularizer_status;

constexpr double s = 0.01;

entry group(index_t g) { return entry{std::in_place_type<index_t>, g}; }

// Weights 0 and 3 are group 0, weight 1 is group 1, weight 2 is an intercept.
variable_mapping two_groups() {
  return variable_mapping{{group(0), group(1), entry{0.0}, group(0)}};
}

const numbers strengths{2.0, -0.5};
const numbers two_kinds{2.0, -0.5, 1.5, 0.25};
const numbers outside{0.5, -2.0, 7.0, 1.0};

sparse_matrix made_by(const regularizer& penalty, sparse_operation compute,
                      const numbers& theta, const numbers& w) {
  sparse_matrix out;
  EXPECT_EQ((penalty.*compute)(view_of(theta), view_of(w), out), written);
  return out;
}

TEST(pair_index, packs_the_upper_triangle_row_by_row) {
  index_t next = 0;
  for (index_t a = 0; a < 5; ++a)
    for (index_t b = a; b < 5; ++b) EXPECT_EQ(pair_index(a, b, 5), next++);
  EXPECT_EQ(num_pairs(5), next);
}

TEST(hyperparameter_rows, of_a_strength_hold_its_group_and_nothing_else) {
  const ridge_regularizer ridge{two_groups()};
  const sparse_matrix rows = made_by(ridge, gradient_in_theta, strengths, outside);
  EXPECT_EQ(rows.num_rows, 2);
  EXPECT_EQ(rows.num_columns, 4);
  EXPECT_EQ(rows.row_pointers, (indices{0, 2, 3}));
  EXPECT_EQ(rows.column_indices, (indices{0, 3, 1}));
  EXPECT_EQ(rows.values, (numbers{2.0, 4.0, 2.0}));
}

TEST(hyperparameter_rows, of_pairs_of_different_groups_are_empty) {
  const ridge_regularizer ridge{two_groups()};
  const sparse_matrix rows =
      made_by(ridge, second_derivative_in_theta_twice, strengths, outside);
  EXPECT_EQ(rows.num_rows, 3);
  EXPECT_EQ(rows.row_pointers, (indices{0, 2, 2, 3}));
  EXPECT_EQ(rows.column_indices, (indices{0, 3, 1}));
  EXPECT_EQ(rows.values, (numbers{2.0, 2.0, 2.0}));
}

// Of ten pairs four: (a0, a0), (a1, a1), (b0, b0), (b1, b1).
TEST(hyperparameter_rows, of_an_elastic_penalty_couple_no_two_kinds) {
  const elastic_regularizer elastic{two_groups(), s};
  const sparse_matrix rows = made_by(elastic, gradient_in_theta_twice, two_kinds, outside);
  EXPECT_EQ(rows.num_rows, 10);
  EXPECT_EQ(rows.row_pointers, (indices{0, 2, 2, 2, 2, 3, 3, 3, 5, 5, 6}));
  EXPECT_EQ(rows.column_indices, (indices{0, 3, 1, 0, 3, 1}));
  EXPECT_EQ(rows.values, (numbers{1.0, 2.0, -4.0, 2.0, 2.0, -2.0}));
}

// The square has no third derivative: its strengths, the first two, move nothing.
TEST(hyperparameter_rows, of_an_elastic_penalty_move_a_third_derivative_by_one_kind) {
  const elastic_regularizer elastic{two_groups(), s};
  const numbers inside{0.004, -0.002, 7.0, 0.001};
  const sparse_matrix rows = made_by(elastic, third_derivative_in_theta, two_kinds, inside);
  EXPECT_EQ(rows.row_pointers, (indices{0, 0, 0, 2, 3}));
  EXPECT_EQ(rows.column_indices, (indices{0, 3, 1}));
  sparse_matrix none;
  EXPECT_EQ(elastic.compute_third_derivative_hyperparameter_derivative(
                view_of(two_kinds), view_of(outside), none),
            identically_zero);
}

// Of ten pairs six: those above, with (lambda0, alpha0) and (lambda1, alpha1) besides.
TEST(hyperparameter_rows, of_a_bridge_penalty_couple_strength_and_exponent_of_a_group) {
  const bridge_regularizer bridge{two_groups(), s};
  const sparse_matrix rows = made_by(bridge, gradient_in_theta_twice, two_kinds, outside);
  EXPECT_EQ(rows.row_pointers, (indices{0, 2, 2, 4, 4, 5, 5, 6, 8, 8, 9}));
  EXPECT_EQ(rows.column_indices, (indices{0, 3, 0, 3, 1, 1, 0, 3, 1}));
}

TEST(hyperparameter_rows, do_not_store_exact_zeros_and_keep_the_empty_row) {
  const lasso_regularizer lasso{two_groups(), s};
  const numbers w{0.5, 0.004, 7.0, 1.0};  // group 1 alone is in the zone
  const sparse_matrix rows = made_by(lasso, second_derivative_in_theta, strengths, w);
  EXPECT_EQ(rows.num_rows, 2);
  EXPECT_EQ(rows.row_pointers, (indices{0, 0, 1}));
  EXPECT_EQ(rows.column_indices, (indices{1}));
}

TEST(hyperparameter_rows, a_row_without_variables_is_empty_and_no_failure) {
  sparse_row_builder builder{3, 4};
  builder.begin_row();
  builder.begin_row();
  builder.append(2, -1.0);
  builder.append(0, 0.0);
  builder.begin_row();
  sparse_matrix rows;
  EXPECT_EQ(builder.finish(4, rows), written);
  EXPECT_EQ(rows.num_rows, 3);
  EXPECT_EQ(rows.row_pointers, (indices{0, 0, 1, 1}));
  EXPECT_EQ(rows.column_indices, (indices{2}));
}

TEST(hyperparameter_rows, keep_an_entry_that_is_not_a_number) {
  const ridge_regularizer ridge{two_groups()};
  const numbers w{0.0, std::numeric_limits<double>::quiet_NaN(), 1.0, 0.0};
  const sparse_matrix rows = made_by(ridge, gradient_in_theta, strengths, w);
  EXPECT_EQ(rows.row_pointers, (indices{0, 0, 1}));
  EXPECT_TRUE(std::isnan(rows.values[0]));
}

TEST(hyperparameter_rows, of_zeros_alone_leave_the_output_untouched) {
  const ridge_regularizer ridge{two_groups()};
  const numbers zeros(4, 0.0);
  sparse_matrix out;
  EXPECT_EQ(ridge.compute_gradient_hyperparameter_derivative(view_of(strengths),
                                                             view_of(zeros), out),
            identically_zero);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(out.num_rows, 0);
}

TEST(hyperparameter_rows, with_every_weight_outside_a_lasso_has_none_above_the_gradient) {
  const lasso_regularizer lasso{two_groups(), s};
  for (const auto compute : {second_derivative_in_theta, second_derivative_in_theta_twice,
                             third_derivative_in_theta}) {
    sparse_matrix out;
    EXPECT_EQ((lasso.*compute)(view_of(strengths), view_of(outside), out),
              identically_zero);
  }
}

TEST(hyperparameter_rows, hold_no_more_memory_than_entries) {
  const lasso_regularizer lasso{two_groups(), s};
  const sparse_matrix rows =
      made_by(lasso, second_derivative_in_theta, strengths, {0.5, 0.004, 7.0, 1.0});
  EXPECT_EQ(rows.values.capacity(), 1U);
  EXPECT_EQ(rows.column_indices.capacity(), 1U);
}

TEST(hyperparameter_rows, replace_what_the_output_held_before) {
  const ridge_regularizer ridge{two_groups()};
  sparse_matrix out = made_by(ridge, second_derivative_in_theta_twice, strengths, outside);
  ASSERT_EQ(ridge.compute_gradient_hyperparameter_derivative(view_of(strengths),
                                                             view_of(outside), out),
            written);
  EXPECT_EQ(out.row_pointers, (indices{0, 2, 3}));
  EXPECT_EQ(out.num_rows, 2);
}

}  // namespace

}  // namespace corvane::model
