// SPDX-License-Identifier: BSD-3-Clause
//
// Data that determine a fit badly, under each penalty: it ends, its record is finite, and
// `within_tolerance` alone says whether a penalty was found.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "classification_problem.h"
#include "common/finite.h"
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"
#include "optimization/optimizer_error.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

struct difficulty {
  std::string name;
  index_t n, p;
  std::function<void(classification_problem&)> make;
  index_t num_groups = 1;
};

using changes = classification_problem&;

double sign_of(double x) { return x < 0.0 ? -1.0 : 1.0; }

void separate(changes data) {
  for (index_t i = 0; i < data.X.rows(); ++i) data.y[i] = sign_of(data.X(i, 0));
}

void copy_column(changes data, index_t from, index_t to) {
  for (index_t i = 0; i < data.X.rows(); ++i) data.X(i, to) = data.X(i, from);
}

void scale_all(changes data, double factor) {
  for (double& x : data.X) x *= factor;
}

std::vector<difficulty> difficulties() {
  return {
      {"more_features_than_rows", 30, 60, [](changes) {}},
      {"far_more_features_than_rows", 12, 150, [](changes) {}},
      {"separable", 80, 3, separate},
      {"separable_by_the_only_feature", 40, 1, separate},
      {"separable_and_wide", 20, 40, separate},
      {"one_feature", 50, 1, [](changes) {}},
      {"a_constant_column", 50, 3,
       [](changes data) {
         for (index_t i = 0; i < 50; ++i) data.X(i, 1) = 3.0;
       }},
      {"equal_columns_0_and_3", 60, 4, [](changes data) { copy_column(data, 0, 3); }},
      {"equal_columns_all", 60, 4,
       [](changes data) {
         for (index_t j = 1; j < 4; ++j) copy_column(data, 0, j);
       }},
      {"all_constant", 30, 3,
       [](changes data) {
         for (double& x : data.X) x = 2.0;
       }},
      {"two_rows", 2, 1,
       [](changes data) {
         data.y[0] = -1.0;
         data.y[1] = 1.0;
       }},
      {"labels_without_any_pattern", 60, 3,
       [](changes data) {
         for (index_t i = 0; i < 60; ++i) data.y[i] = i % 2 == 0 ? 1.0 : -1.0;
       }},
      {"a_single_positive", 40, 3,
       [](changes data) {
         for (double& y : data.y) y = -1.0;
         data.y[7] = 1.0;
       }},
      {"huge_values", 40, 3, [](changes data) { scale_all(data, 1e100); }},
      {"vanishing_values", 40, 3, [](changes data) { scale_all(data, 1e-200); }},
      {"a_group_per_column", 60, 8, [](changes) {}, 8},
      {"a_group_per_column_of_a_wide_design", 15, 20, [](changes) {}, 20},
  };
}

class difficult_data : public ::testing::TestWithParam<difficulty> {};

TEST_P(difficult_data, gives_a_finite_record_under_each_penalty) {
  const difficulty& given = GetParam();
  classification_problem data = drawn_problem(given.n, given.p, 11);
  given.make(data);
  trust_region_optimizer_options tolerances;
  tolerances.tolerance = tolerances.tolerance2 = 1e-4;
  linear_linked_regression_model_options options;
  options.outer_optimizer = make_trust_region_optimizer(tolerances);
  options.inner_optimizer = make_trust_region_optimizer(tolerances);
  const linear_linked_regression_model_descriptor descriptor{options};
  for (const penalty_kind kind : all_penalties) {
    const auto penalty =
        penalty_of(kind, cyclic_groups(given.p + 1, given.num_groups, true));
    // Outside of the zone of a smoothed penalty its curvature is 0: the Hessian of equal
    // columns is singular there, and rounding decides whether it has a Cholesky factor.
    const bool may_be_undefined =
        kind == penalty_kind::lasso && given.name.find("equal_columns") == 0;
    linear_linked_regression_model model;
    try {
      model = descriptor.fit(data.y, data.X, penalty);
    } catch (const optimizer_undefined_error&) {
      EXPECT_TRUE(may_be_undefined);
      continue;
    }
    EXPECT_TRUE(is_finite(model.result.value));
    EXPECT_TRUE(is_finite(model.bias));
    EXPECT_TRUE(all_finite(model.result.x));
    EXPECT_TRUE(all_finite(model.weights));
    dense_vector proba{given.n};
    model.predict_proba(data.X, proba);
    for (const double p : proba) EXPECT_TRUE(p >= 0.0 && p <= 1.0);
  }
}

INSTANTIATE_TEST_SUITE_P(each, difficult_data, ::testing::ValuesIn(difficulties()),
                         [](const auto& instance) { return instance.param.name; });

// Where theta acts on nothing there is no best one.
TEST(difficult_data, are_not_within_tolerance_when_the_penalty_has_nothing_to_act_on) {
  classification_problem data = drawn_problem(30, 3, 11);
  for (double& x : data.X) x = 2.0;
  const linear_linked_regression_model_descriptor descriptor{{}};
  EXPECT_FALSE(descriptor.fit(data.y, data.X).result.within_tolerance);
}

TEST(difficult_data, are_classified_without_error_when_they_are_separable) {
  classification_problem data = drawn_problem(80, 3, 11);
  separate(data);
  const linear_linked_regression_model model =
      linear_linked_regression_model_descriptor{{}}.fit(data.y, data.X);
  dense_vector labels{80};
  model.predict(data.X, labels);
  for (index_t i = 0; i < 80; ++i) EXPECT_EQ(labels[i], data.y[i]);
}

}  // namespace

}  // namespace corvane::model
