// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/canonical_problem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "classification_problem.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::canonical_problem;
using linear_linked_regression_detail::make_canonical;
using numbers = std::vector<double>;
using indices = std::vector<index_t>;

const variable_mapping groups_and_free_column{
    {index_t{0}, index_t{1}, index_t{2}, 0.0, index_t{1}}};

// Features of deviation 1, and classes of unequal size.
classification_problem given(unsigned seed = 4) { return drawn_problem(41, 5, seed); }

canonical_problem canonical(const classification_problem& data,
                            const variable_mapping& mapping = groups_and_free_column) {
  return make_canonical(dense_matrix{data.X}, data.X.cols(), data.y,
                        *penalty_of(penalty_kind::elastic, mapping));
}

indices permutation(index_t size, unsigned seed) {
  indices order(static_cast<std::size_t>(size));
  std::iota(order.begin(), order.end(), index_t{0});
  std::shuffle(order.begin(), order.end(), std::mt19937{seed});
  return order;
}

classification_problem with_rows(const classification_problem& data, const indices& rows) {
  classification_problem changed{dense_matrix{data.X}, dense_vector{data.y}};
  for (index_t i = 0; i < data.X.rows(); ++i) {
    const index_t from = rows[static_cast<std::size_t>(i)];
    changed.y[i] = data.y[from];
    for (index_t j = 0; j < data.X.cols(); ++j) changed.X(i, j) = data.X(from, j);
  }
  return changed;
}

classification_problem with_columns(const classification_problem& data,
                                    const indices& columns, double factor = 1.0) {
  classification_problem changed{dense_matrix{data.X}, dense_vector{data.y}};
  for (index_t i = 0; i < data.X.rows(); ++i)
    for (index_t j = 0; j < data.X.cols(); ++j)
      changed.X(i, j) = factor * data.X(i, columns[static_cast<std::size_t>(j)]);
  return changed;
}

classification_problem with_swapped_classes(classification_problem data) {
  for (double& target : data.y) target = -target;
  return data;
}

numbers entries_of(const dense_matrix& X) { return {X.begin(), X.end()}; }
numbers entries_of(const dense_vector& y) { return {y.begin(), y.end()}; }
indices entries_of(const index_vector& order) { return {order.begin(), order.end()}; }

numbers negated(numbers values) {
  for (double& value : values) value = -value;
  return values;
}

const indices in_order{0, 1, 2, 3, 4};

TEST(canonical_problem, is_the_same_to_the_last_bit_for_rows_in_another_order) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const canonical_problem plain = canonical(given(seed));
    const canonical_problem changed =
        canonical(with_rows(given(seed), permutation(41, seed)));
    EXPECT_EQ(entries_of(changed.design), entries_of(plain.design)) << seed;
    EXPECT_EQ(entries_of(changed.target), entries_of(plain.target)) << seed;
    EXPECT_EQ(entries_of(changed.columns), entries_of(plain.columns)) << seed;
  }
}

TEST(canonical_problem, is_the_same_to_the_last_bit_for_columns_in_another_order) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const indices order = permutation(5, seed);
    const canonical_problem plain = canonical(given(seed));
    const canonical_problem changed = canonical(with_columns(given(seed), order));
    EXPECT_EQ(entries_of(changed.design), entries_of(plain.design)) << seed;
    EXPECT_EQ(entries_of(changed.target), entries_of(plain.target)) << seed;
    for (index_t k = 0; k < 5; ++k)
      EXPECT_EQ(order[static_cast<std::size_t>(changed.columns[k])], plain.columns[k]);
  }
}

TEST(canonical_problem, is_the_same_to_the_last_bit_for_mirrored_columns) {
  const canonical_problem plain = canonical(given());
  const canonical_problem changed = canonical(with_columns(given(), in_order, -1.0));
  EXPECT_EQ(entries_of(changed.design), entries_of(plain.design));
  EXPECT_EQ(entries_of(changed.target), entries_of(plain.target));
  EXPECT_EQ(entries_of(changed.signs), negated(entries_of(plain.signs)));
}

TEST(canonical_problem, is_the_same_to_the_last_bit_for_entries_with_other_last_digits) {
  const canonical_problem plain = canonical(given());
  const canonical_problem changed = canonical(with_columns(given(), in_order, 1.0 + 1e-15));
  EXPECT_NE(entries_of(with_columns(given(), in_order, 1.0 + 1e-15).X),
            entries_of(given().X));
  EXPECT_EQ(entries_of(changed.design), entries_of(plain.design));
}

