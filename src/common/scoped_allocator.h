// SPDX-License-Identifier: BSD-3-Clause
//
// scoped_allocator: block-scoped scratch memory. A local object takes memory from one
// per-thread arena by advancing an offset, and releases all of it when it goes out of
// scope. What does not fit comes from the heap, and is released at the same time.
//
// Scopes nest strictly: an inner one must end before the outer one allocates again or ends.
//
// An exhausted heap ends the process, unless the module has chosen std::bad_alloc.
#pragma once

#include <cstddef>
#include <memory_resource>

#include "n_array/array_buffer.h"
#include "n_array/n_array_view.h"

namespace corvane {

// One thread's stack of scratch memory.
struct scoped_arena {
  static constexpr std::size_t size_in_bytes = 2097152;

  std::byte* base = nullptr;
  std::size_t capacity = 0;
  std::size_t used = 0;
};

enum class scratch_exhaustion { ends_process, throws_bad_alloc };

// What all scopes of this module, in every thread, do from now on when the heap is
// exhausted. Each shared object has a setting of its own.
void set_scratch_exhaustion(scratch_exhaustion consequence) noexcept;

class scoped_allocator final : public std::pmr::memory_resource {
 public:
  scoped_allocator();
  scoped_allocator(const scoped_allocator&) = delete;
  scoped_allocator& operator=(const scoped_allocator&) = delete;
  scoped_allocator(scoped_allocator&&) = delete;
  scoped_allocator& operator=(scoped_allocator&&) = delete;
  ~scoped_allocator() override;

  // `alignment` is a power of two. A block from the heap is aligned as malloc aligns it, to
  // 16 bytes: no caller may rely on more there.
  void* do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

  // Uninitialised scratch of `count` elements. Throws std::bad_array_new_length where the
  // size does not exist.
  template <class T>
  T* take(index_t count, std::size_t alignment = array_alignment) {
    return static_cast<T*>(do_allocate(byte_count<T>(count), alignment));
  }
  vector_view vector(index_t size) { return {take<double>(size), size}; }
  matrix_view matrix(index_t rows, index_t cols) {
    return {take<double>(element_count(rows, cols)), rows, cols};
  }
  symmetric_view symmetric(index_t n) { return {take<double>(element_count(n, n)), n, n}; }

  const scoped_arena& arena() const { return *arena_; }

 private:
  struct heap_block {
    heap_block* next;
  };
  void* allocate_from_heap(std::size_t bytes, std::size_t alignment);

  scoped_arena* arena_;
  std::size_t taken_ = 0;
  heap_block* heap_blocks_ = nullptr;
};

}  // namespace corvane
