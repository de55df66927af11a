// SPDX-License-Identifier: BSD-3-Clause
//
// The extension module trevalon._core, which the estimators call: one function per task,
// with arrays and numbers as arguments and results. The interpreter's lock is released
// during the computations.
#include <array>

#include "common/scoped_allocator.h"
#include "python/core/core_support.h"
#include "python/core/linear_functions.h"
#include "python/core/logistic_functions.h"
#include "python/core/ridge_functions.h"
#include "python/core/warped_functions.h"
#include "python/python.h"
#include "python/python_type.h"

namespace bridge = corvane::python_bridge;

// The interpreter finds the function by this name.
// NOLINTNEXTLINE(readability-identifier-naming,bugprone-reserved-identifier)
PyMODINIT_FUNC PyInit__core() noexcept {
  // The interpreter keeps a pointer into the table.
  static auto methods = std::array{
      bridge::make_core_method<&bridge::predict_linear>("predict_linear",
                                                        "X coef + intercept"),
      bridge::make_core_method<&bridge::fit_ridge>("fit_ridge",
                                                   "Finds the strengths of a ridge fit"),
      bridge::make_core_method<&bridge::cluster_ridge_columns>(
          "cluster_ridge_columns", "Groups columns by their coefficients"),
      bridge::make_core_method<&bridge::evaluate_ridge_criterion>(
          "ridge_criterion", "A criterion and its gradient at given strengths"),
      bridge::make_core_method<&bridge::fit_warped>("fit_warped",
                                                    "fit a warped linear regression"),
      bridge::make_core_method<&bridge::warped_predict>(
          "warped_predict", "predict from the state of a warped linear regression"),
      bridge::make_core_method<&bridge::warp_transform>(
          "warp_transform", "latent values of targets under a map"),
      bridge::make_core_method<&bridge::warp_derivative>("warp_derivative",
                                                         "slopes of a map at targets"),
      bridge::make_core_method<&bridge::warp_inverse>("warp_inverse",
                                                      "targets of latent values"),
      bridge::make_core_method<&bridge::make_warp>("make_warp",
                                                   "the map of given parameters"),
      bridge::make_core_method<&bridge::fit_logistic>("fit_logistic", "Fit two classes"),
      bridge::make_core_method<&bridge::logistic_criterion>(
          "logistic_criterion", "Approximate leave-one-out loss"),
      bridge::make_core_method<&bridge::predict_probability>("predict_probability",
                                                             "Of both classes"),
      bridge::make_core_method<&bridge::predict_log_probability>("predict_log_probability",
                                                                 "Of both classes"),
      PyMethodDef{}};
  corvane::set_scratch_exhaustion(corvane::scratch_exhaustion::throws_bad_alloc);
  try {
    const bridge::python_object module = bridge::make_python_module(
        "_core", "The compiled core of the estimators", methods.data());
    bridge::register_fit_error(module);
    return bridge::python_object{module}.release();
  } catch (const bridge::python_error&) {
    return nullptr;
  }
}
