// SPDX-License-Identifier: BSD-3-Clause
//
// The groups of a ridge fit, and the point from which it starts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include "model/ridge_regression/grouping/cluster_weights.h"
#include "src/model/ridge_regression/fitted_ridge_check.h"

namespace corvane::model {

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

using score = ridge_objective_mode;
using grouping = ridge_grouping_mode;

TEST(make_variable_groups, no_grouping_gives_no_groups) {
  EXPECT_THAT(entries(make_variable_groups(grouping::none, 3, true)), IsEmpty());
}

TEST(make_variable_groups, all_share_one_group_with_the_flagged_one) {
  EXPECT_THAT(entries(make_variable_groups(grouping::all, 3, false)), ElementsAre(0, 0, 0));
  EXPECT_THAT(entries(make_variable_groups(grouping::all, 3, true)),
              ElementsAre(0, 0, 0, 0));
}

TEST(make_variable_groups, the_bias_gets_a_group_of_its_own) {
  EXPECT_THAT(entries(make_variable_groups(grouping::feature_bias, 2, false)),
              ElementsAre(0, 0));
  EXPECT_THAT(entries(make_variable_groups(grouping::feature_bias, 2, true)),
              ElementsAre(0, 0, 1));
}

ridge_regression_model fit_num_groups(score score_mode, const sample_data& data,
                                      std::uint64_t num_groups) {
  return ridge_regression_model_descriptor(make_options(score_mode, grouping::all))
      .fit_with_num_groups(data.y, data.X, num_groups);
}

TEST(ridge_grouping, as_many_groups_as_coefficients_are_no_grouping) {
  const sample_data data = make_sample(30, 4, 17);
  for (const score score_mode : all_scores) {
    const auto alone = fit_ridge(make_options(score_mode, grouping::none), data);
    EXPECT_THAT(entries(alone.regularization_groups), ElementsAre(0, 1, 2, 3));
    for (const std::uint64_t k : {std::uint64_t{4}, std::uint64_t{5}, ~std::uint64_t{0}}) {
      const auto grouped = fit_num_groups(score_mode, data, k);
      EXPECT_EQ(entries(grouped.weights), entries(alone.weights));
      EXPECT_EQ(entries(grouped.regularization), entries(alone.regularization));
      EXPECT_EQ(entries(grouped.regularization_groups),
                entries(alone.regularization_groups));
    }
  }
}

TEST(ridge_grouping, without_groups_the_bias_is_numbered_too) {
  const auto model =
      fit_ridge(make_options(score::gcv, grouping::none, {false, true, true, true, true}),
                make_sample(30, 3, 17));
  EXPECT_EQ(model.regularization.size(), 3);
  EXPECT_THAT(entries(model.regularization_groups), ElementsAre(0, 1, 2, 3));
}

TEST(ridge_grouping, one_group_is_one_penalty_for_all) {
  const sample_data data = make_sample(30, 4, 17);
  const auto common = fit_ridge(make_options(score::gcv, grouping::all), data);
  const auto grouped = fit_num_groups(score::gcv, data, 1);
  EXPECT_EQ(entries(grouped.weights), entries(common.weights));
  EXPECT_THAT(entries(grouped.regularization_groups), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(grouped.regularization.size(), 1);
}

// Coefficients of even columns are near 1 and those of odd columns near 0.05.
TEST(ridge_grouping, coefficients_of_similar_size_share_a_group) {
  const sample_data data = make_sample(200, 6, 29);
  for (const score score_mode : all_scores) {
    const auto model = fit_num_groups(score_mode, data, 2);
    EXPECT_EQ(model.regularization.size(), 2);
    EXPECT_TRUE(model.result.within_tolerance);
    expect_consistent({}, data, model);
    // Compare with the fit to those groups, given.
    const auto groups = entries(model.regularization_groups);
    const auto given = fit_ridge(make_options(score_mode, grouping::none), data, groups);
    EXPECT_EQ(entries(given.weights), entries(model.weights));
    EXPECT_LT(model.score, fit_ridge(make_options(score_mode, grouping::all), data).score);
  }
}

TEST(ridge_grouping, the_groups_are_the_clusters_of_the_squared_first_weights) {
  const sample_data data = make_sample(60, 5, 31);
  const auto first = fit_ridge(make_options(score::loocv, grouping::all), data);
  const reference_problem problem({}, data);
  std::vector<double> squares;
  for (std::size_t j = 0; j < 5; ++j) {
    const double normalized = first.weights[static_cast<index_t>(j)] *
                              double(problem.scales[j] / problem.target_scale);
    squares.push_back(normalized * normalized);
  }
  for (const index_t k : {2, 3, 4})
    EXPECT_EQ(entries(fit_num_groups(score::loocv, data, static_cast<std::uint64_t>(k))
                          .regularization_groups),
              entries(ridge_regression_detail::cluster_weights({squares.data(), 5}, k)));
}

// Of the rotated score this holds for a common penalty only: with several the rotated
// observations differ in leverage, and the rotation comes from a factorization of the
// columns in their order.
TEST(ridge_grouping, the_order_of_the_columns_does_not_matter) {
  const sample_data data = make_sample(50, 4, 37);
  const std::vector<index_t> order{1, 3, 0, 2};
  sample_data sorted{dense_matrix(50, 4), data.y};
  for (index_t j = 0; j < 4; ++j)
    for (index_t i = 0; i < 50; ++i)
      sorted.X(i, j) = data.X(i, order[static_cast<std::size_t>(j)]);
  for (const score score_mode : {score::loocv, score::range_risk}) {
    const auto scattered =
        fit_ridge(make_options(score_mode, grouping::none), data, {1, 0, 2, 0});
    const auto in_order =
        fit_ridge(make_options(score_mode, grouping::none), sorted, {0, 0, 1, 2});
    EXPECT_TRUE(scattered.result.within_tolerance);
    EXPECT_NEAR(scattered.score, in_order.score, 1e-12);
    for (index_t j = 0; j < 4; ++j)
      EXPECT_NEAR(in_order.weights[j],
                  scattered.weights[order[static_cast<std::size_t>(j)]], 1e-9);
    EXPECT_LT(largest_difference(entries(scattered.regularization),
                                 entries(in_order.regularization)),
              1e-9);
  }
}

TEST(ridge_grouping, groups_that_do_not_fit_the_data_are_rejected) {
  const sample_data data = make_sample(20, 3, 5);
  const auto fit = [&](const std::vector<index_t>& groups) {
    fit_ridge(make_options(score::gcv, grouping::none), data, groups);
  };
  EXPECT_THAT(
      [&] {
        fit({0, 1});
      },
      ThrowsMessage<std::invalid_argument>(HasSubstr("differ in number")));
  EXPECT_THAT(
      [&] {
        fit({0, 1, 2, 0});
      },
      ThrowsMessage<std::invalid_argument>(HasSubstr("differ in number")));
  for (const index_t bad : {index_t{-1}, index_t{3}, std::numeric_limits<index_t>::max()})
    EXPECT_THAT(
        [&] {
          fit({0, bad, 1});
        },
        ThrowsMessage<std::invalid_argument>(HasSubstr("out of range")));
}

TEST(ridge_grouping, zero_groups_are_rejected) {
  EXPECT_THROW(fit_num_groups(score::gcv, make_sample(20, 3, 5), 0), std::invalid_argument);
}

// Fits with an initializer that records the lengths of the points it fills.
std::vector<index_t> initializer_calls(std::uint64_t num_groups) {
  std::vector<index_t> lengths;
  auto options = make_options(score::gcv, grouping::none);
  options.initializer = [&lengths](vector_view point) {
    lengths.push_back(point.size());
    std::fill(point.begin(), point.end(), 0.2);
  };
  const sample_data data = make_sample(30, 4, 17);
  const ridge_regression_model_descriptor descriptor(std::move(options));
  if (num_groups == 0)
    descriptor.fit(data.y, data.X, {});
  else
    descriptor.fit_with_num_groups(data.y, data.X, num_groups);
  return lengths;
}

TEST(ridge_start_point, the_initializer_fills_one_point_per_stage) {
  EXPECT_THAT(initializer_calls(0), ElementsAre(4));
  EXPECT_THAT(initializer_calls(1), ElementsAre(1));
  EXPECT_THAT(initializer_calls(3), ElementsAre(1, 3));
  EXPECT_THAT(initializer_calls(4), ElementsAre(4));
}

TEST(ridge_start_point, is_a_tenth_in_every_entry_by_default) {
  const ridge_regression_model_descriptor descriptor({});
  dense_vector point(3);
  descriptor.options().initializer(point);
  EXPECT_THAT(entries(point), Each(0.1));
  EXPECT_NE(descriptor.options().optimizer, nullptr);
}

TEST(ridge_start_point, must_be_finite) {
  auto options = make_options(score::gcv, grouping::all);
  options.initializer = [](vector_view point) {
    std::fill(point.begin(), point.end(), std::numeric_limits<double>::quiet_NaN());
  };
  EXPECT_THAT([&] { fit_ridge(std::move(options), make_sample(20, 3, 5)); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("start point")));
}

TEST(ridge_start_point, what_the_initializer_throws_passes_through) {
  auto options = make_options(score::gcv, grouping::all);
  options.initializer = [](vector_view) { throw std::domain_error("mine"); };
  EXPECT_THAT([&] { fit_ridge(std::move(options), make_sample(20, 3, 5)); },
              ThrowsMessage<std::domain_error>("mine"));
}

TEST(ridge_objective_for_inspection, has_the_value_of_the_fit_at_its_solution) {
  const sample_data data = make_sample(30, 4, 17);
  for (const score score_mode : all_scores)
    for (const grouping grouping_mode : {grouping::none, grouping::all}) {
      const ridge_regression_model_descriptor descriptor(
          make_options(score_mode, grouping_mode));
      const auto model = descriptor.fit(data.y, data.X, {});
      const auto inspected = descriptor.make_objective(data.y, data.X, {});
      ASSERT_EQ(inspected.num_hyperparameters, model.regularization.size());
      double value = 0.0;
      ASSERT_TRUE(inspected.objective->compute_value(model.regularization, value));
      // The fit may have evaluated a shorter form of the same score.
      EXPECT_NEAR(value, model.score, 1e-12 * std::abs(value));
    }
}

// Evaluates at 0.3 everywhere.
index_t count_inspected(grouping grouping_mode, const std::vector<index_t>& groups) {
  const sample_data data = make_sample(30, 4, 17);
  const ridge_regression_model_descriptor descriptor(
      make_options(score::loocv, grouping_mode, {false, true, true, true, true}));
  const auto inspected = descriptor.make_objective(data.y, data.X, groups_of(groups));
  dense_vector point(inspected.num_hyperparameters);
  std::fill(point.begin(), point.end(), 0.3);
  dense_vector gradient(inspected.num_hyperparameters);
  symmetric_matrix hessian(inspected.num_hyperparameters, inspected.num_hyperparameters);
  EXPECT_TRUE(inspected.objective->compute_gradient_hessian(point, gradient, hessian));
  return inspected.num_hyperparameters;
}

TEST(ridge_objective_for_inspection, its_groups_include_the_bias) {
  EXPECT_EQ(count_inspected(grouping::none, {}), 4);
  EXPECT_EQ(count_inspected(grouping::all, {}), 1);
  EXPECT_EQ(count_inspected(grouping::feature_bias, {}), 2);
  EXPECT_EQ(count_inspected(grouping::none, {2, 0, 1, 0, 2}), 3);
  EXPECT_THROW(count_inspected(grouping::none, {0, 0, 0, 0, 0, 0}), std::invalid_argument);
}

}  // namespace

}  // namespace corvane::model
