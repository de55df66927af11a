// SPDX-License-Identifier: BSD-3-Clause
//
// The Python type `_WarpedLinearRegressionModel` and the two factories that make its
// instances.
#pragma once

#include <memory>

#include "python/model/warped_linear_regression/warped_linear_regression_bridge.h"
#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// Makes the type and adds it to the module; without `public_only` the type also has
// `make_objective`.
void register_warped_linear_regression_model(const char* module_name,
                                             const python_object& module, bool public_only);

// An unfitted instance of the registered type; a new reference.
PyObject* make_warped_linear_regression_object(
    std::unique_ptr<warped_linear_regression_bridge> model);

// Factories, called by the interpreter from the module's table: null, with the Python error
// set, when an option is bad.
//
// The plain one: WarpedLinearRegressionModel(init0=None, fit_intercept=1, normalize=1,
// num_steps=1, tolerance=0.0001).
PyObject* make_public_warped_linear_regression_model(PyObject* module, PyObject* arguments,
                                                     PyObject* keywords) noexcept;
// make_warped_linear_regression_model, with every option of the descriptor and of the
// optimizer.
PyObject* make_internal_warped_linear_regression_model(PyObject* module,
                                                       PyObject* arguments,
                                                       PyObject* keywords) noexcept;

}  // namespace corvane::python_bridge
