// SPDX-License-Identifier: BSD-3-Clause
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

// The error that is set, as an exception object, which the caller owns; none is set then.
struct fetched_error {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
};

fetched_error fetch_error() {
  fetched_error error;
  PyErr_Fetch(&error.type, &error.value, &error.traceback);
  PyErr_NormalizeException(&error.type, &error.value, &error.traceback);
  return error;
}

}  // namespace

// Each call below that finds no memory itself leaves a MemoryError, which also is true.
void set_error_for_want_of_memory(const char* text) noexcept {
  PyErr_NoMemory();
  const fetched_error cause = fetch_error();
  PyErr_SetString(PyExc_RuntimeError, text);
  const fetched_error error = fetch_error();
  PyException_SetCause(error.value, cause.value);  // takes the reference over
  Py_XDECREF(cause.type);
  Py_XDECREF(cause.traceback);
  PyErr_Restore(error.type, error.value, error.traceback);
}

}  // namespace corvane::python_bridge
