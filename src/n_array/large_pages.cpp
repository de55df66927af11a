// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/large_pages.h"

#include <memory>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace corvane {

#ifdef __linux__

void advise_large_pages(void* memory, std::size_t bytes) noexcept {
  constexpr std::size_t small_page = 4096;
  // From the first whole page on, which is what madvise accepts.
  if (std::align(small_page, small_page, memory, bytes) != nullptr)
    madvise(memory, bytes, MADV_HUGEPAGE);
}

#else

void advise_large_pages(void* /*memory*/, std::size_t /*bytes*/) noexcept {}

#endif

}  // namespace corvane
