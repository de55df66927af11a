// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/panic.h"

#include <fmt/core.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace corvane {

void panic(std::string_view message, int line, const char* file) noexcept {
  try {
    fmt::print(stderr, "{}:{} panic: {}", file, line, message);
  } catch (...) {
    std::terminate();
  }
  std::abort();
}

}  // namespace corvane
