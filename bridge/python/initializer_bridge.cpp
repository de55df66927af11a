// SPDX-License-Identifier: BSD-3-Clause
#include "python/initializer_bridge.h"

#include <algorithm>

#include "python/array_conversion.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

void initializer_bridge::operator()(vector_view out) const {
  // The attribute, rather than a call of the object: what is not callable shows as an
  // AttributeError.
  const python_object call{PyObject_GetAttrString(callable_.get(), "__call__")};
  const python_object arguments{Py_BuildValue("(l)", long{out.size()})};
  const python_object result{PyObject_CallObject(call.get(), arguments.get())};
  const dense_vector point = to_double_vector(result.get());
  if (point.size() != out.size())
    raise_error(PyExc_RuntimeError, "initialization incorrect size");
  std::copy(point.begin(), point.end(), out.begin());
}

}  // namespace corvane::python_bridge
