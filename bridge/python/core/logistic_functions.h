// SPDX-License-Identifier: BSD-3-Clause
//
// trevalon._core: the logistic model.
//
// Tables of strengths are arrays of shape (columns, kinds) in units of the data: one column
// for the penalties l2 and l1; l2 and l1 strength of an elastic net; strength and exponent
// of a bridge.
#pragma once

#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// fit_logistic(X, y, *, penalty, groups, fit_intercept, normalize, start, strengths, tol,
// max_iter, observer) -> dict. y holds 0.0 and 1.0; a group of -1 stands for no penalty.
// With `strengths` there is no search; else one run begins at `start`, or the search finds
// its start where that is None.
python_object fit_logistic(PyObject* arguments, PyObject* keywords);

// logistic_criterion(X, y, *, penalty, groups, fit_intercept, normalize, strengths,
// observer) -> {"value", "gradient"}, the gradient of shape (groups, kinds): in the
// logarithm of a factor that the strengths of a group have in common, and in a number added
// to its exponents.
python_object logistic_criterion(PyObject* arguments, PyObject* keywords);

// predict_probability(X, coef, intercept), predict_log_probability(X, coef, intercept):
// (rows, 2), the smaller class first.
python_object predict_probability(PyObject* arguments, PyObject* keywords);
python_object predict_log_probability(PyObject* arguments, PyObject* keywords);

}  // namespace corvane::python_bridge
