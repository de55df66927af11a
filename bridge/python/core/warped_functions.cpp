// SPDX-License-Identifier: BSD-3-Clause
#include "python/core/warped_functions.h"

#include <array>
#include <string_view>
#include <utility>

#include "model/warped_linear_regression/report/warped_report.h"
#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/core/core_support.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

namespace {

using model::tanh_map;
using model::warped_report;
using model::warped_state;

// A borrowed item; ValueError where there is none.
PyObject* find_item(PyObject* dict, const char* key) {
  if (PyDict_Check(dict) == 0) raise_error(PyExc_TypeError, "the state must be a dict");
  PyObject* const item = PyDict_GetItemString(dict, key);
  if (item == nullptr) {
    PyErr_Format(PyExc_ValueError, "the state has no item %s", key);
    throw python_error{};
  }
  return item;
}

double read_number(PyObject* dict, const char* key) {
  const double number = PyFloat_AsDouble(find_item(dict, key));
  throw_if_error_set();
  return number;
}

// A state that was read from a file may hold arrays of a subclass, which are converted.
dense_vector read_vector(PyObject* dict, const char* key) {
  return to_double_vector(find_item(dict, key));
}

tanh_map read_map(PyObject* dict) {
  tanh_map map{read_vector(dict, "heights"),   read_vector(dict, "steepnesses"),
               read_vector(dict, "positions"), read_vector(dict, "step_means"),
               read_number(dict, "shift"),     read_number(dict, "scale")};
  model::check_steps(map);
  return map;
}

void set_map(result_dict& dict, const tanh_map& map) {
  dict.set("heights", map.heights);
  dict.set("steepnesses", map.steepnesses);
  dict.set("positions", map.positions);
  dict.set("step_means", map.step_means);
  dict.set("shift", map.shift);
  dict.set("scale", map.scale);
}

warped_state read_state(PyObject* dict) {
  warped_state state;
  state.num_features = read_index(find_item(dict, "n_features"));
  state.columns = to_index_vector(find_item(dict, "columns"));
  state.feature_means = read_vector(dict, "feature_means");
  state.feature_scales = read_vector(dict, "feature_scales");
  state.weights = to_double_matrix(find_item(dict, "weights"));
  state.noise_variance = read_number(dict, "noise_variance");
  state.map = read_map(dict);
  model::check_state(state);
  return state;
}

python_object make_state(const warped_state& state) {
  result_dict dict;
  dict.set("n_features", std::int64_t{state.num_features});
  dict.set("columns", state.columns);
  dict.set("feature_means", state.feature_means);
  dict.set("feature_scales", state.feature_scales);
  dict.set("weights", state.weights);
  dict.set("noise_variance", state.noise_variance);
  set_map(dict, state.map);
  return dict.release();
}

python_object make_results(const warped_report& report, const python_observer& observer) {
  result_dict results;
  results.set("state", make_state(report.state));
  results.set("coef", report.coef);
  results.set("intercept", report.intercept);
  results.set("covariance_root", report.covariance_root);
  results.set("noise_variance", report.state.noise_variance);
  results.set("log_likelihood", report.log_likelihood);
  results.set("criterion_value", report.criterion);
  results.set("effective_dof", report.effective_dof);
  results.set("target_range", python_object{Py_BuildValue("dd", report.smallest_target,
                                                          report.largest_target)});
  set_run(results, report.run, observer);
  return results.release();
}

// Read and written by a prediction without the interpreter's lock.
struct prediction_task {
  const warped_state& state;
  const readable_matrix& rows;
  python_observer interrupter{Py_None};

