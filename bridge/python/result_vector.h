// SPDX-License-Identifier: BSD-3-Clause
//
// result_vector: memory for a computation to fill, returned as a numpy array of float64. It
// is the array's own memory if numpy.zeros is a built-in function, which runs no Python
// code. If a program has replaced that function, which then could change the memory during
// the computation, it is memory of this object, copied to an array at the end.
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
