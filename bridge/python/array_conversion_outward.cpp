// SPDX-License-Identifier: BSD-3-Clause
//
// From the core to Python. The array comes from numpy.zeros with no dtype, which
// means float64. numpy is looked up anew in each call: nothing of it is kept. What zeros
// made is written in memory where it is an array, and through __setitem__ otherwise.
#include <algorithm>
#include <initializer_list>
#include <optional>

#include "python/array_conversion.h"
#include "python/float64_buffer.h"

namespace corvane::python_bridge {

namespace {

python_object call(const python_object& callable, const python_object& arguments) {
  return python_object{PyObject_CallObject(callable.get(), arguments.get())};
}

python_object make_shape(std::initializer_list<index_t> extents) {
  python_object shape{PyTuple_New(static_cast<Py_ssize_t>(extents.size()))};
  Py_ssize_t position = 0;
  for (const index_t extent : extents) {
    python_object entry{PyLong_FromLong(extent)};
    // Takes the reference over, also when it fails.
    if (PyTuple_SetItem(shape.get(), position, entry.release()) != 0) throw python_error{};
    ++position;
  }
  return shape;
}

// numpy.zeros(shape)
python_object make_zeros(std::initializer_list<index_t> extents) {
  const python_object shape = make_shape(extents);
  const python_object arguments{Py_BuildValue("(O)", shape.get())};
  const python_object numpy{PyImport_ImportModule("numpy")};
  const python_object zeros{PyObject_GetAttrString(numpy.get(), "zeros")};
  return call(zeros, arguments);
}

// Fetched once per array and called once per element.
python_object find_setter(const python_object& array) {
  return python_object{PyObject_GetAttrString(array.get(), "__setitem__")};
}

// The memory of what zeros made, in the order of C: nothing where it is no array of that
// shape, whoever has put another function in the place of zeros.
std::optional<float64_buffer> hold_result(const python_object& array, index_t size) {
  auto buffer = float64_buffer::hold(array.get(), 1, buffer_access::write_contiguous);
  if (!buffer || buffer->extent(0) != size) return std::nullopt;
  return buffer;
}

std::optional<float64_buffer> hold_result(const python_object& array, index_t rows,
                                          index_t columns) {
  auto buffer = float64_buffer::hold(array.get(), 2, buffer_access::write_contiguous);
  if (!buffer || buffer->extent(0) != rows || buffer->extent(1) != columns)
    return std::nullopt;
  return buffer;
}

void set_elements(const python_object& array, index_t rows, index_t columns,
                  const std::function<double(index_t, index_t)>& element) {
  const python_object setter = find_setter(array);
  for (index_t j = 0; j < columns; ++j)
    for (index_t i = 0; i < rows; ++i) {
      const python_object key{Py_BuildValue("ll", long{i}, long{j})};
      call(setter, python_object{Py_BuildValue("Od", key.get(), element(i, j))});
    }
}

}  // namespace

python_object to_numpy_vector(const_vector_view vector) {
  python_object array = make_zeros({vector.size()});
  if (const auto buffer = hold_result(array, vector.size())) {
    std::copy(vector.begin(), vector.end(), buffer->data());
    return array;
  }
  const python_object setter = find_setter(array);
  for (index_t i = 0; i < vector.size(); ++i)
    call(setter, python_object{Py_BuildValue("ld", long{i}, vector[i])});
  return array;
}

python_object to_numpy_vectors(const_vector_view first, const_vector_view second) {
  const python_object first_array = to_numpy_vector(first);
  const python_object second_array = to_numpy_vector(second);
  return python_object{Py_BuildValue("OO", first_array.get(), second_array.get())};
}

python_object to_numpy_matrix(index_t rows, index_t columns,
                              const std::function<double(index_t, index_t)>& element) {
  python_object array = make_zeros({rows, columns});
  if (const auto buffer = hold_result(array, rows, columns)) {
    for (index_t j = 0; j < columns; ++j)
      for (index_t i = 0; i < rows; ++i) buffer->data()[i * columns + j] = element(i, j);
  } else {
    set_elements(array, rows, columns, element);
  }
  return array;
}

// A matrix in the order of C is the transpose of one in the order of its columns.
python_object to_numpy_matrix(const_matrix_view matrix) {
  python_object array = make_zeros({matrix.rows(), matrix.cols()});
  if (const auto buffer = hold_result(array, matrix.rows(), matrix.cols()))
    copy_strided(transpose(matrix), {buffer->data(), matrix.cols(), matrix.rows()});
  else
    set_elements(array, matrix.rows(), matrix.cols(),
                 [&](index_t i, index_t j) { return matrix(i, j); });
  return array;
}

python_object to_numpy_matrix(const_symmetric_view matrix) {
  return to_numpy_matrix(matrix.rows(), matrix.cols(),
                         [&](index_t i, index_t j) { return matrix(i, j); });
}

}  // namespace corvane::python_bridge
