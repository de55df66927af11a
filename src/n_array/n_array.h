// SPDX-License-Identifier: BSD-3-Clause
//
// n_array: an owning dense array of rank 1 or 2 on a polymorphic memory resource.
//
// It offers storage, shape, copying and moving; arithmetic lives in free functions.
// Elements of a new array are not initialised. Assignment reuses a buffer that is large
// enough and otherwise allocates exactly what is needed. A symmetric array copies its
// stored triangle only, and panics when a source is not square.
#pragma once

#include <algorithm>
#include <concepts>
#include <memory_resource>
#include <type_traits>
#include <utility>

#include "n_array/array_buffer.h"
#include "n_array/n_array_view.h"
#include "n_array/panic.h"

namespace corvane {

namespace n_array_detail {

// Copies the elements that the structure stores.
template <class T>
void copy_elements(n_array_view<const T, 1, general_structure> from, T* to) {
  std::copy(from.begin(), from.end(), to);
}

template <class T>
void copy_elements(n_array_view<const T, 2, general_structure> from, T* to) {
  std::copy_n(from.data(), from.size(), to);
}

template <class T>
void copy_elements(n_array_view<const T, 2, symmetric_structure> from, T* to) {
  const index_t n = from.rows();
  for (index_t i = 0; i < n; ++i)
    for (index_t j = i; j < n; ++j) to[i * n + j] = from.data()[i * n + j];
}

// The source of a symmetric array must be square.
template <class View>
void check_shape(const View& /*source*/) {}

template <class T>
void check_shape(const n_array_view<const T, 2, symmetric_structure>& source) {
  if (source.rows() != source.cols())
    panic("shape must be equal dimensional", 145, "src/n_array/n_array");
}

}  // namespace n_array_detail

template <class T, unsigned long Rank, class Structure>
class n_array {
 public:
  using view_type = n_array_view<T, Rank, Structure>;
  using const_view_type = n_array_view<const T, Rank, Structure>;

  n_array() = default;
  explicit n_array(index_t size) requires(Rank == 1)
      : buffer_{size}, shape_{nullptr, size} {}
  n_array(index_t rows, index_t cols) requires(Rank == 2)
      : buffer_{element_count(rows, cols)}, shape_{nullptr, rows, cols} {}
  // A template, so that the size 0 is never taken for a null pointer.
  template <std::derived_from<std::pmr::memory_resource> Resource>
  explicit n_array(Resource* resource) : buffer_{resource} {}

  explicit n_array(const_view_type source) { assign(source); }
  n_array(const n_array& other) { assign(other.view()); }
  // As the move assignment to an empty array on the same resource: no step can fail.
  n_array(n_array&& other) noexcept : buffer_{other.resource()}, shape_{other.shape_} {
    if (other.data() != nullptr) {
      buffer_.release();
      buffer_.steal(other.buffer_);
    }
    other.shape_ = {};
  }
  ~n_array() = default;

  n_array& operator=(const_view_type source) {
    assign(source);
    return *this;
  }

  n_array& operator=(const n_array& other) {
    if (this != &other) assign(other.view());
    return *this;
  }

  // Takes the buffer of `other`. Between unequal resources the elements are copied and
  // `other` keeps them, which is why this may throw.
  n_array& operator=(n_array&& other) noexcept(false) {
    if (this == &other) return *this;
    if (data() == other.data()) {  // both hold nothing
      shape_ = std::exchange(other.shape_, {});
      return *this;
    }
    buffer_.release();
    shape_ = {};
    if (buffer_.shares_resource(other.buffer_)) {
      buffer_.steal(other.buffer_);
      shape_ = std::exchange(other.shape_, {});
    } else {
      assign(other.view());
    }
    return *this;
  }

  T* data() { return buffer_.data(); }
  const T* data() const { return buffer_.data(); }
  index_t size() const { return shape_.size(); }
  index_t capacity() const { return buffer_.capacity(); }
  std::pmr::memory_resource* resource() const { return buffer_.resource(); }
  index_t rows() const requires(Rank == 2) { return shape_.rows(); }
  index_t cols() const requires(Rank == 2) { return shape_.cols(); }

  view_type view() { return look(data()); }
  const_view_type view() const { return look(data()); }
  operator view_type() { return view(); }
  operator const_view_type() const { return view(); }

  T* begin() { return data(); }
  T* end() { return data() + size(); }
  const T* begin() const { return data(); }
  const T* end() const { return data() + size(); }

  template <class... Index>
  T& operator()(Index... index) {
    return view()(index...);
  }
  template <class... Index>
  const T& operator()(Index... index) const {
    return view()(index...);
  }
  T& operator[](index_t i) requires(Rank == 1) { return data()[i]; }
  const T& operator[](index_t i) const requires(Rank == 1) { return data()[i]; }

 private:
  // A view of this shape at another pointer.
  template <class Pointer>
  auto look(Pointer pointer) const {
    using element = std::remove_pointer_t<Pointer>;
    if constexpr (Rank == 1)
      return n_array_view<element, 1, Structure>{pointer, shape_.size()};
    else
      return n_array_view<element, 2, Structure>{pointer, shape_.rows(), shape_.cols()};
  }

  // The shape is empty while a buffer is allocated, so that a failing allocation leaves an
  // array of zero elements.
  void assign(const_view_type source) {
    n_array_detail::check_shape(source);
    shape_ = {};
    buffer_.reserve(source.size());
    if constexpr (Rank == 1)
      shape_ = {nullptr, source.size()};
    else
      shape_ = {nullptr, source.rows(), source.cols()};
    // Without elements there may be no memory on either side.
    if (source.size() > 0 && source.data() != buffer_.data())
      n_array_detail::copy_elements<T>(source, buffer_.data());
  }

  array_buffer<T> buffer_;
  view_type shape_;  // counts only; its pointer stays null
};

using dense_vector = n_array<double, 1, general_structure>;
using dense_matrix = n_array<double, 2, general_structure>;
using symmetric_matrix = n_array<double, 2, symmetric_structure>;
using index_vector = n_array<index_t, 1, general_structure>;
using index_matrix = n_array<index_t, 2, general_structure>;

}  // namespace corvane
