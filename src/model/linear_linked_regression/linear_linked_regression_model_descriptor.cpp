// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"

#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/blas_threads.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/row_space.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using linear_linked_regression_detail::few_features;
using linear_linked_regression_detail::optimize_hyperparameters;
using linear_linked_regression_detail::optimized;
using linear_linked_regression_detail::row_space;

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
  const single_blas_thread one_thread{normalizer.num_columns <= few_features};
  dense_matrix design = normalizer.normalized_features(X);
  std::shared_ptr<const regularizer> run_penalty = penalty;
  std::optional<row_space> reduced = row_space::find(design, *penalty);
  if (reduced) {
    design = std::move(reduced->design);
    run_penalty = reduced->penalty;
  }
  // The objective owns the normalized design: no other copy of it is alive.
  aloocv_objective objective{
      options_.inner_optimizer, options_.loss_link,         run_penalty,
      std::move(design),        normalizer.coded_target(y), options_.interrupt};
  optimized run = optimize_hyperparameters(*options_.outer_optimizer, objective,
                                           start_hyperparameters(options_, *penalty));
  const dense_vector weights =
      reduced ? reduced->expand(run.weights) : std::move(run.weights);
  linear_linked_regression_model model;
  model.result = std::move(run.result);
  model.weights = normalizer.raw_weights(weights);
  model.bias = normalizer.raw_bias(model.weights);
  model.normalizer = normalizer;
  model.loss_link = options_.loss_link;
  model.penalty = std::move(penalty);
  return model;
}

}  // namespace corvane::model
