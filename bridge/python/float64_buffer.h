// SPDX-License-Identifier: BSD-3-Clause
//
// float64_buffer: the memory of a numpy array, held through the buffer protocol (PEP 3118)
// and given back by the destructor. It is how an array of float64 crosses at the speed of
// memory; whatever is not held crosses element by element, with the same result.
//
// numpy.ndarray itself is served and none of its subclasses: theirs may iterate in a way of
// their own, as masked arrays and matrices do, and then the bytes are not the elements.
// No Python code runs in any of this, so that what was held stays as it was.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "python/python.h"
#include "python/strided_copy.h"

namespace corvane::python_bridge {

enum class buffer_access { read, write_contiguous };

class float64_buffer {
 public:
  // Nothing, and no Python error, unless the object is an array of so many dimensions of
  // doubles in this machine's byte order. To be written it must lie in the order of C.
  static std::optional<float64_buffer> hold(PyObject* object, int dimensions,
                                            buffer_access access);

  index_t extent(int axis) const { return held_->view.shape[axis]; }
  // A vector is a matrix of one column here.
  strided_doubles elements() const;
  // Of a buffer held for writing.
  double* data() const { return static_cast<double*>(held_->view.buf); }

 private:
  // Stays where it was filled: an exporter's Py_buffer may point into itself.
  struct held_buffer {
    Py_buffer view{};
    held_buffer() = default;
    held_buffer(const held_buffer&) = delete;
    held_buffer& operator=(const held_buffer&) = delete;
    held_buffer(held_buffer&&) = delete;
    held_buffer& operator=(held_buffer&&) = delete;
    ~held_buffer();
  };

  explicit float64_buffer(std::unique_ptr<held_buffer> held) : held_{std::move(held)} {}

  std::unique_ptr<held_buffer> held_;
};

}  // namespace corvane::python_bridge
