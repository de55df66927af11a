// SPDX-License-Identifier: BSD-3-Clause
#include "common/scoped_allocator.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <new>

#include "common/address_sanitizer.h"

namespace corvane {

namespace {

// Owns the memory of one thread's arena and frees it when the thread ends.
class arena_owner {
 public:
  arena_owner() noexcept {
    arena_.base = static_cast<std::byte*>(::operator new(scoped_arena::size_in_bytes));
    arena_.capacity = scoped_arena::size_in_bytes;
    forbid_access(arena_.base, arena_.capacity);
  }
  arena_owner(const arena_owner&) = delete;
  arena_owner& operator=(const arena_owner&) = delete;
  arena_owner(arena_owner&&) = delete;
  arena_owner& operator=(arena_owner&&) = delete;
  ~arena_owner() {
    permit_access(arena_.base, arena_.capacity);
    ::operator delete(arena_.base);
  }
  scoped_arena& arena() { return arena_; }

 private:
  scoped_arena arena_;
};

scoped_arena& thread_arena() noexcept {
  thread_local arena_owner owner;
  return owner.arena();
}

}  // namespace

scoped_allocator::scoped_allocator() noexcept : arena_{&thread_arena()} {}

scoped_allocator::~scoped_allocator() {
  while (heap_blocks_ != nullptr) {
    heap_block* next = heap_blocks_->next;
    std::free(heap_blocks_);
    heap_blocks_ = next;
  }
  arena_->used -= taken_;
  forbid_access(arena_->base + arena_->used, taken_);
}

void* scoped_allocator::do_allocate(std::size_t bytes, std::size_t alignment) noexcept {
  const auto top = reinterpret_cast<std::uintptr_t>(arena_->base + arena_->used);
  const std::uintptr_t aligned = (top + alignment - 1) & ~(alignment - 1);
  const std::size_t padding = aligned - top;
  const std::size_t free_bytes = arena_->capacity - arena_->used;
  if (free_bytes < padding || free_bytes - padding < bytes)
    return allocate_from_heap(bytes, alignment);
  std::byte* block = arena_->base + arena_->used + padding;
  permit_access(block, bytes);
  taken_ += padding + bytes;
  arena_->used += padding + bytes;
  return block;
}

// The header in front of the block links it to the others; its size keeps the block at the
// alignment of malloc.
void* scoped_allocator::allocate_from_heap(std::size_t bytes,
                                           std::size_t alignment) noexcept {
  const std::size_t header = (alignment + 7) & ~(alignment - 1);
  auto* memory = static_cast<std::byte*>(std::malloc(bytes + header));
  if (memory == nullptr) std::terminate();
  heap_blocks_ = new (memory) heap_block{heap_blocks_};
  return memory + header;
}

void scoped_allocator::do_deallocate(void* /*block*/, std::size_t /*bytes*/,
                                     std::size_t /*alignment*/) {}

bool scoped_allocator::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return this == &other;
}

}  // namespace corvane
