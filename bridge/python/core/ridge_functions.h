// SPDX-License-Identifier: BSD-3-Clause
//
// trevalon._core: ridge fits. The arguments are in python/trevalon/_core.pyi.
#pragma once

#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

python_object fit_ridge(PyObject* arguments, PyObject* keywords);
python_object cluster_ridge_columns(PyObject* arguments, PyObject* keywords);
python_object evaluate_ridge_criterion(PyObject* arguments, PyObject* keywords);

}  // namespace corvane::python_bridge
