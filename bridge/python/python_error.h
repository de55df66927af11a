// SPDX-License-Identifier: BSD-3-Clause
//
// How a failure travels through the bridge: the Python error indicator is set first, then
// python_error is thrown, and destructors run on the way to the wrapper that catches it.
// What the core or the standard library throws is translated here, at the member that meets
// it.
#pragma once

#include <exception>
#include <new>
#include <utility>

#include "python/python.h"

namespace corvane::python_bridge {

// Says that the Python error indicator is set; it has no message of its own.
class python_error : public std::exception {
 public:
  const char* what() const noexcept override { return "python_error"; }
};

[[noreturn]] inline void raise_error(PyObject* type, const char* text) {
  PyErr_SetString(type, text);
  throw python_error{};
}

// For calls whose error value is a legal result as well, as the -1 of PyLong_AsLong is.
inline void throw_if_error_set() {
  if (PyErr_Occurred() != nullptr) throw python_error{};
}

// Sets a RuntimeError with `text` whose cause, as `raise ... from` sets it, is a
// MemoryError: so that a caller can tell exhausted memory from unsuitable data.
void set_error_for_want_of_memory(const char* text) noexcept;

// Runs `body`, with an exhausted heap turned into Python's MemoryError.
template <class Body>
auto with_memory_error(Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
    throw python_error{};
  }
}

// Runs `body`, which gives a new reference, for a function that the interpreter calls: a
// Python error and an exhausted heap become null, which signals an error to it. No
// other exception is caught. As this is noexcept, such a one goes to std::terminate, and
// not through frames of the interpreter, which is C code.
template <class Body>
PyObject* return_null_on_error(Body&& body) noexcept {
  try {
    return with_memory_error(std::forward<Body>(body));
  } catch (const python_error&) {
    return nullptr;
  }
}

// Runs `body`, a call into the core from a member that is not `fit`; what the core throws
// becomes a RuntimeError with its text.
template <class Body>
auto with_core_error(Body&& body) {
  try {
    return with_memory_error(std::forward<Body>(body));
  } catch (const python_error&) {
    throw;
  } catch (const std::exception& failure) {
    raise_error(PyExc_RuntimeError, failure.what());
  }
}

// Runs the whole body of a model's `fit`. An exception of the caller's own callables and
// arguments passes unchanged; any other becomes a RuntimeError with `text`.
template <class Body>
void with_fit_error(const char* text, Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const python_error&) {
    throw;
  } catch (const std::bad_alloc&) {
    set_error_for_want_of_memory(text);
    throw python_error{};
  } catch (const std::exception&) {
    raise_error(PyExc_RuntimeError, text);
  }
}

}  // namespace corvane::python_bridge
