// SPDX-License-Identifier: BSD-3-Clause
#include "python/loaded_numpy.h"

#include "python/python_error.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

namespace {

// Borrowed, or null where there is none.
PyObject* find(PyObject* dictionary, const char* name) {
  if (dictionary == nullptr || PyDict_Check(dictionary) == 0) return nullptr;
  const python_object key{PyUnicode_FromString(name)};
  PyObject* const value = PyDict_GetItemWithError(dictionary, key.get());
  if (value == nullptr) throw_if_error_set();
  return value;
}

}  // namespace

// The dictionaries are read directly, as looking up an attribute may run Python code.
PyObject* find_in_loaded_numpy(const char* name) {
  PyObject* const numpy = find(PyImport_GetModuleDict(), "numpy");
  if (numpy == nullptr || !PyModule_CheckExact(numpy)) return nullptr;
  return find(PyModule_GetDict(numpy), name);
}

}  // namespace corvane::python_bridge
