// SPDX-License-Identifier: BSD-3-Clause
//
// The factory of the logistic model. The tolerance is checked before the penalty, and
// nothing of the model is made before both checks have passed.
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "model/linear_linked_regression/penalty_mode.h"
#include "python/argument_parser.h"
#include "python/initializer_bridge.h"
#include "python/model/linear_linked_regression/logistic_regression_type.h"
#include "python/model_checks.h"
#include "python/optimizer_stack.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

PyObject* make_public(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"init0",   "fit_intercept", "normalize",
                             "penalty", "grouper",       "tolerance"};
  // Defaults; the parser leaves alone what is not given. Object references are borrowed.
  PyObject* init0 = nullptr;
  int fit_intercept = 1;
  int normalize = 1;
  const char* penalty_word = "l2";
  PyObject* grouper = nullptr;
  double tolerance = 0.0001;
  if (!try_parse_arguments(arguments, keywords, "|OiisOd:LogisticRegressionModel", names,
                           &init0, &fit_intercept, &normalize, &penalty_word, &grouper,
                           &tolerance))
    return nullptr;
  if (!check_tolerance(tolerance)) return nullptr;
  const auto penalty = model::find_penalty_mode(penalty_word);
  if (!penalty) {
    PyErr_Format(PyExc_RuntimeError, "unknown penalty mode %s", penalty_word);
    return nullptr;
  }

  // The bias column takes the place of what centering removes, and is never penalized. What
  // stays unset here, the link and the number of classes, is the descriptor's own default.
  model::linear_linked_regression_model_options options;
  options.center_features = fit_intercept != 0;
  options.with_bias = fit_intercept != 0;
  options.rescale_features = normalize != 0;
  // Two of them, as one runs inside each evaluation of the other.
  options.outer_optimizer = make_stacked_optimizer(tolerance, tolerance).outermost;
  options.inner_optimizer = make_stacked_optimizer(tolerance, tolerance).outermost;
  if (is_given(init0))
    options.initializer = initializer_bridge{python_object::share(init0)};

  // The number -1 of a grouper takes a column out of the penalty.
  std::optional<grouper_bridge> grouping;
  if (is_given(grouper))
    grouping.emplace(python_object::share(grouper), false, fixed_parameters::allowed);
  return make_logistic_regression_object(std::make_unique<logistic_regression_model>(
      std::move(options), std::move(grouping), *penalty));
}

}  // namespace

PyObject* make_public_logistic_regression_model(PyObject* /*module*/, PyObject* arguments,
                                                PyObject* keywords) noexcept {
  return return_null_on_error([&] { return make_public(arguments, keywords); });
}

}  // namespace corvane::python_bridge
