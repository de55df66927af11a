// SPDX-License-Identifier: BSD-3-Clause
#include "common/scoped_allocator.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>

#include "common/address_sanitizer.h"

namespace corvane {

namespace {

// Needs no destructor, so that it may still be read while the thread's other thread-local
// objects are destroyed.
constinit thread_local scoped_arena arena;

constinit std::atomic<scratch_exhaustion> on_exhaustion{scratch_exhaustion::ends_process};

[[noreturn]] void give_up() {
  if (on_exhaustion == scratch_exhaustion::throws_bad_alloc) throw std::bad_alloc{};
  std::terminate();
}

// Holds the memory of one thread's arena and frees it when the thread ends. A scope that
// opens after that has an arena without memory, and takes all from the heap.
class arena_owner {
 public:
  arena_owner() {
    void* const memory = ::operator new(scoped_arena::size_in_bytes, std::nothrow);
    if (memory == nullptr) give_up();
    arena.base = static_cast<std::byte*>(memory);
    arena.capacity = scoped_arena::size_in_bytes;
    forbid_access(arena.base, arena.capacity);
  }
  arena_owner(const arena_owner&) = delete;
  arena_owner& operator=(const arena_owner&) = delete;
  arena_owner(arena_owner&&) = delete;
  arena_owner& operator=(arena_owner&&) = delete;
  ~arena_owner() {
    permit_access(arena.base, arena.capacity);
    ::operator delete(arena.base);
    arena = {};
  }
};

scoped_arena& thread_arena() {
  [[maybe_unused]] thread_local const arena_owner owner;
  return arena;
}

}  // namespace

void set_scratch_exhaustion(scratch_exhaustion consequence) noexcept {
  on_exhaustion = consequence;
}

scoped_allocator::scoped_allocator() : arena_{&thread_arena()} {}

scoped_allocator::~scoped_allocator() {
  while (heap_blocks_ != nullptr) {
    heap_block* next = heap_blocks_->next;
    std::free(heap_blocks_);
    heap_blocks_ = next;
  }
  arena_->used -= taken_;
  forbid_access(arena_->base + arena_->used, taken_);
}

void* scoped_allocator::do_allocate(std::size_t bytes, std::size_t alignment) {
  const auto top = reinterpret_cast<std::uintptr_t>(arena_->base + arena_->used);
  const std::uintptr_t aligned = (top + alignment - 1) & ~(alignment - 1);
  const std::size_t padding = aligned - top;
  const std::size_t free_bytes = arena_->capacity - arena_->used;
  if (aligned == 0 || free_bytes < padding || free_bytes - padding < bytes)
    return allocate_from_heap(bytes, alignment);
  std::byte* block = arena_->base + arena_->used + padding;
  permit_access(block, bytes);
  taken_ += padding + bytes;
  arena_->used += padding + bytes;
  return block;
}

// The header in front of the block links it to the others. It is a multiple of the
// alignment, but the block is aligned no further than malloc aligns.
void* scoped_allocator::allocate_from_heap(std::size_t bytes, std::size_t alignment) {
  const std::size_t header = (alignment + 7) & ~(alignment - 1);
  if (bytes > std::numeric_limits<std::size_t>::max() - header) give_up();
  auto* memory = static_cast<std::byte*>(std::malloc(bytes + header));
  if (memory == nullptr) give_up();
  heap_blocks_ = new (memory) heap_block{heap_blocks_};
  return memory + header;
}

void scoped_allocator::do_deallocate(void* /*block*/, std::size_t /*bytes*/,
                                     std::size_t /*alignment*/) {}

bool scoped_allocator::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return this == &other;
}

}  // namespace corvane
