// SPDX-License-Identifier: BSD-3-Clause
//
// trevalon_conversion_probe: the array conversions as functions of a Python module. Each
// takes any object and returns the elements in the order of the core's storage, and where
// there is one, the numpy array that the same elements become on the way back. Beside them
// the owner of a Python reference, counted.
#include <algorithm>
#include <array>
#include <exception>
#include <type_traits>
#include <utility>
#include <vector>

#include "python/array_conversion.h"
#include "python/grouper_bridge.h"
#include "python/initializer_bridge.h"
#include "python/method_wrapper.h"
#include "python/python_type.h"

namespace {

using namespace corvane::python_bridge;  // NOLINT(google-build-using-namespace): a test's
                                         // own
using corvane::index_t;

template <class Array>
python_object to_list(const Array& array) {
  python_object list{PyList_New(0)};
  for (const auto element : array) {
    const python_object item{std::is_same_v<decltype(element), const index_t>
                                 ? PyLong_FromLong(static_cast<long>(element))
                                 : PyFloat_FromDouble(static_cast<double>(element))};
    if (PyList_Append(list.get(), item.get()) != 0) throw python_error{};
  }
  return list;
}

template <class First, class Second>
python_object pair_of(const First& first, const Second& second) {
  return python_object{Py_BuildValue("OO", first.get(), second.get())};
}

python_object double_matrix(PyObject* object) {
  const corvane::dense_matrix matrix = to_double_matrix(object);
  return pair_of(to_list(matrix), to_numpy_matrix(matrix));
}

// The conversion by itself, for those who time it.
python_object read_matrix(PyObject* object) {
  const corvane::dense_matrix matrix = to_double_matrix(object);
  return python_object{Py_BuildValue("ll", long{matrix.rows()}, long{matrix.cols()})};
}

python_object double_vector(PyObject* object) {
  const corvane::dense_vector vector = to_double_vector(object);
  return pair_of(to_list(vector), to_numpy_vector(vector));
}

python_object index_matrix(PyObject* object) {
  const corvane::index_matrix matrix = to_index_matrix(object);
  return python_object{
      Py_BuildValue("(llO)", matrix.rows(), matrix.cols(), to_list(matrix).get())};
}

python_object index_vector(PyObject* object) { return to_list(to_index_vector(object)); }

// The lower triangle of a square matrix, with the upper half of the storage left as NaN.
python_object symmetric_from_lower(PyObject* object) {
  const corvane::dense_matrix full = to_double_matrix(object);
  corvane::symmetric_matrix symmetric(full.rows(), full.cols());
  std::fill_n(symmetric.data(), symmetric.size(), Py_NAN);
  for (index_t j = 0; j < full.cols(); ++j)
    for (index_t i = j; i < full.rows(); ++i) symmetric(i, j) = full(i, j);
  return to_numpy_matrix(symmetric);
}

// Entry (i, j) is 10 i + j, through the accessor.
python_object matrix_of_places(PyObject* object) {
  const matrix_shape shape = read_matrix_shape(object);
  return to_numpy_matrix(shape.rows, shape.columns, [](index_t i, index_t j) {
    return static_cast<double>(10 * i + j);
  });
}

python_object shape(PyObject* object) {
  const matrix_shape shape = read_matrix_shape(object);
  return python_object{Py_BuildValue("ll", long{shape.rows}, long{shape.columns})};
}

// Three groups, from a callable that may hold parameters fixed and is not told their
// number.
python_object groups_with_fixed(PyObject* callable) {
  const grouper_bridge grouper{python_object::share(callable), false,
                               fixed_parameters::allowed};
  const python_object none = python_object::share(Py_None);
  return to_list(grouper(none, none, 3));
}

python_object start_of_three(PyObject* callable) {
  corvane::dense_vector start(3);
  initializer_bridge{python_object::share(callable)}(start);
  return to_list(start);
}

// How many references an object gains while owners of it are made, copied, moved and
// dropped, one number after each step; at the end its owners are gone.
python_object ownership(PyObject* object) {
  const Py_ssize_t alone = Py_REFCNT(object);
  std::vector<Py_ssize_t> gained;
  const auto note = [&] { gained.push_back(Py_REFCNT(object) - alone); };
  {
    python_object owner = python_object::share(object);
    note();
    const python_object copy{owner};
    note();
    python_object moved{std::move(owner)};
    note();
    python_object other{PyList_New(0)};
    other = moved;
    note();
    other = std::move(moved);
    note();
    other = python_object{PyList_New(0)};
    note();
    python_object released{copy};
    PyObject* const handed_over = released.release();
    note();
    Py_DECREF(handed_over);
    note();
  }
  note();
  python_object list{PyList_New(0)};
  for (const Py_ssize_t count : gained) {
    const python_object item{PyLong_FromSsize_t(count)};
    if (PyList_Append(list.get(), item.get()) != 0) throw python_error{};
  }
  return list;
}

// Whether wrapping the null of a failed call throws, and what the exception calls itself.
python_object failed_call(PyObject* object) {
  try {
    const python_object never{PyObject_GetAttrString(object, "no such attribute")};
  } catch (const std::exception& error) {
    PyErr_Clear();
    return python_object{PyUnicode_FromString(error.what())};
  }
  return python_object::share(Py_None);
}

// A function of one positional argument behind the rule of the bridge's wrappers.
template <python_object (*Function)(PyObject*)>
PyObject* probe(PyObject* /*module*/, PyObject* object) noexcept {
  try {
    return Function(object).release();
  } catch (const python_error&) {
    return nullptr;
  }
}

template <python_object (*Function)(PyObject*)>
PyMethodDef make_probe(const char* name) {
  return {name, &probe<Function>, METH_O, nullptr};
}

}  // namespace

// The interpreter finds the function by this name.
// NOLINTNEXTLINE(readability-identifier-naming)
PyMODINIT_FUNC PyInit_trevalon_conversion_probe() noexcept {
  static auto methods = std::array{make_probe<double_matrix>("double_matrix"),
                                   make_probe<read_matrix>("read_matrix"),
                                   make_probe<double_vector>("double_vector"),
                                   make_probe<index_matrix>("index_matrix"),
                                   make_probe<index_vector>("index_vector"),
                                   make_probe<symmetric_from_lower>("symmetric_from_lower"),
                                   make_probe<matrix_of_places>("matrix_of_places"),
                                   make_probe<shape>("shape"),
                                   make_probe<groups_with_fixed>("groups_with_fixed"),
                                   make_probe<start_of_three>("start_of_three"),
                                   make_probe<ownership>("ownership"),
                                   make_probe<failed_call>("failed_call"),
                                   PyMethodDef{}};
  return make_python_module("trevalon_conversion_probe", "Array conversions, for tests",
                            methods.data())
      .release();
}
