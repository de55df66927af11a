// SPDX-License-Identifier: BSD-3-Clause
//
// The score as a function of some hyperparameters, held against the one of all of them.
#include "model/linear_linked_regression/detail/special_case_objective.h"

#include <gtest/gtest.h>

#include <memory>

#include "classification_problem.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "penalty_kind.h"
#include "polished_optimizer.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using linear_linked_regression_detail::special_case_objective;

// Four hyperparameters: a ridge and a lasso on each of two groups.
constexpr index_t num_all = 4;
constexpr special_case lasso_alone{2, 2, 1.0};

aloocv_objective elastic_score() {
  const classification_problem data = drawn_problem(40, 4, 3);
  return {std::make_shared<polished_optimizer>(),
          std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
          penalty_of(penalty_kind::elastic, cyclic_groups(4, 2)), dense_matrix{data.X},
          dense_vector{data.y}};
}

dense_vector point(double first, double second) {
  dense_vector x{lasso_alone.size};
  x[0] = first;
  x[1] = second;
  return x;
}

struct evaluation {
  explicit evaluation(index_t size) : gradient{size}, hessian{size, size} {}
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
};

evaluation evaluated(second_order_objective& objective, const_vector_view x) {
  evaluation at{x.size()};
  EXPECT_TRUE(
      objective.compute_value_gradient_hessian(x, at.value, at.gradient, at.hessian));
  return at;
}

// What the special case says, and what the whole score does of these hyperparameters.
void expect_part_of(const evaluation& whole, const evaluation& part) {
  EXPECT_EQ(part.value, whole.value);
  for (index_t j = 0; j < part.gradient.size(); ++j) {
    EXPECT_EQ(part.gradient[j], whole.gradient[lasso_alone.first + j]);
    for (index_t i = j; i < part.gradient.size(); ++i)
      EXPECT_EQ(part.hessian(i, j),
                whole.hessian(lasso_alone.first + i, lasso_alone.first + j));
  }
}

TEST(special_case_objective, is_the_score_where_all_other_hyperparameters_are_zero) {
  aloocv_objective score = elastic_score();
  aloocv_objective same_score = elastic_score();
  special_case_objective alone{score, num_all, lasso_alone};
  const dense_vector x = point(0.4, 0.7);
  const dense_vector theta = alone.expand(x);
  ASSERT_EQ(theta.size(), num_all);
  for (index_t a = 0; a < num_all; ++a)
    EXPECT_EQ(theta[a], a < lasso_alone.first ? 0.0 : x[a - lasso_alone.first]);
  expect_part_of(evaluated(same_score, theta), evaluated(alone, x));
}

TEST(special_case_objective, is_undefined_where_the_score_is) {
  aloocv_objective score = elastic_score();
  special_case_objective alone{score, num_all, lasso_alone};
  const dense_vector x = point(0.4, 1e200);
  evaluation at{2};
  EXPECT_FALSE(alone.compute_value(x, at.value));
  EXPECT_FALSE(alone.compute_gradient_hessian(x, at.gradient, at.hessian));
}

// A step that brought nothing, of the one strength that is not the same at both ends.
TEST(special_case_objective, moves_its_point_where_the_score_does) {
  aloocv_objective score = elastic_score();
  special_case_objective alone{score, num_all, lasso_alone};
  const auto adjusted = [&](dense_vector x, double value) {
    evaluation at = evaluated(alone, x);
    at.value = value;
    alone.begin_iteration(x, at.value, at.gradient, at.hessian);
    const bool is_moved = alone.adjust_point(x, at.value, at.gradient, at.hessian);
    // The score is at the middle of the step now, and evaluates nothing anew.
    if (is_moved) expect_part_of(evaluated(score, alone.expand(x)), at);
    return x;
  };
  EXPECT_EQ(adjusted(point(0.4, 0.75), 0.0)[1], 0.75);
  const dense_vector middle = adjusted(point(0.4, 0.25), 1e6);
  EXPECT_EQ(middle[0], 0.4);
  EXPECT_EQ(middle[1], 0.5);
}

}  // namespace

}  // namespace corvane::model
