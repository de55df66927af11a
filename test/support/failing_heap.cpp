// SPDX-License-Identifier: BSD-3-Clause
//
// A library to be loaded ahead of all others (LD_PRELOAD): the heap of the C library, which
// refuses chosen requests. C++'s operator new asks the same functions. What a program takes
// from the kernel by mmap, as OpenBLAS takes its buffers, does not come by here.
//
// Requests of fewer than `least_bytes` bytes are neither counted nor refused. The others
// count from 0; number `refused_request` is refused, and with `lasting` all after it.
#include <atomic>
#include <cerrno>
#include <cstddef>

// The C library's own functions behind the names that are taken over here.
extern "C" {
void* __libc_malloc(std::size_t bytes);                           // NOLINT: its name
void* __libc_calloc(std::size_t count, std::size_t bytes);        // NOLINT: its name
void* __libc_realloc(void* block, std::size_t bytes);             // NOLINT: its name
void* __libc_memalign(std::size_t alignment, std::size_t bytes);  // NOLINT: its name
}

namespace {

constexpr long none = -1;

std::atomic<long> refused_request{none};
std::atomic<bool> lasting{false};
std::atomic<std::size_t> least_bytes{0};
std::atomic<long> num_requests{0};

bool is_refused(std::size_t bytes) {
  const long refused = refused_request;
  if (refused == none || bytes < least_bytes) return false;
  const long request = num_requests++;
  if (request != refused && !(lasting && request > refused)) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void failing_heap_arm(long request, int is_lasting, std::size_t bytes) {
  lasting = is_lasting != 0;
  least_bytes = bytes;
  num_requests = 0;
  refused_request = request;
}

// How many requests there were since it was armed.
long failing_heap_disarm() {
  refused_request = none;
  return num_requests;
}

void* malloc(std::size_t bytes) {
  return is_refused(bytes) ? nullptr : __libc_malloc(bytes);
}

void* calloc(std::size_t count, std::size_t bytes) {
  return is_refused(count * bytes) ? nullptr : __libc_calloc(count, bytes);
}

void* realloc(void* block, std::size_t bytes) {
  return is_refused(bytes) ? nullptr : __libc_realloc(block, bytes);
}

void* memalign(std::size_t alignment, std::size_t bytes) {
  return is_refused(bytes) ? nullptr : __libc_memalign(alignment, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return is_refused(bytes) ? nullptr : __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  void* const memory = is_refused(bytes) ? nullptr : __libc_memalign(alignment, bytes);
  if (memory == nullptr) return ENOMEM;
  *block = memory;
  return 0;
}

}  // extern "C"
