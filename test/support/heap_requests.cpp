// SPDX-License-Identifier: BSD-3-Clause
#include "support/heap_requests.h"

#include <cstdlib>
#include <new>

namespace {

long num_requests = 0;

void* counted(void* block) {
  ++num_requests;
  if (block == nullptr) std::abort();
  return block;
}

std::size_t rounded_up(std::size_t bytes, std::size_t alignment) {
  return (bytes + alignment - 1) / alignment * alignment;
}

}  // namespace

// The names are those that the linker's --wrap=malloc makes.
extern "C" void* __real_malloc(std::size_t bytes);           // NOLINT: see above
extern "C" void* __wrap_malloc(std::size_t bytes) noexcept;  // NOLINT: see above
void* __wrap_malloc(std::size_t bytes) noexcept {            // NOLINT: see above
  return counted(__real_malloc(bytes));
}

void* operator new(std::size_t bytes) { return counted(__real_malloc(bytes)); }
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return counted(__real_malloc(bytes));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  const auto boundary = static_cast<std::size_t>(alignment);
  return counted(std::aligned_alloc(boundary, rounded_up(bytes, boundary)));
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*bytes*/) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t /*bytes*/,
                     std::align_val_t /*alignment*/) noexcept {
  std::free(block);
}

namespace corvane::testing {

long num_heap_requests() { return num_requests; }

}  // namespace corvane::testing
