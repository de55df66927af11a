// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "common/blas_threads.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/ridge_regularizer.h"
#include "optimization/optimizer_error.h"
#include "optimization/order_invariant_run.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;

constexpr index_t few_features = 256;

std::shared_ptr<trust_region_optimizer> default_optimizer(double tolerance,
                                                          double gradient_tolerance) {
  trust_region_optimizer_options options;
  options.tolerance = tolerance;
  options.tolerance2 = gradient_tolerance;
  return make_trust_region_optimizer(options);
}

// A ridge over one group, from which the bias, the last of the p columns, may be exempt.
std::shared_ptr<const regularizer> default_penalty(index_t p, bool with_free_bias) {
  std::vector<variable_mapping::entry> entries(static_cast<std::size_t>(p), index_t{0});
  if (with_free_bias) entries.back() = 0.0;
  return std::make_shared<ridge_regularizer>(variable_mapping{entries});
}

// From the caller where there is an initializer, else from the penalty.
dense_vector start_hyperparameters(const linear_linked_regression_model_options& options,
                                   const regularizer& penalty) {
  dense_vector theta{penalty.num_hyperparameters()};
  if (options.initializer)
    options.initializer(theta);
  else
    penalty.initialize_hyperparameters(theta);
  return theta;
}

// Where the penalty's own start value leaves the score undefined, as a lasso that is too
// weak to tell two equal columns apart, stronger ones are tried. A start value that
// somebody asked for is taken as it is.
trust_region_result optimize_hyperparameters(
    const linear_linked_regression_model_options& options, aloocv_objective& objective,
    dense_vector theta) {
  constexpr int num_doublings =
      24;  // a strength, theta^2, up to 3e14 times that of the start
  for (int k = options.initializer ? num_doublings : 0;; ++k) {
    try {
      return optimize_order_invariantly(*options.outer_optimizer, objective, theta);
    } catch (const optimizer_undefined_error&) {
      if (k == num_doublings) throw;
    }
    for (double& entry : theta) entry *= 2.0;
  }
}

// w_j / scale_j: the weights of the raw features.
dense_vector raw_weights(const classification_data_normalizer& normalizer,
                         const_vector_view weights) {
  dense_vector raw{weights.size()};
  for (index_t j = 0; j < raw.size(); ++j)
    raw[j] = weights[j] / normalizer.feature_scales[j];
  return raw;
}

// What the centering took out of z, together with the weight of the bias column.
double raw_bias(const classification_data_normalizer& normalizer, const_vector_view raw) {
  double centering = 0.0;
  for (index_t j = 0; j < raw.size(); ++j)
    centering += raw[j] * normalizer.feature_means[j];
  return normalizer.with_bias ? raw[raw.size() - 1] - centering : -centering;
}

}  // namespace

linear_linked_regression_model_descriptor::linear_linked_regression_model_descriptor(
    linear_linked_regression_model_options options)
    : options_{std::move(options)} {
  if (options_.num_classes < 2)
    throw std::invalid_argument{"num_classes must be at least 2"};
  if (!options_.loss_link)
    options_.loss_link =
        std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>();
  if (!options_.outer_optimizer) options_.outer_optimizer = default_optimizer(0.0001, 0.1);
  if (!options_.inner_optimizer)
    options_.inner_optimizer = default_optimizer(0.0001, 0.0001);
}

linear_linked_regression_model linear_linked_regression_model_descriptor::fit(
    const_vector_view y, const_matrix_view X,
    std::shared_ptr<const regularizer> penalty) const {
  const classification_data_normalizer normalizer{
      {options_.center_features, options_.rescale_features, options_.with_bias,
       options_.num_classes},
      y,
      X};
  if (!penalty)
    penalty = default_penalty(normalizer.num_columns,
                              options_.with_bias && !options_.regularize_bias);
  // What is as long as the observations runs in loops of our own, unless there are so many
  // features that a second thread has work worth handing over.
  const single_blas_thread one_thread{normalizer.num_columns <= few_features};
  // The objective owns the normalized design: no other copy of it is alive.
  aloocv_objective objective{options_.inner_optimizer, options_.loss_link, penalty,
                             normalizer.normalized_features(X), normalizer.coded_target(y)};
  linear_linked_regression_model model;
  model.result = optimize_hyperparameters(options_, objective,
                                          start_hyperparameters(options_, *penalty));
  model.weights = raw_weights(normalizer, objective.weights());
  model.bias = raw_bias(normalizer, model.weights);
  model.normalizer = normalizer;
  model.loss_link = options_.loss_link;
  model.penalty = std::move(penalty);
  return model;
}

}  // namespace corvane::model
