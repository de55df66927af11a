// SPDX-License-Identifier: BSD-3-Clause
//
// Fits from raw data to predictions.
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "classification_problem.h"
#include "counting_fakes.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "optimization/optimizer_error.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

using fitted = linear_linked_regression_model;
using model_options = linear_linked_regression_model_options;

std::shared_ptr<trust_region_optimizer> optimizer_of(double tolerance) {
  trust_region_optimizer_options options;
  options.tolerance = tolerance;
  options.tolerance2 = tolerance;
  return make_trust_region_optimizer(options);
}

model_options options_of(bool with_intercept = true, bool rescale = true) {
  model_options options;
  options.center_features = with_intercept;
  options.with_bias = with_intercept;
  options.rescale_features = rescale;
  options.outer_optimizer = optimizer_of(1e-4);
  options.inner_optimizer = optimizer_of(1e-4);
  return options;
}

fitted fit(const classification_problem& data, const model_options& options = options_of(),
           std::shared_ptr<const regularizer> penalty = {}) {
  return linear_linked_regression_model_descriptor{options}.fit(data.y, data.X,
                                                                std::move(penalty));
}

dense_vector probabilities(const fitted& model, const dense_matrix& X) {
  dense_vector out{X.rows()};
  model.predict_proba(X, out);
  return out;
}

dense_vector predictions(const fitted& model, const dense_matrix& X) {
  dense_vector out{X.rows()};
  model.predict(X, out);
  return out;
}

// The labels -1 and +1 become two others.
classification_problem relabelled(classification_problem data, double low, double high) {
  for (double& y : data.y) y = y < 0.0 ? low : high;
  return data;
}

TEST(linear_linked_regression_model_descriptor, predicts_the_labels_that_it_was_given) {
  const classification_problem data = relabelled(drawn_problem(60, 3, 1), 3.0, 7.0);
  const fitted model = fit(data);
  const dense_vector proba = probabilities(model, data.X);
  const dense_vector labels = predictions(model, data.X);
  int right = 0;
  for (index_t i = 0; i < 60; ++i) {
    EXPECT_EQ(labels[i], proba[i] < 0.5 ? 3.0 : 7.0);
    right += labels[i] == data.y[i] ? 1 : 0;
  }
  EXPECT_GT(right, 40);
}

TEST(linear_linked_regression_model_descriptor, gives_a_half_to_the_larger_class) {
  const classification_problem data = relabelled(drawn_problem(30, 2, 1), 3.0, 7.0);
  const fitted model = fit(data, options_of(false));
  dense_matrix origin{1, 2};
  origin(0, 0) = origin(0, 1) = 0.0;
  EXPECT_TRUE(model.bias == 0.0 && std::signbit(model.bias));
  EXPECT_EQ(probabilities(model, origin)[0], 0.5);
  EXPECT_EQ(predictions(model, origin)[0], 7.0);
}

TEST(linear_linked_regression_model_descriptor, refuses_one_class_and_three) {
  classification_problem data = drawn_problem(10, 2, 1);
  for (double& y : data.y) y = 1.0;
  EXPECT_THROW(fit(data), invalid_target_error);
  data.y[0] = 2.0;
  data.y[1] = 3.0;
  EXPECT_THROW(fit(data), invalid_target_error);
}

TEST(linear_linked_regression_model_descriptor, refuses_data_that_are_not_finite) {
  classification_problem data = drawn_problem(10, 2, 1);
  data.X(3, 1) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THROW(fit(data), std::invalid_argument);
  data = drawn_problem(10, 2, 1);
  data.y[4] = std::numeric_limits<double>::infinity();
  EXPECT_THROW(fit(data), invalid_target_error);
}

TEST(linear_linked_regression_model_descriptor, gives_a_constant_column_no_weight) {
  classification_problem data = drawn_problem(60, 3, 2);
  for (index_t i = 0; i < 60; ++i) data.X(i, 1) = 4.0;
  const fitted model = fit(data);
  EXPECT_TRUE(model.result.within_tolerance);
  EXPECT_EQ(model.normalizer.feature_scales[1], 1.0);
  EXPECT_NEAR(model.weights[1], 0.0, 1e-12);
}

TEST(linear_linked_regression_model_descriptor, keeps_the_bias_in_raw_units) {
  const classification_problem data = drawn_problem(60, 3, 3);
  const fitted model = fit(data);
  ASSERT_EQ(model.weights.size(), 4);
  double expected = model.weights[3];
  for (index_t j = 0; j < 3; ++j)
    expected -= model.weights[j] * model.normalizer.feature_means[j];
  EXPECT_NEAR(model.bias, expected, 1e-14);
  const dense_vector proba = probabilities(model, data.X);
  for (index_t i = 0; i < 60; ++i) {
    double z = model.bias;
    for (index_t j = 0; j < 3; ++j) z += data.X(i, j) * model.weights[j];
    EXPECT_NEAR(proba[i], 1.0 / (1.0 + std::exp(-z)), 1e-14);
  }
}

