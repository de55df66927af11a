// SPDX-License-Identifier: BSD-3-Clause
//
// The two factories of the warped model. They differ in the order of their checks, in the
// restarts they allow, and in what None means: the plain one takes it for "not given", the
// internal one for an object, which fails when it is called.
#include <array>
#include <memory>
#include <utility>

#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "python/argument_parser.h"
#include "python/initializer_bridge.h"
#include "python/model/warped_linear_regression/warped_linear_regression_type.h"
#include "python/model_checks.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

using model::warped_linear_regression_model_options;

constexpr int num_public_restarts = 25;

// For factories, which return null and do not throw: false, with the Python error set, when
// there is no step.
bool check_num_steps(int num_steps, const char* text) {
  if (num_steps > 0) return true;
  PyErr_SetString(PyExc_RuntimeError, text);
  return false;
}

PyObject* make_object(warped_linear_regression_model_options&& options, int num_steps,
                      stacked_optimizer&& optimizer) {
  // The one family that there is.
  options.warper = model::make_tanh_target_warper_descriptor(num_steps);
  options.optimizer = std::move(optimizer.outermost);
  return make_warped_linear_regression_object(
      std::make_unique<warped_linear_regression_bridge>(std::move(options),
                                                        optimizer.stack));
}

PyObject* make_public(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"init0", "fit_intercept", "normalize", "num_steps",
                             "tolerance"};
  // Defaults; the parser does not change what is not given. Object references are borrowed.
  PyObject* init0 = nullptr;
  int fit_intercept = 1;
  int normalize = 1;
  int num_steps = 1;
  double tolerance = 0.0001;
  if (!try_parse_arguments(arguments, keywords, "|Oiiid:WarpedLinearRegressionModel", names,
                           &init0, &fit_intercept, &normalize, &num_steps, &tolerance))
    return nullptr;
  if (!check_tolerance(tolerance)) return nullptr;
  if (!check_num_steps(num_steps, "num_steps must be greater than 0")) return nullptr;

  warped_linear_regression_model_options options;
  // The internal factory leaves the number of restarts at its default, without a limit.
  options.num_restarts = num_public_restarts;
  if (is_given(init0))
    options.initializer = initializer_bridge{python_object::share(init0)};
  // There is no bias column that could take the target's mean: the target is centered, too.
  options.center_target = fit_intercept != 0;
  options.center_features = fit_intercept != 0;
  options.rescale_target = normalize != 0;
  options.rescale_features = normalize != 0;
  return make_object(std::move(options), num_steps,
                     make_stacked_optimizer(tolerance, tolerance));
}

PyObject* make_internal(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"center_target",        "center_features",  "rescale_target",
                             "rescale_features",     "num_warper_steps", "tolerance",
                             "tolerance2",           "record_stats",     "log",
                             "optimizer_initializer"};
  // Defaults, those of the core's own options. The format letter i reads integers alone:
  // the flags are numbers here, and not truth values.
  int center_target = 1;
  int center_features = 1;
  int rescale_target = 1;
  int rescale_features = 1;
  int num_steps = 1;
  double tolerance = 0.0001;
  double tolerance2 = 0.0;
  int record_stats = 1;
  int log = 0;
  PyObject* initializer = nullptr;
  if (!try_parse_arguments(
          arguments, keywords, "|iiiiiddiiO:make_warped_linear_regression_model", names,
          &center_target, &center_features, &rescale_target, &rescale_features, &num_steps,
          &tolerance, &tolerance2, &record_stats, &log, &initializer))
    return nullptr;
  // Here the number of steps is checked before the tolerance.
  if (!check_num_steps(num_steps, "num warper steps must be greater than 0"))
    return nullptr;
  if (!check_tolerance(tolerance)) return nullptr;

  warped_linear_regression_model_options options;
  if (initializer != nullptr)
    options.initializer = initializer_bridge{python_object::share(initializer)};
  options.center_target = center_target != 0;
  options.center_features = center_features != 0;
  options.rescale_target = rescale_target != 0;
  options.rescale_features = rescale_features != 0;
  return make_object(
      std::move(options), num_steps,
      make_stacked_optimizer(tolerance, tolerance2, record_stats != 0, log != 0));
}

}  // namespace

PyObject* make_public_warped_linear_regression_model(PyObject* /*module*/,
                                                     PyObject* arguments,
                                                     PyObject* keywords) noexcept {
  return return_null_on_error([&] { return make_public(arguments, keywords); });
}

PyObject* make_internal_warped_linear_regression_model(PyObject* /*module*/,
                                                       PyObject* arguments,
                                                       PyObject* keywords) noexcept {
  return return_null_on_error([&] { return make_internal(arguments, keywords); });
}

}  // namespace corvane::python_bridge
