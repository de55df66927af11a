// SPDX-License-Identifier: BSD-3-Clause
//
// The Python type `_LogisticRegressionModel` and the factory that makes its instances.
#pragma once

#include <memory>

#include "python/model/linear_linked_regression/linear_linked_regression_model.h"
#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// Makes the type and adds it to the module; without `public_only` the type also has
// `make_objective`. Ends the process where it cannot.
void register_logistic_regression_model(const char* module_name,
                                        const python_object& module, bool public_only);

// An unfitted instance of the registered type; a new reference.
PyObject* make_logistic_regression_object(std::unique_ptr<logistic_regression_model> model);

// Factory, called by the interpreter from the module's table: null, with the Python error
// set, when an option is bad. LogisticRegressionModel(init0=None, fit_intercept=1,
// normalize=1, penalty="l2", grouper=None, tolerance=0.0001).
PyObject* make_public_logistic_regression_model(PyObject* module, PyObject* arguments,
                                                PyObject* keywords) noexcept;

}  // namespace corvane::python_bridge