// The deviation is a power of two, 1/8: rounding must not choose what it is taken for.
TEST(canonical_problem, rounds_columns_of_length_1_alike_that_have_sixty_four_entries) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    classification_problem data = drawn_problem(64, 5, seed);
    for (index_t j = 0; j < 5; ++j) {
      const vector_view column = data.X.view().column(j);
      const double mean = std::accumulate(column.begin(), column.end(), 0.0) / 64.0;
      double squares = 0.0;
      for (double& x : column) squares += (x - mean) * (x - mean);
      for (double& x : column) x = (x - mean) / std::sqrt(squares);
    }
    EXPECT_EQ(entries_of(canonical(with_rows(data, permutation(64, seed))).design),
              entries_of(canonical(data).design));
    EXPECT_EQ(entries_of(canonical(with_columns(data, in_order, 1.0 + 1e-15)).design),
              entries_of(canonical(data).design));
  }
}

TEST(canonical_problem, is_the_same_for_small_columns_in_another_order) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const classification_problem data = drawn_problem(41, 5, seed, 1e-12);
    const indices order = permutation(5, seed);
    EXPECT_EQ(entries_of(canonical(with_columns(data, order)).design),
              entries_of(canonical(data).design));
  }
}

TEST(canonical_problem, takes_values_whose_squares_or_sums_overflow) {
  for (const double scale : {1e-170, 1e170, 4e307}) {
    classification_problem data = given();
    for (double& x : data.X) x = std::clamp(x, -4.0, 4.0) * scale;
    const canonical_problem problem = canonical(data);
    numbers expected = entries_of(data.X);
    numbers found = entries_of(problem.design);
    for (double& x : expected) x = std::abs(x);
    for (double& x : found) x = std::abs(x);
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, expected);
  }
}

TEST(canonical_problem, tells_equal_columns_apart_by_their_groups) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    classification_problem data = given(seed);
    for (index_t i = 0; i < 41; ++i) data.X(i, 4) = data.X(i, 0);
    const variable_mapping here{
        {index_t{0}, index_t{0}, index_t{1}, index_t{1}, index_t{2}}};
    const variable_mapping there{
        {index_t{2}, index_t{0}, index_t{1}, index_t{1}, index_t{0}}};
    const canonical_problem plain = canonical(data, here);
    const canonical_problem swapped = canonical(data, there);
    EXPECT_EQ(entries_of(swapped.design), entries_of(plain.design)) << seed;
    for (std::size_t k = 0; k < 3; ++k)
      EXPECT_EQ(swapped.penalty->mapping().groups()[k],
                plain.penalty->mapping().groups()[k])
          << seed;
  }
}

TEST(canonical_problem, changes_all_signs_and_nothing_else_with_the_classes) {
  const canonical_problem plain = canonical(given());
  const canonical_problem changed = canonical(with_swapped_classes(given()));
  EXPECT_EQ(entries_of(changed.design), negated(entries_of(plain.design)));
  EXPECT_EQ(entries_of(changed.target), negated(entries_of(plain.target)));
  EXPECT_EQ(entries_of(changed.columns), entries_of(plain.columns));
}

TEST(canonical_problem, turns_a_bias_column_that_has_no_slope_with_the_others) {
  classification_problem data = with_intercept_column(drawn_problem(40, 5, 4));
  for (index_t i = 0; i < 40; ++i) data.y[i] = i % 2 == 0 ? 1.0 : -1.0;
  const canonical_problem plain = canonical(data);
  EXPECT_EQ(plain.columns[4], 4);  // the last, as it has no slope
  const canonical_problem changed = canonical(with_swapped_classes(data));
  EXPECT_EQ(entries_of(changed.design), negated(entries_of(plain.design)));
  EXPECT_EQ(entries_of(changed.signs), negated(entries_of(plain.signs)));
}

TEST(canonical_problem, holds_the_entries_that_were_given_up_to_their_last_digits) {
  const classification_problem data = given();
  const canonical_problem problem = canonical(data);
  for (index_t k = 0; k < 5; ++k) {
    const index_t j = problem.columns[k];
    numbers expected(data.X.view().column(j).begin(), data.X.view().column(j).end());
    if (problem.signs[j] < 0.0) expected = negated(expected);
    std::sort(expected.begin(), expected.end());
    numbers found(problem.design.view().column(k).begin(),
                  problem.design.view().column(k).end());
    std::sort(found.begin(), found.end());
    for (std::size_t i = 0; i < 41; ++i) EXPECT_NEAR(found[i], expected[i], 0x1p-32);
  }
}

TEST(canonical_problem, rounds_in_units_of_the_deviation_and_no_more_columns_than_asked) {
  const auto largest_change = [](double scale, double shift, index_t num_features) {
    classification_problem data = given();
    for (double& x : data.X) x = scale * x + shift;
    const canonical_problem problem =
        make_canonical(dense_matrix{data.X}, num_features, data.y,
                       *penalty_of(penalty_kind::ridge, groups_and_free_column));
    double change = 0.0;
    for (index_t i = 0; i < 41; ++i) {
      double nearest = HUGE_VAL;
      for (index_t k = 0; k < 41; ++k)
        nearest = std::min(nearest, std::abs(std::abs(problem.design(i, 0)) -
                                             std::abs(data.X(k, problem.columns[0]))));
      change = std::max(change, nearest);
    }
    return change / scale;
  };
  for (const double scale : {1.0, 1e-20, 1e20}) {
    EXPECT_LT(largest_change(scale, 0.0, 5), 0x1p-32) << scale;
    EXPECT_GT(largest_change(scale, 0.0, 5), 0x1p-36) << scale;
  }
  EXPECT_LT(largest_change(1.0, 1e3, 5), 0x1p-32);
  EXPECT_EQ(largest_change(1.0, 1e9, 5), 0.0);  // no digits to spare
  EXPECT_EQ(largest_change(1.0, 0.0, 0), 0.0);
}

