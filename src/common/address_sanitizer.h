// SPDX-License-Identifier: BSD-3-Clause
//
// Tells AddressSanitizer which part of the scratch arena may be touched, so that a view
// that outlives its scope fails a test. Without the sanitizer both functions do nothing.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define CORVANE_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CORVANE_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef CORVANE_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace corvane {

inline void forbid_access([[maybe_unused]] const void* from,
                          [[maybe_unused]] std::size_t bytes) {
#ifdef CORVANE_ADDRESS_SANITIZER
  ASAN_POISON_MEMORY_REGION(from, bytes);
#endif
}

inline void permit_access([[maybe_unused]] const void* from,
                          [[maybe_unused]] std::size_t bytes) {
#ifdef CORVANE_ADDRESS_SANITIZER
  ASAN_UNPOISON_MEMORY_REGION(from, bytes);
#endif
}

}  // namespace corvane
