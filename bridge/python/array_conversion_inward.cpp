// SPDX-License-Identifier: BSD-3-Clause
//
// From Python to the core. The length or shape that an object declares sizes the
// array; another number of items than declared is an error.
#include <optional>

#include "python/array_conversion.h"
#include "python/float64_buffer.h"

namespace corvane::python_bridge {

namespace {

// -1 is the error value and a legal value alike: only the error indicator tells.
double read_double(PyObject* object) {
  const double value = PyFloat_AsDouble(object);
  if (value == -1.0) throw_if_error_set();
  return value;
}

// The next item, or nothing at the end; what the iterator raises passes on.
std::optional<python_object> next_item(const python_object& iterator) {
  PyObject* item = PyIter_Next(iterator.get());
  if (item == nullptr) {
    throw_if_error_set();
    return std::nullopt;
  }
  return python_object{item};
}

// Items that are read may be objects of any kind, whose conversion runs Python code: each
// is held while it is converted.
template <class T, T (*Read)(PyObject*)>
bool fill_line(PyObject* object, strided_view<T> destination) {
  const python_object iterator{PyObject_GetIter(object)};
  index_t count = 0;
  while (const auto item = next_item(iterator)) {
    if (count == destination.size()) return false;
    destination[count] = Read(item->get());
    ++count;
  }
  return count == destination.size();
}

// MemoryError where there is no room, or the number of bytes has no representation.
template <class Array, class... Extents>
Array allocate_array(Extents... extents) {
  return with_memory_error([&] { return Array(extents...); });
}

template <class T, T (*Read)(PyObject*)>
n_array<T, 1, general_structure> to_vector(PyObject* object) {
  // The text reads the opposite way from the test: an iterator is refused, as it has no
  // length; lists, tuples and arrays pass.
  if (PyIter_Check(object) != 0) raise_error(PyExc_TypeError, "not an iterable");
  const Py_ssize_t size = PyObject_Size(object);
  if (size == -1) throw python_error{};
  auto vector = allocate_array<n_array<T, 1, general_structure>>(index_t{size});
  if (!fill_line<T, Read>(object, {vector.data(), vector.size(), 1}))
    raise_error(PyExc_TypeError, "improper dimensions for a vector");
  return vector;
}

[[noreturn]] void raise_improper_matrix() {
  raise_error(PyExc_TypeError, "improper dimensions for a matrix");
}

// Row i of a column-major matrix: every `rows`-th element from the i-th on. A row of no
// elements has no address.
template <class T>
strided_view<T> row(n_array_view<T, 2, general_structure> matrix, index_t i) {
  return {matrix.cols() == 0 ? matrix.data() : matrix.data() + i, matrix.cols(),
          matrix.rows()};
}

// Element (i, j) of an m by n matrix stands at data[i + j m]: item j of row i is written m
// places behind item j - 1.
template <class T, T (*Read)(PyObject*)>
n_array<T, 2, general_structure> to_matrix(PyObject* object) {
  const matrix_shape shape = read_matrix_shape(object);
  if (shape.rows < 0 || shape.columns < 0)
    raise_error(PyExc_ValueError, "negative dimensions are not allowed");
  auto matrix = allocate_array<n_array<T, 2, general_structure>>(shape.rows, shape.columns);
  const python_object iterator{PyObject_GetIter(object)};
  index_t i = 0;
  while (const auto line = next_item(iterator)) {
    if (i == shape.rows || !fill_line<T, Read>(line->get(), row(matrix.view(), i)))
      raise_improper_matrix();
    ++i;
  }
  if (i != shape.rows) raise_improper_matrix();
  return matrix;
}

}  // namespace

matrix_shape read_matrix_shape(PyObject* object) {
  const python_object shape{PyObject_GetAttrString(object, "shape")};
  if (PyTuple_Check(shape.get()) == 0) raise_error(PyExc_TypeError, "shape is not a tuple");
  if (PyTuple_Size(shape.get()) != 2) raise_improper_matrix();
  // The tuple holds its items for as long as it is held itself.
  return {read_index(PyTuple_GetItem(shape.get(), 0)),
          read_index(PyTuple_GetItem(shape.get(), 1))};
}

index_t read_index(PyObject* object) {
  const long value = PyLong_AsLong(object);
  if (value == -1) throw_if_error_set();
  return value;
}

bool fill_double_line(PyObject* object, strided_view<double> destination) {
  return fill_line<double, read_double>(object, destination);
}

bool fill_index_line(PyObject* object, strided_view<index_t> destination) {
  return fill_line<index_t, read_index>(object, destination);
}

dense_vector to_double_vector(PyObject* object) {
  if (const auto buffer = float64_buffer::hold(object, 1, buffer_access::read)) {
    auto vector = allocate_array<dense_vector>(buffer->extent(0));
    copy_strided(buffer->elements(), {vector.data(), vector.size(), 1});
    return vector;
  }
  return to_vector<double, read_double>(object);
}

index_vector to_index_vector(PyObject* object) {
  return to_vector<index_t, read_index>(object);
}

dense_matrix to_double_matrix(PyObject* object) {
  if (const auto buffer = float64_buffer::hold(object, 2, buffer_access::read)) {
    auto matrix = allocate_array<dense_matrix>(buffer->extent(0), buffer->extent(1));
    copy_strided(buffer->elements(), matrix);
    return matrix;
  }
  return to_matrix<double, read_double>(object);
}

index_matrix to_index_matrix(PyObject* object) {
  return to_matrix<index_t, read_index>(object);
}

}  // namespace corvane::python_bridge