TEST(canonical_problem, has_the_penalty_of_the_weights_and_groups_where_they_stand_now) {
  constexpr double threshold = 0.05;
  const auto mapping = [] { return variable_mapping{groups_and_free_column}; };
  const std::vector<std::shared_ptr<const regularizer>> penalties{
      std::make_shared<ridge_regularizer>(mapping()),
      std::make_shared<lasso_regularizer>(mapping(), threshold),
      std::make_shared<elastic_regularizer>(mapping(), threshold),
      std::make_shared<bridge_regularizer>(mapping(), threshold)};
  for (const auto& penalty : penalties) {
    const classification_problem data = given();
    const canonical_problem problem =
        make_canonical(dense_matrix{data.X}, 5, data.y, *penalty);
    const index_t Q = penalty->num_hyperparameters();
    const numbers w{0.3, -0.004, 1.7, 5.0, -0.8};
    numbers theta(static_cast<std::size_t>(Q));
    for (std::size_t a = 0; a < theta.size(); ++a)
      theta[a] = 0.3 + 0.1 * static_cast<double>(a);
    numbers w_there;
    for (const index_t j : problem.columns)
      w_there.push_back(w[static_cast<std::size_t>(j)]);
    numbers theta_there;
    for (const index_t a : problem.hyperparameters)
      theta_there.push_back(theta[static_cast<std::size_t>(a)]);
    double expected = 0.0;
    double found = 0.0;
    EXPECT_TRUE(penalty->compute_value({theta.data(), Q}, {w.data(), 5}, expected));
    EXPECT_TRUE(problem.penalty->compute_value({theta_there.data(), Q}, {w_there.data(), 5},
                                               found));
    EXPECT_NEAR(found, expected, 1e-15 * expected);
  }
}

TEST(canonical_problem, numbers_the_groups_by_their_first_columns) {
  const canonical_problem problem = canonical(given());
  indices seen;
  for (const index_t j : problem.columns)
    if (j != 3)
      seen.push_back(std::array<index_t, 5>{0, 1, 2, -1, 1}[static_cast<std::size_t>(j)]);
  indices first_seen;
  for (const index_t g : seen)
    if (std::find(first_seen.begin(), first_seen.end(), g) == first_seen.end())
      first_seen.push_back(g);
  const indices order = entries_of(problem.hyperparameters);
  EXPECT_EQ(indices(order.begin(), order.begin() + 3), first_seen);
  for (std::size_t g = 0; g < 3; ++g) EXPECT_EQ(order[g + 3], order[g] + 3);
}

// Of 0 and 1: among so few values products with the target are often equal.
TEST(canonical_problem, tells_columns_of_equal_slopes_apart_by_how_they_go_with_others) {
  int ties = 0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    classification_problem data = drawn_problem(30, 5, seed);
    for (double& x : data.X) x = x > 0.0 ? 1.0 : 0.0;
    data = with_intercept_column(data);
    std::vector<double> slopes;
    for (index_t j = 0; j < 4; ++j) {
      double slope = 0.0;
      for (index_t i = 0; i < 30; ++i) slope += data.y[i] * data.X(i, j);
      slopes.push_back(std::abs(slope));
    }
    std::sort(slopes.begin(), slopes.end());
    if (std::adjacent_find(slopes.begin(), slopes.end()) != slopes.end()) ++ties;
    const canonical_problem plain = canonical(data);
    const canonical_problem changed = canonical(
        with_rows(with_columns(data, permutation(5, seed), -1.0), permutation(30, seed)));
    EXPECT_EQ(entries_of(changed.design), entries_of(plain.design)) << seed;
    EXPECT_EQ(entries_of(changed.target), entries_of(plain.target)) << seed;
  }
  EXPECT_GT(ties, 30);
}

TEST(canonical_problem, constant_columns_and_equal_ones_keep_the_order_they_have) {
  classification_problem data = given();
  for (index_t i = 0; i < 41; ++i) {
    data.X(i, 0) = data.X(i, 2) = 0.0;
    data.X(i, 3) = data.X(i, 1);
  }
  const indices columns = entries_of(canonical(data).columns);
  const auto place = [&](index_t j) {
    return std::find(columns.begin(), columns.end(), j) - columns.begin();
  };
  EXPECT_LT(place(1), place(3));
  EXPECT_LT(place(0), place(2));
  EXPECT_EQ(place(2), 4);
}

}  // namespace

}  // namespace corvane::model
