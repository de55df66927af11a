// SPDX-License-Identifier: BSD-3-Clause
//
// trevalon._core: the predictor that linear models share.
#pragma once

#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// predict_linear(X, coef, intercept) -> X coef + intercept
python_object predict_linear(PyObject* arguments, PyObject* keywords);

}  // namespace corvane::python_bridge
