// SPDX-License-Identifier: BSD-3-Clause
//
// result_vector: the numbers of a numpy array of float64 before they are computed. They are
// the array's own memory where making it runs no Python code, which is where numpy.zeros is
// a built-in function; and memory of our own, copied at the end, where another one has
// taken its place: that one may see, and change, what the numbers are made of.
#pragma once

#include <optional>

#include "n_array/n_array.h"
#include "python/float64_buffer.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

class result_vector {
 public:
  // Of as many numbers, to be written. Throws python_error where there is no room.
  explicit result_vector(index_t size);

  vector_view numbers();
  // The array that holds the numbers; they are not to be touched any more.
  python_object release();

 private:
  struct writable_array {
    python_object array;
    float64_buffer buffer;
  };
  static std::optional<writable_array> make_array(index_t size);

  std::optional<writable_array> made_;
  dense_vector own_;  // where nothing was made
};

}  // namespace corvane::python_bridge
