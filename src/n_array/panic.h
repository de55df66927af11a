// SPDX-License-Identifier: BSD-3-Clause
//
// panic: the single exit for broken invariants.
#pragma once

#include <string_view>

namespace corvane {

// Prints "{file}:{line} panic: {message}" on stderr, without a newline, and aborts. If the
// text cannot be written the process ends all the same, through std::terminate.
[[noreturn]] void panic(std::string_view message, int line, const char* file) noexcept;

}  // namespace corvane
