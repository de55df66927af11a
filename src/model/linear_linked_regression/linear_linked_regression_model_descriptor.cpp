// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/blas_threads.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/detail/canonical_problem.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/row_space.h"
#include "model/linear_linked_regression/detail/special_case_objective.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/ridge_regularizer.h"
#include "optimization/optimizer_error.h"
#include "optimization/variable_mapping.h"
#include "optimization/variable_order.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;
using linear_linked_regression_detail::canonical_problem;
using linear_linked_regression_detail::few_features;
using linear_linked_regression_detail::make_canonical;
using linear_linked_regression_detail::optimize_hyperparameters;
using linear_linked_regression_detail::optimized;
using linear_linked_regression_detail::row_space;
using linear_linked_regression_detail::special_case_objective;

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
// weak to tell two equal columns apart, stronger ones are tried.
trust_region_result optimize_from_penalty(dense_vector theta,
                                          trust_region_optimizer& optimizer,
                                          second_order_objective& objective) {
  constexpr int num_doublings =
      24;  // a strength, theta^2, up to 3e14 times that of the start
  for (int k = 0;; ++k) {
    try {
      return optimize(optimizer, objective, theta);
    } catch (const optimizer_undefined_error&) {
      if (k == num_doublings) throw;
    }
    for (double& entry : theta) entry *= 2.0;
  }
}

// A run may end with a trial that it rejected: the theta that it returns is evaluated last.
// Should that fail, the weights are those of the last theta accepted, which it is.
optimized settled(aloocv_objective& objective, trust_region_result&& result) {
  double value = 0.0;
  objective.compute_value(result.x, value);
  if (!result.within_tolerance && objective.is_near_infimum(result.value))
    result.end = run_end::infimum;
  return {std::move(result), dense_vector{objective.weights()}};
}

// Only squares of hyperparameters count, so that a run from a start of other signs is the
// mirror image of the run from theta. This makes it so for a run that began elsewhere.
void mirror_as(const_vector_view theta, trust_region_result& result) {
  const auto sign = [&](index_t a) { return std::copysign(1.0, theta[a]); };
  for (index_t j = 0; j < theta.size(); ++j) {
    result.x[j] *= sign(j);
    result.gradient[j] *= sign(j);
    for (index_t i = j; i < theta.size(); ++i) result.hessian(i, j) *= sign(i) * sign(j);
  }
}

// To the optimum of a special case, and on from there with all hyperparameters. Where the
// run for all of them started from, theta, has no part in it but for the mirror.
optimized by_way_of(const special_case& part, const_vector_view theta,
                    trust_region_optimizer& optimizer, aloocv_objective& objective) {
  dense_vector start{part.size};
  std::fill(start.begin(), start.end(), part.start);
  objective.restart();
  special_case_objective alone{objective, theta.size(), part};
  const trust_region_result simpler =
      optimize_from_penalty(std::move(start), optimizer, alone);
  optimized whole =
      settled(objective, optimize(optimizer, objective, alone.expand(simpler.x)));
  mirror_as(theta, whole.result);
  return whole;
}

// By more than runs that end at the same minimum differ: rounding does not decide.
bool is_lower(double value, double other) {
  constexpr double margin = 1e-6;
  return value < other - margin * std::abs(other);
}

}  // namespace

namespace linear_linked_regression_detail {

// Where weights leave the zone of a smoothed penalty the score jumps. It has a minimum
// between many of its jumps, and a run ends at the first one that it meets, or at a jump.
// So one more run goes by way of each special case, and the lowest end counts: an elastic
// net scores no worse than the ridge and the lasso within it.
optimized optimize_hyperparameters(const linear_linked_regression_model_options& options,
                                   aloocv_objective& objective, const regularizer& penalty,
                                   const_vector_view start) {
  trust_region_optimizer& optimizer = *options.outer_optimizer;
  // A start that somebody asked for is taken as it is, and alone.
  if (options.initializer) return settled(objective, optimize(optimizer, objective, start));
  optimized lowest =
      settled(objective, optimize_from_penalty(dense_vector{start}, optimizer, objective));
  for (const special_case& part : penalty.special_cases()) {
    try {
      optimized other = by_way_of(part, start, optimizer, objective);
      if (is_lower(other.result.value, lowest.result.value)) lowest = std::move(other);
    } catch (const optimizer_undefined_error&) {
      // Without the other hyperparameters the score may be defined nowhere.
      continue;
    }
  }
  return lowest;
}

}  // namespace linear_linked_regression_detail

namespace {

// With hyperparameters and weights as the caller has them.
optimized in_order_of_caller(const canonical_problem& problem, const optimized& run) {
  optimized end = run;
  const variable_order order = problem.hyperparameters.view();
  to_caller(order, run.result.x, end.result.x);
  to_caller(order, run.result.gradient, end.result.gradient);
  to_caller(order, run.result.hessian, end.result.hessian);
  to_caller(problem.columns.view(), run.weights, end.weights);
  for (index_t j = 0; j < end.weights.size(); ++j) end.weights[j] *= problem.signs[j];
  return end;
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
  canonical_problem problem =
      make_canonical(normalizer.normalized_features(X), normalizer.num_features(),
                     normalizer.coded_target(y), *penalty);
  dense_vector start{penalty->num_hyperparameters()};
  to_run(problem.hyperparameters.view(), start_hyperparameters(options_, *penalty), start);
  std::optional<row_space> reduced = row_space::find(problem.design, *problem.penalty);
  if (reduced) {
    problem.design = std::move(reduced->design);
    problem.penalty = reduced->penalty;
  }
  // The objective owns the normalized design: no other copy of it is alive.
  aloocv_objective objective{options_.inner_optimizer,  options_.loss_link,
                             problem.penalty,           std::move(problem.design),
                             std::move(problem.target), options_.interrupt};
  optimized run = optimize_hyperparameters(options_, objective, *problem.penalty, start);
  if (reduced) run.weights = reduced->expand(run.weights);
  optimized best = in_order_of_caller(problem, run);
  linear_linked_regression_model model;
  model.result = std::move(best.result);
  model.weights = normalizer.raw_weights(best.weights);
  model.bias = normalizer.raw_bias(model.weights);
  model.normalizer = normalizer;
  model.loss_link = options_.loss_link;
  model.penalty = std::move(penalty);
  return model;
}

}  // namespace corvane::model