  model::prediction_rows look() { return {rows.op(), rows.block(), &interrupter}; }
};

using distribution_predictor = void (*)(const warped_state&, const model::prediction_rows&,
                                        vector_view, vector_view);

python_object predict_pair(prediction_task& task, distribution_predictor predict) {
  result_vector mean{task.rows.rows()};
  result_vector deviation{task.rows.rows()};
  without_lock(
      [&] { predict(task.state, task.look(), mean.numbers(), deviation.numbers()); });
  const python_object means = mean.release();
  const python_object deviations = deviation.release();
  return python_object{Py_BuildValue("OO", means.get(), deviations.get())};
}

python_object predict_mean(prediction_task& task) {
  result_vector mean{task.rows.rows()};
  without_lock(
      [&] { model::predict_moments(task.state, task.look(), mean.numbers(), {}); });
  return mean.release();
}

// The columns of the quantiles, one for each row, are the rows of an array in C order.
python_object predict_quantiles(prediction_task& task, PyObject* argument) {
  const dense_vector scores = array_argument{"argument", argument, 1}.vector();
  const index_t rows = task.rows.rows();
  result_vector quantiles{rows * scores.size()};
  without_lock([&] {
    model::predict_quantiles(task.state, task.look(), scores,
                             {quantiles.numbers().data(), scores.size(), rows});
  });
  const python_object flat = quantiles.release();
  return python_object{PyObject_CallMethod(flat.get(), "reshape", "LL",
                                           static_cast<long long>(rows),
                                           static_cast<long long>(scores.size()))};
}

python_object predict_log_density(prediction_task& task, PyObject* argument) {
  const dense_vector target = array_argument{"argument", argument, 1}.vector();
  if (target.size() != task.rows.rows())
    raise_error(PyExc_ValueError, "X and the targets differ in their number of rows");
  result_vector log_density{target.size()};
  without_lock([&] {
    model::predict_log_density(task.state, task.look(), target, log_density.numbers());
  });
  return log_density.release();
}

// A function of a map over a vector.
using map_function = void (*)(const tanh_map&, const_vector_view, vector_view);

python_object apply_map(PyObject* arguments, PyObject* keywords, map_function function,
                        const char* format) {
  PyObject* state = nullptr;
  PyObject* values = nullptr;
  if (!try_parse_arguments(arguments, keywords, format, std::array{"state", "values"},
                           &state, &values))
    throw python_error{};
  const tanh_map map = read_map(state);
  const dense_vector input = array_argument{"values", values, 1}.vector();
  result_vector output{input.size()};
  without_lock([&] { function(map, input, output.numbers()); });
  return output.release();
}

}  // namespace

python_object fit_warped(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",     "y",   "n_steps",  "fit_intercept", "normalize",
                             "start", "tol", "max_iter", "observer"};
  PyObject* X = nullptr;
  PyObject* y = nullptr;
  PyObject* start = Py_None;
  PyObject* callable = Py_None;
  int num_steps = 1;
  int fit_intercept = 1;
  int normalize = 1;
  model::warped_fit_options options;
  if (!try_parse_arguments(arguments, keywords, "OO|$ippOdiO:fit_warped", names, &X, &y,
                           &num_steps, &fit_intercept, &normalize, &start,
                           &options.tolerance, &options.max_iterations, &callable))
    throw python_error{};
  const array_argument features{"X", X, 2};
  const dense_vector target = array_argument{"y", y, 1}.vector();
  const dense_vector start_point = read_optional_vector("start", start);
  python_observer observer{callable};
  options.num_steps = num_steps;
  options.fit_intercept = fit_intercept != 0;
  options.normalize = normalize != 0;
  options.start = start_point;
  options.observer = &observer;
  const warped_report report = without_lock(
      [&] { return model::fit_warped(target, features.matrix(&observer), options); });
  return make_results(report, observer);
}

python_object warped_predict(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"state", "X", "what", "argument"};
  PyObject* state_dict = nullptr;
  PyObject* X = nullptr;
  const char* what = nullptr;
  PyObject* argument = Py_None;
  if (!try_parse_arguments(arguments, keywords, "OOs|O:warped_predict", names, &state_dict,
                           &X, &what, &argument))
    throw python_error{};
  const warped_state state = read_state(state_dict);
  const readable_matrix rows{X};
  prediction_task task{state, rows};
  const std::string_view wanted{what};
  if (wanted == "mean") return predict_mean(task);
  if (wanted == "moments") return predict_pair(task, &model::predict_moments);
  if (wanted == "latent") return predict_pair(task, &model::predict_latent);
  if (wanted == "quantiles") return predict_quantiles(task, argument);
  if (wanted == "log_density") return predict_log_density(task, argument);
  raise_error(PyExc_ValueError,
              "what must be latent, mean, moments, quantiles or log_density");
}

python_object warp_transform(PyObject* arguments, PyObject* keywords) {
  return apply_map(arguments, keywords, &model::compute_latent, "OO:warp_transform");
}

python_object warp_derivative(PyObject* arguments, PyObject* keywords) {
  return apply_map(arguments, keywords, &model::compute_slope, "OO:warp_derivative");
}

python_object warp_inverse(PyObject* arguments, PyObject* keywords) {
  return apply_map(arguments, keywords, &model::invert, "OO:warp_inverse");
}

python_object make_warp(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"parameters", "y", "shift", "scale"};
  PyObject* parameters = nullptr;
  PyObject* y = nullptr;
  double shift = 0.0;
  double scale = 1.0;
  if (!try_parse_arguments(arguments, keywords, "OOdd:make_warp", names, &parameters, &y,
                           &shift, &scale))
    throw python_error{};
  const dense_vector theta = array_argument{"parameters", parameters, 1}.vector();
  dense_vector standardized = array_argument{"y", y, 1}.vector();
  const tanh_map map = without_lock([&] {
    for (double& entry : standardized) entry = (entry - shift) / scale;
    return model::make_tanh_map(theta, standardized, shift, scale);
  });
  result_dict dict;
  set_map(dict, map);
  return dict.release();
}

}  // namespace corvane::python_bridge
