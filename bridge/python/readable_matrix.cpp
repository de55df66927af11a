// SPDX-License-Identifier: BSD-3-Clause
#include "python/readable_matrix.h"

#include <climits>
#include <cstdint>

#include "python/array_conversion.h"

namespace corvane::python_bridge {

namespace {

constexpr index_t element_bytes = sizeof(double);

// The distance from line to line in elements, where `count` lines of `length` elements lie
// one behind another, each without gaps. The line of a single one has no distance to a
// next.
std::optional<index_t> line_distance(index_t length, index_t count, index_t element_stride,
                                     index_t line_stride) {
  if (length != 1 && element_stride != element_bytes) return std::nullopt;
  if (count == 1) return length;
  const index_t distance = line_stride / element_bytes;
  if (line_stride % element_bytes != 0 || distance < length || distance > INT_MAX)
    return std::nullopt;
  return distance;
}

}  // namespace

std::optional<readable_matrix::layout> readable_matrix::find_layout(
    const strided_doubles& X) {
  const auto address = reinterpret_cast<std::uintptr_t>(X.data);
  if (X.rows == 0 || X.columns == 0 || address % alignof(double) != 0) return std::nullopt;
  if (const auto distance = line_distance(X.rows, X.columns, X.row_stride, X.column_stride))
    return layout{false, *distance};
  if (const auto distance = line_distance(X.columns, X.rows, X.column_stride, X.row_stride))
    return layout{true, *distance};
  return std::nullopt;
}

readable_matrix::readable_matrix(PyObject* object)
    : in_place_{float64_buffer::hold(object, 2, buffer_access::read)} {
  if (in_place_) layout_ = find_layout(in_place_->elements());
  if (layout_) return;
  in_place_.reset();
  converted_ = to_double_matrix(object);
}

transposition readable_matrix::op() const {
  return is_transposed() ? transposition::transpose : transposition::none;
}

const_matrix_block readable_matrix::block() const {
  if (!layout_) return converted_;
  const strided_doubles X = in_place_->elements();
  // Aligned, or there would be no layout.
  const auto* const data = static_cast<const double*>(static_cast<const void*>(X.data));
  if (layout_->transposed) return {data, X.columns, X.rows, layout_->leading_dimension};
  return {data, X.rows, X.columns, layout_->leading_dimension};
}

}  // namespace corvane::python_bridge
