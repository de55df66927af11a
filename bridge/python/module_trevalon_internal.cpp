// SPDX-License-Identifier: BSD-3-Clause
//
// The extension module trevalon_internal: the models with everything that trevalon_impl
// does not show, for the study of objectives and for tests. It is not part of what is
// delivered.
#include <array>

#include "python/method_wrapper.h"
#include "python/model/linear_linked_regression/logistic_regression_type.h"
#include "python/model/ridge_regression/ridge_regression_type.h"
#include "python/model/warped_linear_regression/target_warper_type.h"
#include "python/model/warped_linear_regression/warped_linear_regression_type.h"
#include "python/objective_object.h"
#include "python/python.h"
#include "python/python_type.h"

namespace bridge = corvane::python_bridge;

// The interpreter finds the function by this name.
// NOLINTNEXTLINE(readability-identifier-naming)
PyMODINIT_FUNC PyInit_trevalon_internal() noexcept {
  // The interpreter keeps a pointer into the table.
  static auto methods = std::array{
      bridge::make_method("RidgeRegressionModel",
                          &bridge::make_public_ridge_regression_model,
                          "Constructs a ridge regression model"),
      bridge::make_method("make_ridge_regression_model",
                          &bridge::make_internal_ridge_regression_model,
                          "Constructs a ridge regression model with every option"),
      bridge::make_method("LogisticRegressionModel",
                          &bridge::make_public_logistic_regression_model,
                          "Constructs a logistic regression model"),
      bridge::make_method("WarpedLinearRegressionModel",
                          &bridge::make_public_warped_linear_regression_model,
                          "Constructs a warped linear regression model"),
      bridge::make_method("make_warped_linear_regression_model",
                          &bridge::make_internal_warped_linear_regression_model,
                          "Constructs a warped linear regression model with every option"),
      PyMethodDef{}};
  constexpr const char* name = "trevalon_internal";
  bridge::python_object module = bridge::make_python_module(
      name, "Machine Learning Toolkit, internals", methods.data());
  // What `make_objective` returns has to be there first.
  bridge::register_objective_type(module);
  bridge::register_target_warper(name, module);
  bridge::register_ridge_regression_model(name, module, false);
  bridge::register_logistic_regression_model(name, module, false);
  bridge::register_warped_linear_regression_model(name, module, false);
  return module.release();
}
