// SPDX-License-Identifier: BSD-3-Clause
#include "python/python_object.h"

#include <utility>

#include "python/python_error.h"

namespace corvane::python_bridge {

python_object::python_object(PyObject* new_reference) : pointer_{new_reference} {
  if (pointer_ == nullptr) throw python_error{};
}

python_object python_object::share(PyObject* borrowed) {
  Py_XINCREF(borrowed);
  return python_object{borrowed};
}

python_object::python_object(const python_object& other) : pointer_{other.pointer_} {
  Py_XINCREF(pointer_);
}

python_object& python_object::operator=(const python_object& other) {
  if (this != &other) *this = python_object{other};
  return *this;
}

// The old reference is dropped last: that may run Python code, which must not find this
// object with a pointer that is already gone.
python_object& python_object::operator=(python_object&& other) noexcept {
  if (this == &other) return *this;
  PyObject* old = std::exchange(pointer_, other.release());
  Py_XDECREF(old);
  return *this;
}

python_object::~python_object() { Py_XDECREF(pointer_); }

PyObject* python_object::release() noexcept { return std::exchange(pointer_, nullptr); }

}  // namespace corvane::python_bridge
