// SPDX-License-Identifier: BSD-3-Clause
//
// The two factories of the ridge model. They differ in their defaults, in the texts for an
// unknown mode, and in what None means: the plain one takes it for "not given", the
// internal one for an object, which fails when it is called.
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "python/argument_parser.h"
#include "python/initializer_bridge.h"
#include "python/model/ridge_regression/ridge_regression_type.h"
#include "python/model_checks.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

using model::ridge_grouping_mode;
using model::ridge_objective_mode;
using model::ridge_regression_model_options;

// The texts by which callers name a mode are compared exactly.
std::optional<ridge_objective_mode> find_objective_mode(std::string_view text) {
  if (text == "loocv") return ridge_objective_mode::loocv;
  if (text == "gcv") return ridge_objective_mode::gcv;
  if (text == "range_risk") return ridge_objective_mode::range_risk;
  return std::nullopt;
}

std::optional<ridge_grouping_mode> find_grouping_mode(std::string_view text) {
  if (text == "none") return ridge_grouping_mode::none;
  if (text == "all") return ridge_grouping_mode::all;
  if (text == "feature_bias") return ridge_grouping_mode::feature_bias;
  return std::nullopt;
}

// Writes both modes; false, with the Python error set, at the first unknown one.
bool read_modes(const char* objective_mode, const char* unknown_objective_mode,
                const char* grouping_mode, ridge_regression_model_options& options) {
  const auto objective = find_objective_mode(objective_mode);
  if (!objective) {
    PyErr_Format(PyExc_RuntimeError, unknown_objective_mode, objective_mode);
    return false;
  }
  const auto grouping = find_grouping_mode(grouping_mode);
  if (!grouping) {
    PyErr_Format(PyExc_RuntimeError, "unknown grouping mode %s", grouping_mode);
    return false;
  }
  options.objective_mode = *objective;
  options.grouping_mode = *grouping;
  return true;
}

// `num_groups` is what the format letter I read: it takes a negative number for a large
// one.
PyObject* make_object(ridge_regression_model_options&& options, unsigned num_groups,
                      std::optional<grouper_bridge>&& grouper,
                      stacked_optimizer&& optimizer) {
  options.optimizer = std::move(optimizer.outermost);
  return make_ridge_regression_object(std::make_unique<ridge_regression_bridge>(
      std::move(options), std::uint64_t{num_groups}, std::move(grouper), optimizer.stack));
}

PyObject* make_public(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"init0",         "fit_intercept", "normalize", "score",
                             "grouping_mode", "num_groups",    "grouper",   "tolerance"};
  // Defaults; the parser leaves alone what is not given. Object references are borrowed.
  PyObject* init0 = nullptr;
  int fit_intercept = 1;
  int normalize = 1;
  const char* score = "gcv";
  const char* grouping_mode = "all";
  unsigned num_groups = 0;
  PyObject* grouper = nullptr;
  double tolerance = 0.0001;
  if (!try_parse_arguments(arguments, keywords, "|OiissIOd:RidgeRegressionModel", names,
                           &init0, &fit_intercept, &normalize, &score, &grouping_mode,
                           &num_groups, &grouper, &tolerance))
    return nullptr;
  if (!check_tolerance(tolerance)) return nullptr;

  ridge_regression_model_options options;
  if (!read_modes(score, "unknown score %s", grouping_mode, options)) return nullptr;
  if (is_given(init0))
    options.initializer = initializer_bridge{python_object::share(init0)};
  // The target stays as it is: the bias column takes its mean.
  options.center_target = false;
  options.center_features = fit_intercept != 0;
  options.with_bias = fit_intercept != 0;
  options.rescale_target = normalize != 0;
  options.rescale_features = normalize != 0;

  std::optional<grouper_bridge> grouping;
  if (is_given(grouper)) grouping.emplace(python_object::share(grouper), false);
  return make_object(std::move(options), num_groups, std::move(grouping),
                     make_stacked_optimizer(tolerance, tolerance));
}

PyObject* make_internal(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"center_target",
                             "center_features",
                             "with_bias",
                             "rescale_target",
                             "rescale_features",
                             "num_regularization_groups",
                             "objective_mode",
                             "grouping_mode",
                             "grouper",
                             "tolerance",
                             "tolerance2",
                             "record_stats",
                             "log",
                             "optimizer_initializer"};
  // Defaults, those of the core's own options. The format letter p reads any object as true
  // or false.
  int center_target = 1;
  int center_features = 1;
  int with_bias = 0;
  int rescale_target = 1;
  int rescale_features = 1;
  unsigned num_groups = 0;
  const char* objective_mode = "loocv";
  const char* grouping_mode = "none";
  PyObject* grouper = nullptr;
  double tolerance = 0.0001;
  double tolerance2 = 0.0;
  int record_stats = 1;
  int log = 0;
  PyObject* initializer = nullptr;
  if (!try_parse_arguments(
          arguments, keywords, "|pppppIssOddppO:make_ridge_regression_model", names,
          &center_target, &center_features, &with_bias, &rescale_target, &rescale_features,
          &num_groups, &objective_mode, &grouping_mode, &grouper, &tolerance, &tolerance2,
          &record_stats, &log, &initializer))
    return nullptr;
  if (!check_tolerance(tolerance)) return nullptr;

  ridge_regression_model_options options;
  if (!read_modes(objective_mode, "unknown objective_mode mode %s", grouping_mode, options))
    return nullptr;
  if (initializer != nullptr)
    options.initializer = initializer_bridge{python_object::share(initializer)};
  options.center_target = center_target != 0;
  options.center_features = center_features != 0;
  options.with_bias = with_bias != 0;
  options.rescale_target = rescale_target != 0;
  options.rescale_features = rescale_features != 0;

  std::optional<grouper_bridge> grouping;
  // A grouper of this factory is also told how many parameters it is to group.
  if (grouper != nullptr) grouping.emplace(python_object::share(grouper), true);
  return make_object(
      std::move(options), num_groups, std::move(grouping),
      make_stacked_optimizer(tolerance, tolerance2, record_stats != 0, log != 0));
}

}  // namespace

PyObject* make_public_ridge_regression_model(PyObject* /*module*/, PyObject* arguments,
                                             PyObject* keywords) noexcept {
  return return_null_on_error([&] { return make_public(arguments, keywords); });
}

PyObject* make_internal_ridge_regression_model(PyObject* /*module*/, PyObject* arguments,
                                               PyObject* keywords) noexcept {
  return return_null_on_error([&] { return make_internal(arguments, keywords); });
}

}  // namespace corvane::python_bridge
