// SPDX-License-Identifier: BSD-3-Clause
//
// Whole fits with one common penalty: by the descriptor, which takes the short form, and by
// the same optimizer over the general score.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "common/linear_algebra.h"
#include "model/ridge_regression/ridge_regression_model_descriptor.h"
#include "src/model/ridge_regression/common_penalty/common_penalty_case.h"

namespace corvane::model {

namespace {

using score = ridge_objective_mode;
using grouping = ridge_grouping_mode;

ridge_regression_model_options options_of(const common_penalty_case& problem,
                                          score score_mode, grouping grouping_mode) {
  ridge_regression_model_options options;
  options.objective_mode = score_mode;
  options.grouping_mode = grouping_mode;
  options.center_target = problem.normalization.center_target;
  options.center_features = problem.normalization.center_features;
  options.with_bias = problem.normalization.with_bias;
  options.rescale_target = problem.normalization.rescale_target;
  options.rescale_features = problem.normalization.rescale_features;
  options.regularize_bias = problem.bias_penalized;
  return options;
}

trust_region_result minimize(second_order_objective& objective) {
  const double start = 0.1;
  return optimize(*make_trust_region_optimizer({.tolerance = 0.0001, .tolerance2 = 0.001}),
                  objective, {&start, 1});
}

// From the normalized design and weights, back in the units of the target.
dense_vector predict(const common_penalty_case& problem, const data_normalizer& normalizer,
                     const std::vector<double>& weights) {
  dense_vector predictions(problem.data.X.rows());
  gemv(normalizer.target_scale, plain, normalizer.normalized_features(problem.data.X),
       {weights.data(), static_cast<index_t>(weights.size())}, 0.0, predictions);
  for (double& prediction : predictions) prediction += normalizer.target_mean;
  return predictions;
}

TEST(common_penalty_fit, finds_the_penalty_and_the_predictions_of_the_general_form) {
  for (const common_penalty_case& problem : make_common_penalty_cases())
    for (const score score_mode : {score::gcv, score::loocv}) {
      SCOPED_TRACE(problem.name);
      both_forms forms{problem, score_mode == score::loocv};
      const ridge_regression_model_descriptor descriptor(
          options_of(problem, score_mode, grouping::all));
      const ridge_regression_model model =
          descriptor.fit(problem.data.y, problem.data.X, {});
      const trust_region_result general = minimize(forms.general());

      EXPECT_EQ(model.result.within_tolerance, general.within_tolerance);
      ASSERT_EQ(model.regularization.size(), 1);
      EXPECT_NEAR(model.regularization[0], general.x[0], 1e-4 * std::abs(general.x[0]));
      EXPECT_NEAR(model.score, general.value, 1e-8 * general.value);
      const dense_vector expected =
          predict(problem, forms.normalizer(), forms.weights_by_general(general.x[0]));
      dense_vector predictions(expected.size());
      model.predict(problem.data.X, predictions);
      for (index_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(predictions[i], expected[i], 1e-8 * (1.0 + std::abs(expected[i]))) << i;
    }
}

TEST(common_penalty_fit, is_the_same_by_mode_by_number_and_by_groups_of_zeros) {
  const common_penalty_case problem{"tall", make_sample(40, 5, 21), centered_with_bias};
  for (const score score_mode : {score::gcv, score::loocv}) {
    const ridge_regression_model_descriptor by_mode(
        options_of(problem, score_mode, grouping::all));
    const ridge_regression_model_descriptor alone(
        options_of(problem, score_mode, grouping::none));
    index_vector zeros(5);
    std::fill(zeros.begin(), zeros.end(), 0);
    const auto all = by_mode.fit(problem.data.y, problem.data.X, {});
    const auto one = alone.fit_with_num_groups(problem.data.y, problem.data.X, 1);
    const auto grouped = alone.fit(problem.data.y, problem.data.X, std::move(zeros));
    for (const ridge_regression_model* model : {&one, &grouped}) {
      ASSERT_EQ(model->regularization.size(), 1);
      EXPECT_EQ(model->regularization[0], all.regularization[0]);
      EXPECT_EQ(model->score, all.score);
      EXPECT_TRUE(std::equal(model->weights.begin(), model->weights.end(),
                             all.weights.begin(), all.weights.end()));
      EXPECT_TRUE(std::equal(
          model->regularization_groups.begin(), model->regularization_groups.end(),
          all.regularization_groups.begin(), all.regularization_groups.end()));
    }
  }
}

// The rotation of the general score is another one where the unpenalized column is not
// orthogonal to the others: the short form would be wrong there, and the fit must not use
// it.
TEST(common_penalty_fit,
     generalized_cross_validation_beside_uncentered_columns_is_general) {
  const common_penalty_case problem{
      "uncentered", make_sample(40, 5, 21), {false, false, true, true, true}};
  both_forms forms{problem, false};
  const ridge_regression_model_descriptor descriptor(
      options_of(problem, score::gcv, grouping::all));
  const auto model = descriptor.fit(problem.data.y, problem.data.X, {});
  double general = 0.0;
  double short_form = 0.0;
  ASSERT_TRUE(forms.general().compute_value(model.regularization, general));
  ASSERT_TRUE(forms.short_form().compute_value(model.regularization, short_form));
  EXPECT_NEAR(model.score, general, 1e-12 * general);
  EXPECT_GT(std::abs(model.score - short_form), 1e-6 * general);
}

}  // namespace

}  // namespace corvane::model
