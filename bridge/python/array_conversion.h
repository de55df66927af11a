// SPDX-License-Identifier: BSD-3-Clause
//
// Movement of arrays between Python and the core. Inward comes whatever has a `shape` and
// iterates, element by element through the iterator protocol; outward goes a numpy array,
// element by element through __setitem__. A numpy array of float64 is copied through its
// memory instead, in both directions, with the same result (float64_buffer.h). So no numpy
// headers are needed, and numpy itself only at run time.
//
// Every function throws python_error, with the Python error set, when a Python call fails
// or memory is short. Conversions run Python code: what they convert may call back into a
// model.
#pragma once

#include <functional>

#include "n_array/n_array.h"
#include "python/python.h"
#include "python/python_error.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

struct matrix_shape {
  index_t rows;
  index_t columns;
};

// The two entries of the tuple `object.shape`, as they stand.
matrix_shape read_matrix_shape(PyObject* object);
index_t read_index(PyObject* object);

// Fill `destination` from an iterable. False when the iterable holds another number of
// items; nothing is written outside the destination, and nothing behind the first item too
// many is read.
bool fill_double_line(PyObject* object, strided_view<double> destination);
bool fill_index_line(PyObject* object, strided_view<index_t> destination);

// From an iterable that has a length, so not from an iterator.
dense_vector to_double_vector(PyObject* object);
index_vector to_index_vector(PyObject* object);

// From an iterable of iterables with a two-element `shape`.
dense_matrix to_double_matrix(PyObject* object);
index_matrix to_index_matrix(PyObject* object);

// A vector for results, uninitialised; MemoryError where there is no room for it.
inline dense_vector allocate_vector(index_t size) {
  return with_memory_error([size] { return dense_vector(size); });
}

// numpy arrays of float64.
python_object to_numpy_vector(const_vector_view vector);
// A tuple of two of them.
python_object to_numpy_vectors(const_vector_view first, const_vector_view second);
python_object to_numpy_matrix(const_matrix_view matrix);
// Full, with both halves read from the stored triangle.
python_object to_numpy_matrix(const_symmetric_view matrix);
// Entry (i, j) is element(i, j), asked for column by column.
python_object to_numpy_matrix(index_t rows, index_t columns,
                              const std::function<double(index_t, index_t)>& element);

}  // namespace corvane::python_bridge
