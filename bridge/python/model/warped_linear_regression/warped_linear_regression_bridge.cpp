// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/warped_linear_regression/warped_linear_regression_bridge.h"

#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/finite.h"
#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/model/warped_linear_regression/target_warper_type.h"
#include "python/model_checks.h"
#include "python/objective_object.h"
#include "python/python_error.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

namespace {

// The quadrature of a prediction: exact for inverse maps that are polynomials of degree 41,
// each of its 21 values solved to a relative 1e-5.
constexpr int num_quadrature_points = 21;
constexpr double inversion_tolerance = 1e-05;

// With as many features as observations the residuals are zero for every map.
void require_residuals(const training_data& data) {
  if (data.design->cols() >= data.design->rows())
    throw std::runtime_error{
        "number of features must be less than the number of data points"};
}

}  // namespace

warped_linear_regression_bridge::warped_linear_regression_bridge(
    model::warped_linear_regression_model_options&& options, optimizer_stack stack)
    : descriptor_{std::move(options)}, stack_{stack} {}

void warped_linear_regression_bridge::fit(PyObject* arguments, PyObject* keywords) {
  with_fit_error("failed to fit WarpedLinearRegressionModel", [&] {
    const auto parsed = parse_features_and_target(arguments, keywords, "OO:fit");
    const training_data data = read_training_data(parsed, stored_);
    require_matching(data);
    require_residuals(data);
    // An exception leaves the earlier record in its place.
    fitted_ = std::make_shared<const model::warped_fit>(
        descriptor_.fit(*data.target, *data.design));
  });
}

python_object warped_linear_regression_bridge::make_objective(PyObject* arguments,
                                                              PyObject* keywords) const {
  const auto parsed = parse_features_and_target(arguments, keywords, "OO:make_objective");
  // Nothing is stored: the data of the last fit stay what they are.
  training_data data;
  read_training_data(parsed, data);
  return with_core_error([&] {
    require_matching(data);
    auto objective = descriptor_.make_objective(*data.target, *data.design);
    const index_t num_variables = objective->num_parameters();
    return make_objective_object(
        std::make_unique<objective_handle>(std::move(objective), num_variables));
  });
}

python_object warped_linear_regression_bridge::make_warper(PyObject* arguments,
                                                           PyObject* keywords) const {
  PyObject* borrowed_theta = nullptr;
  PyObject* borrowed_y = nullptr;
  if (!try_parse_arguments(arguments, keywords, "OO:make_warper", std::array{"theta", "y"},
                           &borrowed_theta, &borrowed_y))
    throw python_error{};
  // References of our own: a conversion may run code that drops the arguments.
  const python_object theta_object = python_object::share(borrowed_theta);
  const python_object y_object = python_object::share(borrowed_y);
  const dense_vector theta = to_double_vector(theta_object.get());
  const dense_vector y = to_double_vector(y_object.get());
  return with_core_error(
      [&] { return make_target_warper_object(descriptor_.make_warper(theta, y)); });
}

namespace {

bool has_finite_columns(const_matrix_block block) {
  for (index_t j = 0; j < block.cols(); ++j)
    if (!all_finite(block.column(j))) return false;
  return true;
}

}  // namespace

// What a prediction works on.
struct warped_linear_regression_bridge::prediction_task {
  std::shared_ptr<const model::warped_fit> fitted;
  readable_matrix rows;
};

auto warped_linear_regression_bridge::read_rows(PyObject* arguments,
                                                PyObject* keywords) const
    -> prediction_task {
  // Before the arguments are examined.
  require_fitted(fitted_);
  // The parser's errors show this name for both predictions.
  const python_object X = parse_object(arguments, keywords, "O:predict_latent", "X");
  readable_matrix rows{X.get()};
  // Taken after the conversion, which may have fitted the model again.
  auto fitted = require_fitted(fitted_);
  require_columns(rows.cols(), fitted->regressors.size());
  // A latent value that is not finite has no inverse.
  if (!has_finite_columns(rows.block()))
    raise_error(PyExc_RuntimeError, "X holds a value that is not finite");
  return {std::move(fitted), std::move(rows)};
}

python_object warped_linear_regression_bridge::predict_latent_with_stddev(
    PyObject* arguments, PyObject* keywords) const {
  const prediction_task task = read_rows(arguments, keywords);
  dense_vector latent = allocate_vector(task.rows.rows());
  dense_vector stddev = allocate_vector(task.rows.rows());
  with_core_error([&] {
    descriptor_.predict_latent(*task.fitted, task.rows.op(), task.rows.block(), latent,
                               stddev);
  });
  // Turns variances into standard deviations.
  for (double& entry : stddev) entry = std::sqrt(entry);
  return to_numpy_vectors(latent, stddev);
}

python_object warped_linear_regression_bridge::predict(PyObject* arguments,
                                                       PyObject* keywords) const {
  const prediction_task task = read_rows(arguments, keywords);
  result_vector predictions{task.rows.rows()};
  with_core_error([&] {
    descriptor_.predict(*task.fitted, task.rows.op(), task.rows.block(),
                        num_quadrature_points, inversion_tolerance, predictions.numbers());
  });
  return predictions.release();
}

// numpy may run Python code while a result is written, which may fit the model again: each
// attribute holds the record that it reads.
python_object warped_linear_regression_bridge::regressors() const {
  const auto fitted = require_fitted(fitted_);
  return to_numpy_vector(fitted->regressors);
}

python_object warped_linear_regression_bridge::noise_variance() const {
  return python_object{PyFloat_FromDouble(require_fitted(fitted_)->noise_variance)};
}

python_object warped_linear_regression_bridge::warper() const {
  return make_target_warper_object(require_fitted(fitted_)->target_warper);
}

python_object warped_linear_regression_bridge::within_tolerance() const {
  return python_object{
      PyBool_FromLong(require_fitted(fitted_)->result.within_tolerance ? 1 : 0)};
}

}  // namespace corvane::python_bridge
