// SPDX-License-Identifier: BSD-3-Clause
//
// Checks that the models share, with the texts by which callers know them.
#pragma once

#include <memory>

#include "n_array/n_array_view.h"
#include "python/python.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

// For factories, which return null and do not throw: false, with the Python error set, when
// the tolerance is at or below 0. A NaN passes.
inline bool check_tolerance(double tolerance) {
  if (!(tolerance <= 0.0)) return true;
  PyErr_SetString(PyExc_RuntimeError, "tolerance must be greater than 0");
  return false;
}

// The record of the last successful fit, held by the caller for as long as he works with
// it: Python code that runs meanwhile may fit the model anew.
template <class Record>
std::shared_ptr<const Record> require_fitted(const std::shared_ptr<const Record>& fitted) {
  if (!fitted) raise_error(PyExc_RuntimeError, "model not fit");
  return fitted;
}

inline void require_columns(index_t columns, index_t expected) {
  if (columns != expected) raise_error(PyExc_RuntimeError, "X is incorrect shape");
}

}  // namespace corvane::python_bridge
