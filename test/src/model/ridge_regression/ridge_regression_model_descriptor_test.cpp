// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/ridge_regression_model_descriptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "src/model/ridge_regression/fitted_ridge_check.h"

namespace corvane::model {

namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

using score = ridge_objective_mode;
using grouping = ridge_grouping_mode;

void expect_consistent_fit(score score_mode, grouping grouping_mode, unsigned flags) {
  SCOPED_TRACE(::testing::Message()
               << "score " << static_cast<int>(score_mode) << " grouping "
               << static_cast<int>(grouping_mode) << " flags " << flags);
  const bool center = (flags & 1U) != 0;
  const bool bias = (flags & 2U) != 0;
  const bool rescale = (flags & 4U) != 0;
  const bool regularize_bias = (flags & 8U) != 0;
  const data_normalizer_options normalization{center, center, bias, rescale, rescale};
  const sample_data data = make_sample(40, 5, 21);
  const ridge_regression_model model = fit_ridge(
      make_options(score_mode, grouping_mode, normalization, regularize_bias), data);

  expect_consistent(normalization, data, model);
  const bool bias_penalized = bias && regularize_bias;
  const index_t coefficients = bias_penalized ? 6 : 5;
  index_t variables = 1;
  if (grouping_mode == grouping::none) variables = coefficients;
  if (grouping_mode == grouping::feature_bias && bias_penalized) variables = 2;
  EXPECT_EQ(model.regularization_scaled.size(), coefficients);
  EXPECT_EQ(model.regularization.size(), variables);
}

TEST(ridge_regression_model_descriptor,
     every_score_and_grouping_solves_the_ridge_equations) {
  for (const score score_mode : all_scores)
    for (const grouping grouping_mode :
         {grouping::none, grouping::all, grouping::feature_bias})
      for (unsigned flags = 0; flags < 16; ++flags)
        expect_consistent_fit(score_mode, grouping_mode, flags);
}

TEST(ridge_regression_model_descriptor, more_columns_than_rows_can_be_fit) {
  const sample_data data = make_sample(12, 20, 4);
  for (const score score_mode : {score::loocv, score::gcv})
    expect_consistent({}, data, fit_ridge(make_options(score_mode, grouping::all), data));
}

TEST(ridge_regression_model_descriptor, a_single_row_can_be_fit) {
  const data_normalizer_options as_is{false, false, false, true, true};
  const sample_data data = make_sample(1, 2, 4);
  expect_consistent(as_is, data,
                    fit_ridge(make_options(score::loocv, grouping::all, as_is), data));
}

// The score by n refits, at the solution and beside it.
TEST(ridge_regression_model_descriptor, the_fit_minimizes_the_leave_one_out_error) {
  const sample_data data = make_sample(30, 4, 13);
  const ridge_regression_model model =
      fit_ridge(make_options(score::loocv, grouping::all), data);
  ASSERT_TRUE(model.result.within_tolerance);
  const reference_problem problem({}, data);
  const auto error_at = [&](long double t) {
    return static_cast<double>(leave_one_out_error(problem, long_vector(4, t * t)));
  };
  const auto t = static_cast<long double>(model.regularization[0]);
  EXPECT_NEAR(model.score, error_at(t), 1e-12);
  EXPECT_LT(model.score, error_at(0.8L * t));
  EXPECT_LT(model.score, error_at(1.25L * t));
}

TEST(ridge_regression_model_descriptor, own_penalties_are_not_worse_than_a_common_one) {
  const sample_data data = make_sample(30, 4, 13);
  for (const score score_mode : all_scores)
    EXPECT_LE(fit_ridge(make_options(score_mode, grouping::none), data).score,
              fit_ridge(make_options(score_mode, grouping::all), data).score);
}

// With raw weights w = (target_scale / feature_scale) v the normalized objective
//   |y - X v|^2 + sum t^2 v^2   is   |y - X w|^2 + sum (t feature_scale)^2 w^2
// in raw units, less a factor.
TEST(ridge_regression_model_descriptor, a_fit_to_raw_data_finds_the_same_weights) {
  const sample_data data = make_sample(35, 4, 8);
  const ridge_regression_model model =
      fit_ridge(make_options(score::loocv, grouping::none), data);
  const reference_problem normalized({}, data);
  const reference_problem raw({true, true, false, false, false}, data);
  long_vector strengths;
  for (const long double t : expanded_point(model)) {
    const long double root = t * normalized.scales[strengths.size()];
    strengths.push_back(root * root);
  }
  const long_vector weights = solve_ridge(raw.columns, raw.target, strengths);
  for (index_t j = 0; j < 4; ++j)
    EXPECT_NEAR(model.weights[j], double(weights[static_cast<std::size_t>(j)]), 1e-10);
}

TEST(ridge_regression_model_descriptor,
     without_centering_the_bias_includes_the_targets_mean) {
  const sample_data data = make_sample(30, 3, 2);
  const ridge_regression_model model = fit_ridge(
      make_options(score::gcv, grouping::all, {false, true, true, true, true}), data);
  ASSERT_EQ(model.weights.size(), 4);
  const data_normalizer normalizer({false, true, true, true, true}, data.y, data.X);
  double expected = model.weights[3];
  for (index_t j = 0; j < 3; ++j)
    expected -= model.weights[j] * normalizer.feature_means[j];
  EXPECT_EQ(model.target_mean, 0.0);
  EXPECT_NEAR(model.intercept, expected, 1e-13);
}

TEST(ridge_regression_model_descriptor, a_constant_target_is_predicted) {
  sample_data data = make_sample(20, 3, 2);
  std::fill(data.y.begin(), data.y.end(), 0.7);
  dense_vector predictions(20);
  fit_ridge(make_options(score::loocv, grouping::all), data).predict(data.X, predictions);
  for (const double prediction : predictions) EXPECT_EQ(prediction, 0.7);
}

TEST(ridge_regression_model_descriptor, a_constant_feature_does_not_disturb_the_others) {
  const sample_data without = make_sample(30, 3, 2);
  sample_data with{dense_matrix(30, 4), without.y};
  std::copy(without.X.begin(), without.X.end(), with.X.data());
  for (index_t i = 0; i < 30; ++i) with.X(i, 3) = 0.1;
  for (const score score_mode : {score::loocv, score::gcv}) {
    const auto shorter = fit_ridge(make_options(score_mode, grouping::all), without);
    const auto longer = fit_ridge(make_options(score_mode, grouping::all), with);
    EXPECT_NEAR(longer.score, shorter.score, 1e-12);
    EXPECT_EQ(longer.weights[3], 0.0);
    for (index_t j = 0; j < 3; ++j)
      EXPECT_NEAR(longer.weights[j], shorter.weights[j], 1e-10);
  }
}

TEST(ridge_regression_model_descriptor, one_descriptor_serves_many_fits) {
  const ridge_regression_model_descriptor descriptor(
      make_options(score::gcv, grouping::none));
  const sample_data data = make_sample(30, 3, 2);
  const sample_data other = make_sample(15, 5, 3);
  const ridge_regression_model first = descriptor.fit(data.y, data.X, {});
  const ridge_regression_model between = descriptor.fit(other.y, other.X, {});
  const ridge_regression_model again = descriptor.fit(data.y, data.X, {});
  EXPECT_EQ(between.weights.size(), 5);
  EXPECT_EQ(entries(first.weights), entries(again.weights));
  EXPECT_EQ(first.score, again.score);
}

TEST(ridge_regression_model_descriptor,
     dependent_columns_are_an_error_for_the_range_risk_only) {
  sample_data data = make_sample(20, 3, 2);
  for (index_t i = 0; i < 20; ++i) data.X(i, 2) = data.X(i, 0);
  EXPECT_THAT([&] { fit_ridge(make_options(score::range_risk, grouping::all), data); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("feature_matrix has linear dependent columns")));
  for (const score score_mode : {score::loocv, score::gcv})
    expect_consistent({}, data, fit_ridge(make_options(score_mode, grouping::all), data));
}

TEST(ridge_regression_model_descriptor, an_unknown_score_is_the_leave_one_out_error) {
  const sample_data data = make_sample(20, 3, 2);
  const auto unknown = static_cast<ridge_objective_mode>(17);
  EXPECT_EQ(fit_ridge(make_options(unknown, grouping::all), data).score,
            fit_ridge(make_options(score::loocv, grouping::all), data).score);
}

void expect_rejected(const sample_data& data, const char* text) {
  for (const score score_mode : all_scores) {
    const ridge_regression_model_descriptor descriptor(
        make_options(score_mode, grouping::all));
    EXPECT_THAT([&] { descriptor.fit(data.y, data.X, {}); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(text)));
    EXPECT_THAT([&] { descriptor.fit_with_num_groups(data.y, data.X, 2); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(text)));
    EXPECT_THAT([&] { descriptor.make_objective(data.y, data.X, {}); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(text)));
  }
}

TEST(ridge_regression_model_descriptor, data_that_no_fit_could_use_are_rejected_by_name) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity()}) {
    sample_data data = make_sample(10, 3, 2);
    data.y[4] = bad;
    expect_rejected(data, "target_vector holds a value that is not finite, in row 4");
    data = make_sample(10, 3, 2);
    data.X(9, 1) = bad;
    expect_rejected(data,
                    "feature_matrix column 1 holds a value that is not finite, in row 9");
  }
  sample_data data = make_sample(10, 3, 2);
  data.X(3, 2) = 1e200;
  expect_rejected(data, "feature_matrix column 2 is too large");
  data = make_sample(10, 3, 2);
  data.y[3] = -1e200;
  expect_rejected(data, "target_vector is too large");
  expect_rejected({dense_matrix(0, 3), dense_vector(0)}, "feature_matrix has no rows");
  expect_rejected({dense_matrix(4, 0), make_sample(4, 1, 2).y},
                  "feature_matrix has no columns");
  expect_rejected({dense_matrix(0, 0), dense_vector(0)}, "feature_matrix has no");
  expect_rejected({make_sample(4, 1, 2).X, make_sample(5, 1, 2).y},
                  "feature_matrix and target_vector are mismatched");
}

}  // namespace

}  // namespace corvane::model
