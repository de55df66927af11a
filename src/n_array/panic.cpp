// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/panic.h"

#include <fmt/core.h>

#include <cstdio>
#include <cstdlib>

namespace corvane {

void panic(std::string_view message, int line, const char* file) noexcept {
  fmt::print(stderr, "{}:{} panic: {}", file, line, message);
  std::abort();
}

}  // namespace corvane
