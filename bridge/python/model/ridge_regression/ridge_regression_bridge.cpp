// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/ridge_regression/ridge_regression_bridge.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/objective_object.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

void require_matching(const dense_matrix& design, const dense_vector& target) {
  if (design.rows() != target.size())
    throw std::runtime_error{"feature_matrix and target_vector are mismatched"};
}

}  // namespace

ridge_regression_bridge::ridge_regression_bridge(
    model::ridge_regression_model_options&& options, std::uint64_t num_groups,
    std::optional<grouper_bridge>&& grouper, optimizer_stack stack)
    : descriptor_{std::move(options)},
      num_groups_{num_groups},
      grouper_{std::move(grouper)},
      stack_{stack},
      design_{std::make_shared<dense_matrix>()},
      target_{std::make_shared<dense_vector>()} {}

void ridge_regression_bridge::fit(PyObject* arguments, PyObject* keywords) {
  with_fit_error("failed to fit RidgeRegressionModel", [&] {
    const auto [X, y] = parse_features_and_target(arguments, keywords, "OO:fit");
    fit_data(X, y);
  });
}

// Each array is stored as soon as it is converted: converting the other one may fail.
void ridge_regression_bridge::fit_data(const python_object& X, const python_object& y) {
  const auto design = std::make_shared<const dense_matrix>(to_double_matrix(X.get()));
  design_ = design;
  const auto target = std::make_shared<const dense_vector>(to_double_vector(y.get()));
  target_ = target;
  require_matching(*design, *target);
  fitted_ = std::make_shared<const model::ridge_regression_model>(
      fit_descriptor(X, y, *design, *target));
}

model::ridge_regression_model ridge_regression_bridge::fit_descriptor(
    const python_object& X, const python_object& y, const dense_matrix& design,
    const dense_vector& target) const {
  if (grouper_) {
    const auto& options = descriptor_.options();
    const bool bias_has_group = options.with_bias && options.regularize_bias;
    return descriptor_.fit(target, design,
                           (*grouper_)(X, y, design.cols() + (bias_has_group ? 1 : 0)));
  }
  if (num_groups_ == 0) return descriptor_.fit(target, design, {});
  return descriptor_.fit_with_num_groups(target, design, num_groups_);
}

python_object ridge_regression_bridge::predict(PyObject* arguments,
                                               PyObject* keywords) const {
  require_fitted();
  const python_object X = parse_object(arguments, keywords, "O:predict", "X");
  const dense_matrix design = to_double_matrix(X.get());
  // Taken after the conversion, which may have fitted the model anew.
  const fitted_record fitted = require_fitted();
  dense_vector predictions = allocate_vector(design.rows());
  if (fitted->weights.size() - (fitted->with_bias ? 1 : 0) != design.cols())
    raise_error(PyExc_RuntimeError, "X is incorrect shape");
  fitted->predict(design, predictions);
  return to_numpy_vector(predictions);
}

python_object ridge_regression_bridge::make_objective(PyObject* arguments,
                                                      PyObject* keywords) const {
  const auto [X, y] = parse_features_and_target(arguments, keywords, "OO:make_objective");
  const dense_matrix design = to_double_matrix(X.get());
  const dense_vector target = to_double_vector(y.get());
  // The data of the last fit, not the arguments; nothing translates this failure.
  require_matching(*design_, *target_);
  if (design.rows() != target.size())
    raise_error(PyExc_RuntimeError, "feature_matrix and target_vector are mismatched");
  index_vector groups;
  if (grouper_) {
    const bool with_bias = descriptor_.options().with_bias;
    groups = (*grouper_)(X, y, design.cols() + (with_bias ? 1 : 0));
  }
  try {
    auto inspected = descriptor_.make_objective(target, design, std::move(groups));
    return make_objective_object(std::make_unique<objective_handle>(
        std::move(inspected.objective), inspected.num_hyperparameters));
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
    throw python_error{};
  } catch (const std::exception& failure) {
    raise_error(PyExc_RuntimeError, failure.what());
  }
}

ridge_regression_bridge::fitted_record ridge_regression_bridge::require_fitted() const {
  if (!fitted_) raise_error(PyExc_RuntimeError, "model not fit");
  return fitted_;
}

python_object ridge_regression_bridge::weights() const {
  const fitted_record fitted = require_fitted();
  return to_numpy_vector(fitted->weights);
}

python_object ridge_regression_bridge::regularization() const {
  const fitted_record fitted = require_fitted();
  return to_numpy_vector(fitted->regularization);
}

python_object ridge_regression_bridge::regularization_groups() const {
  const fitted_record fitted = require_fitted();
  const index_vector& groups = fitted->regularization_groups;
  dense_vector numbers = allocate_vector(groups.size());
  std::transform(groups.begin(), groups.end(), numbers.begin(),
                 [](index_t group) { return static_cast<double>(group); });
  return to_numpy_vector(numbers);
}

python_object ridge_regression_bridge::score() const {
  return python_object{PyFloat_FromDouble(require_fitted()->score)};
}

python_object ridge_regression_bridge::within_tolerance() const {
  return python_object{PyBool_FromLong(require_fitted()->result.within_tolerance ? 1 : 0)};
}

}  // namespace corvane::python_bridge
