// SPDX-License-Identifier: BSD-3-Clause
//
// Groupings as a user's function or a clustering gives them, in no order: the grouped
// derivatives are still those of the grouped value.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "optimization/interface_only/grouped_variable_objective.h"
#include "support/objective_law.h"

namespace corvane {

namespace {

// F(p) = sum over i < j of (i + 2 j + 1) p_i^2 p_j, whose mixed derivatives all differ.
class pairwise_products final : public second_order_objective {
 public:
  bool compute_value(const_vector_view p, double& value) override {
    value = 0.0;
    for (index_t j = 0; j < p.size(); ++j)
      for (index_t i = 0; i < j; ++i) value += weight(i, j) * p[i] * p[i] * p[j];
    return true;
  }

  bool compute_gradient(const_vector_view p, vector_view gradient) override {
    std::fill(gradient.begin(), gradient.end(), 0.0);
    for (index_t j = 0; j < p.size(); ++j)
      for (index_t i = 0; i < j; ++i) {
        gradient[i] += 2.0 * weight(i, j) * p[i] * p[j];
        gradient[j] += weight(i, j) * p[i] * p[i];
      }
    return true;
  }

  bool compute_hessian(const_vector_view p, symmetric_view hessian) override {
    for (index_t j = 0; j < p.size(); ++j)
      for (index_t i = j; i < p.size(); ++i) hessian(i, j) = 0.0;
    for (index_t j = 0; j < p.size(); ++j)
      for (index_t i = 0; i < j; ++i) {
        hessian(i, i) += 2.0 * weight(i, j) * p[j];
        hessian(i, j) += 2.0 * weight(i, j) * p[i];
      }
    return true;
  }

 private:
  static double weight(index_t i, index_t j) { return static_cast<double>(i + 2 * j + 1); }
};

::testing::AssertionResult obeys_the_law_grouped_by(const std::vector<index_t>& map,
                                                    const std::vector<double>& x) {
  index_vector variable_map(static_cast<index_t>(map.size()));
  std::copy(map.begin(), map.end(), variable_map.begin());
  grouped_variable_objective grouped(std::move(variable_map),
                                     std::make_shared<pairwise_products>());
  return testing::obeys_objective_law(grouped, x);
}

TEST(unsorted_grouping, the_ungrouped_problem_obeys_the_law) {
  pairwise_products objective;
  EXPECT_TRUE(testing::obeys_objective_law(objective, {0.7, -1.3, 0.4, 2.1}));
}

TEST(unsorted_grouping, derivatives_hold_where_the_groups_are_in_order) {
  EXPECT_TRUE(obeys_the_law_grouped_by({0, 0, 1, 1, 2}, {0.7, -1.3, 0.4}));
}

TEST(unsorted_grouping, derivatives_hold_where_the_groups_are_in_reverse) {
  EXPECT_TRUE(obeys_the_law_grouped_by({1, 0}, {0.7, -1.3}));
  EXPECT_TRUE(obeys_the_law_grouped_by({2, 1, 1, 0}, {0.7, -1.3, 0.4}));
}

TEST(unsorted_grouping, derivatives_hold_where_a_group_is_scattered) {
  EXPECT_TRUE(obeys_the_law_grouped_by({0, 1, 0, 2}, {0.7, -1.3, 0.4}));
  EXPECT_TRUE(obeys_the_law_grouped_by({2, 0, 1, 0, 2, 1}, {0.7, -1.3, 0.4}));
}

}  // namespace

}  // namespace corvane
