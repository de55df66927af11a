// SPDX-License-Identifier: BSD-3-Clause
//
// Reading the arguments of a method: PyArg_ParseTupleAndKeywords with its keyword list as
// an array that may be constant, and with failure as an exception.
#pragma once

#include <array>
#include <cstddef>

#include "python/python.h"
#include "python/python_error.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// True on success, else the Python error is set. `outputs` are what the format asks for;
// one that an optional argument does not reach keeps its value.
template <std::size_t Count, class... Outputs>
bool try_parse_arguments(PyObject* arguments, PyObject* keywords, const char* format,
                         const std::array<const char*, Count>& names, Outputs*... outputs) {
  // The C API takes the names without const up to Python 3.12, and never writes them.
  std::array<char*, Count + 1> terminated{};
  for (std::size_t i = 0; i < Count; ++i) terminated[i] = const_cast<char*>(names[i]);
  return PyArg_ParseTupleAndKeywords(arguments, keywords, format, terminated.data(),
                                     outputs...) != 0;
}

// One object, of which the caller gets a reference of its own: converting an argument may
// run Python code that drops the tuple it came in.
inline python_object parse_object(PyObject* arguments, PyObject* keywords,
                                  const char* format, const char* name) {
  PyObject* object = nullptr;
  if (!try_parse_arguments(arguments, keywords, format, std::array{name}, &object))
    throw python_error{};
  return python_object::share(object);
}

// An optional argument counts as absent when it is missing or None.
inline bool is_given(PyObject* optional) {
  return optional != nullptr && Py_IsNone(optional) == 0;
}

}  // namespace corvane::python_bridge
