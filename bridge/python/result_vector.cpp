// SPDX-License-Identifier: BSD-3-Clause
#include "python/result_vector.h"

#include <utility>

#include "python/array_conversion.h"
#include "python/loaded_numpy.h"

namespace corvane::python_bridge {

auto result_vector::make_array(index_t size) -> std::optional<writable_array> {
  PyObject* const zeros = find_in_loaded_numpy("zeros");
  if (zeros == nullptr || !PyCFunction_CheckExact(zeros)) return std::nullopt;
  python_object array{PyObject_CallFunction(zeros, "((n))", Py_ssize_t{size})};
  auto buffer = float64_buffer::hold(array.get(), 1, buffer_access::write_contiguous);
  if (!buffer || buffer->extent(0) != size) return std::nullopt;
  return writable_array{std::move(array), *std::move(buffer)};
}

result_vector::result_vector(index_t size) : made_{make_array(size)} {
  if (!made_) own_ = allocate_vector(size);
}

vector_view result_vector::numbers() {
  if (!made_) return own_;
  return {made_->buffer.data(), made_->buffer.extent(0)};
}

python_object result_vector::release() {
  if (!made_) return to_numpy_vector(own_);
  // The buffer goes first: nobody has a view of an array that is handed out.
  python_object array = made_->array;
  made_.reset();
  return array;
}

}  // namespace corvane::python_bridge
