// SPDX-License-Identifier: BSD-3-Clause
#include "python/float64_buffer.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "python/loaded_numpy.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

// False for every object if numpy is not loaded. If a program has replaced numpy.ndarray,
// the arrays of numpy are not recognized.
bool is_plain_array(PyObject* object) {
  return reinterpret_cast<PyObject*>(Py_TYPE(object)) == find_in_loaded_numpy("ndarray");
}

// The codes of a double of this machine's byte order. '=' stands in front of it where an
// array is not aligned.
bool is_double(const Py_buffer& buffer) {
  const std::string_view format = buffer.format == nullptr ? "B" : buffer.format;
  return buffer.itemsize == Py_ssize_t{sizeof(double)} &&
         (format == "d" || format == "@d" || format == "=d");
}

bool is_aligned(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address) % alignof(double) == 0;
}

int request_for(buffer_access access) {
  return access == buffer_access::read ? PyBUF_RECORDS_RO
                                       : PyBUF_C_CONTIGUOUS | PyBUF_WRITABLE | PyBUF_FORMAT;
}

}  // namespace

// Accepts one that was never filled.
float64_buffer::held_buffer::~held_buffer() { PyBuffer_Release(&view); }

std::optional<float64_buffer> float64_buffer::hold(PyObject* object, int dimensions,
                                                   buffer_access access) {
  if (!is_plain_array(object)) return std::nullopt;
  auto held = with_memory_error([] { return std::make_unique<held_buffer>(); });
  if (PyObject_GetBuffer(object, &held->view, request_for(access)) != 0) {
    PyErr_Clear();  // an array of dates, for one, has no buffer
    return std::nullopt;
  }
  if (held->view.ndim != dimensions || !is_double(held->view)) return std::nullopt;
  if (access == buffer_access::write_contiguous && !is_aligned(held->view.buf))
    return std::nullopt;
  return float64_buffer{std::move(held)};
}

strided_doubles float64_buffer::elements() const {
  const Py_buffer& view = held_->view;
  const bool is_matrix = view.ndim == 2;
  return {.data = static_cast<const std::byte*>(view.buf),
          .rows = view.shape[0],
          .columns = is_matrix ? view.shape[1] : 1,
          .row_stride = view.strides[0],
          .column_stride = is_matrix ? view.strides[1] : 0};
}

}  // namespace corvane::python_bridge
