// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/ridge_regression/ridge_regression_bridge.h"

#include <algorithm>
#include <utility>

#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/model_checks.h"
#include "python/objective_object.h"
#include "python/python_error.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

ridge_regression_bridge::ridge_regression_bridge(
    model::ridge_regression_model_options&& options, std::uint64_t num_groups,
    std::optional<grouper_bridge>&& grouper, optimizer_stack stack)
    : descriptor_{std::move(options)},
      num_groups_{num_groups},
      grouper_{std::move(grouper)},
      stack_{stack} {}

void ridge_regression_bridge::fit(PyObject* arguments, PyObject* keywords) {
  with_fit_error("failed to fit RidgeRegressionModel", [&] {
    const auto parsed = parse_features_and_target(arguments, keywords, "OO:fit");
    const training_data data = read_training_data(parsed, stored_);
    require_matching(data);
    fitted_ = std::make_shared<const model::ridge_regression_model>(fit_core(parsed, data));
  });
}

model::ridge_regression_model ridge_regression_bridge::fit_core(
    const features_and_target& arguments, const training_data& data) const {
  const dense_matrix& design = *data.design;
  const dense_vector& target = *data.target;
  // A grouper has precedence over a number of groups, and that over the grouping mode,
  // which the core applies.
  if (grouper_) {
    const auto& options = descriptor_.options();
    const bool bias_has_group = options.with_bias && options.regularize_bias;
    const index_t count = design.cols() + (bias_has_group ? 1 : 0);
    return descriptor_.fit(target, design, (*grouper_)(arguments.X, arguments.y, count));
  }
  if (num_groups_ == 0) return descriptor_.fit(target, design, {});
  return descriptor_.fit_with_num_groups(target, design, num_groups_);
}

python_object ridge_regression_bridge::predict(PyObject* arguments,
                                               PyObject* keywords) const {
  // Ahead of any look at the arguments.
  require_fitted(fitted_);
  const python_object X = parse_object(arguments, keywords, "O:predict", "X");
  const readable_matrix design{X.get()};
  // Taken after the conversion, which may have fitted the model anew.
  const auto fitted = require_fitted(fitted_);
  require_columns(design.cols(), fitted->weights.size() - (fitted->with_bias ? 1 : 0));
  result_vector predictions{design.rows()};
  with_core_error(
      [&] { fitted->predict(design.op(), design.block(), predictions.numbers()); });
  return predictions.release();
}

python_object ridge_regression_bridge::make_objective(PyObject* arguments,
                                                      PyObject* keywords) const {
  const auto parsed = parse_features_and_target(arguments, keywords, "OO:make_objective");
  training_data data;
  read_training_data(parsed, data);
  // The data of the last fit, not the arguments; nothing translates this failure.
  require_matching(stored_);
  if (!is_matching(data)) raise_error(PyExc_RuntimeError, mismatch_text);
  // Here, unlike in a fit, a bias column counts as one more parameter to group.
  index_vector groups;
  if (grouper_) {
    const index_t bias = descriptor_.options().with_bias ? 1 : 0;
    groups = (*grouper_)(parsed.X, parsed.y, data.design->cols() + bias);
  }
  return with_core_error([&] {
    auto made = descriptor_.make_objective(*data.target, *data.design, std::move(groups));
    return make_objective_object(std::make_unique<objective_handle>(
        std::move(made.objective), made.num_hyperparameters));
  });
}

python_object ridge_regression_bridge::weights() const {
  const auto fitted = require_fitted(fitted_);
  return to_numpy_vector(fitted->weights);
}

python_object ridge_regression_bridge::regularization() const {
  const auto fitted = require_fitted(fitted_);
  return to_numpy_vector(fitted->regularization);
}

python_object ridge_regression_bridge::regularization_groups() const {
  const auto fitted = require_fitted(fitted_);
  const index_vector& groups = fitted->regularization_groups;
  // As doubles: numpy.zeros makes no other array.
  dense_vector numbers = allocate_vector(groups.size());
  std::transform(groups.begin(), groups.end(), numbers.begin(),
                 [](index_t group) { return static_cast<double>(group); });
  return to_numpy_vector(numbers);
}

python_object ridge_regression_bridge::score() const {
  return python_object{PyFloat_FromDouble(require_fitted(fitted_)->score)};
}

python_object ridge_regression_bridge::within_tolerance() const {
  return python_object{
      PyBool_FromLong(require_fitted(fitted_)->result.within_tolerance ? 1 : 0)};
}

}  // namespace corvane::python_bridge