TEST(linear_linked_regression_model_descriptor, balances_the_classes_through_a_free_bias) {
  const classification_problem data = drawn_problem(80, 3, 4);
  const dense_vector proba = probabilities(fit(data), data.X);
  double sum = 0.0;
  double positives = 0.0;
  for (index_t i = 0; i < 80; ++i) {
    sum += proba[i];
    positives += data.y[i] > 0.0 ? 1.0 : 0.0;
  }
  EXPECT_NEAR(sum, positives, 1e-2);
}

TEST(linear_linked_regression_model_descriptor,
     exempts_the_bias_of_the_default_penalty_alone) {
  const classification_problem data = drawn_problem(40, 3, 4);
  model_options options = options_of();
  const fitted free_bias = fit(data, options);
  options.regularize_bias = true;
  const fitted penalized_bias = fit(data, options);
  const fitted given =
      fit(data, options, penalty_of(penalty_kind::ridge, cyclic_groups(4, 1, true)));
  EXPECT_EQ(free_bias.bias, given.bias);
  EXPECT_NE(free_bias.bias, penalized_bias.bias);
}

TEST(linear_linked_regression_model_descriptor,
     has_as_many_hyperparameters_as_the_penalty) {
  const classification_problem data = drawn_problem(60, 4, 5);
  const auto count = [&](penalty_kind kind) {
    return fit(data, options_of(), penalty_of(kind, cyclic_groups(5, 2, true)))
        .result.x.size();
  };
  EXPECT_EQ(count(penalty_kind::ridge), 2);
  EXPECT_EQ(count(penalty_kind::lasso), 2);
  EXPECT_EQ(count(penalty_kind::elastic), 4);
  EXPECT_EQ(count(penalty_kind::bridge), 4);
}

TEST(linear_linked_regression_model_descriptor, starts_where_the_initializer_says) {
  const classification_problem data = drawn_problem(60, 3, 5);
  model_options options = options_of();
  index_t length = 0;
  options.initializer = [&](vector_view theta) {
    length = theta.size();
    for (double& entry : theta) entry = -0.3;
  };
  const fitted model = fit(data, options);
  EXPECT_EQ(length, 1);
  EXPECT_LT(model.result.x[0], 0.0);
  options.initializer = [](vector_view) { throw std::runtime_error{"no start"}; };
  EXPECT_THROW(fit(data, options), std::runtime_error);
  // A start value that somebody asked for is not replaced by another.
  options.initializer = [](vector_view theta) { theta[0] = HUGE_VAL; };
  EXPECT_THROW(fit(data, options), optimizer_undefined_error);
}

std::shared_ptr<recording_optimizer> recording(double tolerance) {
  return std::make_shared<recording_optimizer>(std::make_shared<call_log>(),
                                               optimizer_of(tolerance));
}

// A run may end with a trial that it rejected.
TEST(linear_linked_regression_model_descriptor,
     has_the_weights_of_its_hyperparameters_wherever_the_run_looked_last) {
  const classification_problem data = drawn_problem(60, 3, 5);
  model_options options = options_of();
  const auto optimizer = recording(1e-4);
  optimizer->alter = [](trust_region_result& result) { result.x[0] = 2.0; };
  options.outer_optimizer = optimizer;
  const fitted model = fit(data, options);
  // In the units of the normalized features the slope is X'l' + theta^2 w, and zero.
  const dense_matrix X = model.normalizer.normalized_features(data.X);
  dense_vector w{4};
  for (index_t k = 0; k < 4; ++k)
    w[k] = model.weights[k] * model.normalizer.feature_scales[k];
  for (index_t k = 0; k < 4; ++k) {
    double slope = k < 3 ? 4.0 * w[k] : 0.0;
    for (index_t i = 0; i < 60; ++i) {
      double z = 0.0;
      for (index_t j = 0; j < 4; ++j) z += X(i, j) * w[j];
      slope -= data.y[i] * X(i, k) / (1.0 + std::exp(data.y[i] * z));
    }
    EXPECT_NEAR(slope, 0.0, 1e-3);
  }
}

// The start of the penalty is not replaced by another one.
TEST(linear_linked_regression_model_descriptor,
     makes_one_run_from_the_start_of_the_penalty) {
  const classification_problem data = drawn_problem(60, 3, 5);
  model_options options = options_of();
  const auto outer = recording(1e-4);
  options.outer_optimizer = outer;
  fit(data, options, penalty_of(penalty_kind::elastic, cyclic_groups(4, 1, true)));
  EXPECT_EQ(outer->start_points, (std::vector<std::vector<double>>{{0.5, 0.5}}));
  const auto inner = recording(1e-4);
  inner->alter = [](trust_region_result& result) { result.positive_definite = false; };
  options.inner_optimizer = inner;
  EXPECT_THROW(fit(data, options), optimizer_undefined_error);
  EXPECT_EQ(inner->start_points.size(), 1U);
}

