// SPDX-License-Identifier: BSD-3-Clause
//
// python_object: owner of one strong reference. As construction from null throws, wrapping
// the result of a C API call is the check of that call.
#pragma once

#include "python/python.h"

namespace corvane::python_bridge {

class python_object {
 public:
  // Takes over a new reference. Null means that the call which gave it has set the Python
  // error: throws python_error.
  explicit python_object(PyObject* new_reference);
  // Adds a reference to one that somebody else owns.
  static python_object share(PyObject* borrowed);

  // A copy is a second reference to the same object; a move leaves null behind.
  python_object(const python_object& other);
  python_object(python_object&& other) noexcept : pointer_{other.release()} {}
  python_object& operator=(const python_object& other);
  python_object& operator=(python_object&& other) noexcept;
  ~python_object();

  // Borrowed: valid for as long as this owner is.
  PyObject* get() const { return pointer_; }
  // Hands the reference to Python or to a call that steals it; leaves null behind.
  PyObject* release() noexcept;

 private:
  PyObject* pointer_;
};

}  // namespace corvane::python_bridge
