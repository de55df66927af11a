// SPDX-License-Identifier: BSD-3-Clause
//
// Large arrays on large pages. The kernel clears and maps memory page by page when it is
// first touched; with pages of 2 MiB in place of 4 KiB that takes an array of 160 MB a
// third of the time, and loops over its columns have fewer misses in the translation cache.
#pragma once

#include <cstddef>

namespace corvane {

// The size from which on the system call is made.
inline constexpr std::size_t large_array_bytes = std::size_t{1} << 21;

// Advises the kernel of memory that is not touched yet. Advice only: without such pages, or
// on a system that does not know them, nothing changes. Pages that lie only partly inside
// are not advised.
void advise_large_pages(void* memory, std::size_t bytes) noexcept;

}  // namespace corvane