TEST(linear_linked_regression_model_descriptor,
     mirrors_the_probabilities_of_swapped_classes) {
  const classification_problem data = drawn_problem(60, 3, 6);
  classification_problem swapped = data;
  for (double& y : swapped.y) y = -y;
  for (const penalty_kind kind : all_penalties) {
    const auto penalty = penalty_of(kind, cyclic_groups(4, 1, true));
    const dense_vector p = probabilities(fit(data, options_of(), penalty), data.X);
    const dense_vector q = probabilities(fit(swapped, options_of(), penalty), data.X);
    for (index_t i = 0; i < 60; ++i) EXPECT_NEAR(p[i], 1.0 - q[i], 1e-8);
  }
}

// Powers of two leave no rounding: the normalized designs are the same.
TEST(linear_linked_regression_model_descriptor,
     is_blind_to_the_units_of_rescaled_features) {
  const classification_problem data = drawn_problem(60, 3, 7);
  classification_problem scaled = data;
  for (index_t i = 0; i < 60; ++i) {
    scaled.X(i, 0) *= 1024.0;
    scaled.X(i, 2) *= 0.125;
  }
  const dense_vector p = probabilities(fit(data), data.X);
  const dense_vector q = probabilities(fit(scaled), scaled.X);
  for (index_t i = 0; i < 60; ++i) EXPECT_NEAR(p[i], q[i], 1e-12);
}

// With a run that ends where it starts, at a strength of its own for each group.
TEST(linear_linked_regression_model_descriptor,
     gives_derivatives_in_the_order_of_the_hyperparameters) {
  const classification_problem data = drawn_problem(60, 4, 3);
  const auto penalty = penalty_of(penalty_kind::ridge, cyclic_groups(5, 4, true));
  model_options options = options_of();
  options.outer_optimizer = optimizer_of(1e300);
  options.initializer = [](vector_view theta) {
    for (index_t a = 0; a < theta.size(); ++a)
      theta[a] = 0.5 + 0.2 * static_cast<double>(a);
  };
  const fitted model = fit(data, options, penalty);
  linear_linked_regression_detail::aloocv_objective objective{
      options.inner_optimizer,
      std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(), penalty,
      model.normalizer.normalized_features(data.X), model.normalizer.coded_target(data.y)};
  dense_vector gradient{4};
  symmetric_matrix hessian{4, 4};
  ASSERT_TRUE(objective.compute_gradient_hessian(model.result.x, gradient, hessian));
  for (index_t a = 0; a < 4; ++a) {
    EXPECT_NEAR(model.result.gradient[a], gradient[a], 1e-4 * std::abs(gradient[a]));
    for (index_t b = 0; b <= a; ++b)
      EXPECT_NEAR(model.result.hessian(a, b), hessian(a, b),
                  1e-3 * std::abs(hessian(a, a)));
  }
}

TEST(linear_linked_regression_model_descriptor, fills_what_the_options_leave_open) {
  const linear_linked_regression_model_descriptor descriptor{{}};
  EXPECT_NE(descriptor.options().loss_link, nullptr);
  EXPECT_NE(descriptor.options().outer_optimizer, nullptr);
  EXPECT_NE(descriptor.options().inner_optimizer, nullptr);
  const classification_problem data = drawn_problem(60, 3, 5);
  EXPECT_TRUE(descriptor.fit(data.y, data.X).result.within_tolerance);
  model_options options;
  options.num_classes = 1;
  EXPECT_THROW(linear_linked_regression_model_descriptor{options}, std::invalid_argument);
}

TEST(linear_linked_regression_model_descriptor, keeps_nothing_of_one_fit_for_the_next) {
  const linear_linked_regression_model_descriptor descriptor{options_of()};
  const classification_problem first = drawn_problem(40, 2, 8);
  const classification_problem second = drawn_problem(50, 3, 9);
  const fitted before = descriptor.fit(second.y, second.X);
  descriptor.fit(first.y, first.X);
  const fitted after = descriptor.fit(second.y, second.X);
  ASSERT_EQ(after.weights.size(), before.weights.size());
  for (index_t k = 0; k < after.weights.size(); ++k)
    EXPECT_EQ(after.weights[k], before.weights[k]);
}

TEST(linear_linked_regression_model_descriptor, fits_without_a_penalty_on_any_column) {
  const classification_problem data = drawn_problem(60, 2, 5);
  const fitted model =
      fit(data, options_of(),
          penalty_of(penalty_kind::ridge, variable_mapping{{0.0, 0.0, 0.0}}));
  EXPECT_EQ(model.result.x.size(), 0);
  EXPECT_TRUE(std::isfinite(model.result.value));
}

}  // namespace

}  // namespace corvane::model
