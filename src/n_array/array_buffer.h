// SPDX-License-Identifier: BSD-3-Clause
//
// array_buffer: the one owner of an n_array's memory. It knows a resource, a buffer at
// alignment 64 (a cache line, and the widest vector register) and how many elements the
// buffer holds; n_array knows shape and element order.
#pragma once

#include <cstddef>
#include <limits>
#include <memory_resource>
#include <new>

#include "n_array/large_pages.h"
#include "n_array/n_array_view.h"

namespace corvane {

inline constexpr std::size_t array_alignment = 64;

// The number of elements of a matrix. Shapes come from callers of the module: the product
// is checked for overflow.
inline index_t element_count(index_t rows, index_t cols) {
  constexpr index_t most = std::numeric_limits<index_t>::max();
  if (rows < 0 || cols < 0 || (cols > 0 && rows > most / cols))
    throw std::bad_array_new_length{};
  return rows * cols;
}

// The size of `count` elements in bytes, which also must exist.
template <class T>
std::size_t byte_count(index_t count) {
  constexpr auto most = std::numeric_limits<index_t>::max() / index_t{sizeof(T)};
  if (count < 0 || count > most) throw std::bad_array_new_length{};
  return static_cast<std::size_t>(count) * sizeof(T);
}

template <class T>
class array_buffer {
 public:
  array_buffer() : resource_{std::pmr::get_default_resource()} {}
  explicit array_buffer(index_t count) : array_buffer() { acquire(count); }
  explicit array_buffer(std::pmr::memory_resource* resource) : resource_{resource} {}
  array_buffer(const array_buffer&) = delete;
  array_buffer& operator=(const array_buffer&) = delete;
  array_buffer(array_buffer&&) = delete;
  array_buffer& operator=(array_buffer&&) = delete;
  ~array_buffer() {
    if (data_ != nullptr) release();
  }

  T* data() const { return data_; }
  index_t capacity() const { return capacity_; }
  std::pmr::memory_resource* resource() const { return resource_; }

  // Makes room for `count` elements. A buffer that is large enough is kept; otherwise it is
  // released before a new one of exactly `count` is allocated. Contents are not kept.
  void reserve(index_t count) {
    if (capacity_ >= count) return;
    if (capacity_ > 0) release();
    acquire(count);
  }

  // Releases the buffer. Also called without a buffer: a resource accepts that, although
  // libstdc++ declares the pointer as never null.
  __attribute__((no_sanitize("nonnull-attribute"))) void release() {
    resource_->deallocate(data_, byte_count<T>(capacity_), array_alignment);
    data_ = nullptr;
    capacity_ = 0;
  }

  // Takes over the buffer of `other`; this one must be empty and share its resource.
  void steal(array_buffer& other) {
    data_ = other.data_;
    capacity_ = other.capacity_;
    other.data_ = nullptr;
    other.capacity_ = 0;
  }

  bool shares_resource(const array_buffer& other) const {
    return resource_ == other.resource_ || resource_->is_equal(*other.resource_);
  }

 private:
  void acquire(index_t count) {
    if (count == 0) return;
    data_ = static_cast<T*>(resource_->allocate(byte_count<T>(count), array_alignment));
    capacity_ = count;
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    if (bytes >= large_array_bytes) advise_large_pages(data_, bytes);
  }

  T* data_ = nullptr;
  index_t capacity_ = 0;
  std::pmr::memory_resource* resource_;
};

}  // namespace corvane
