// SPDX-License-Identifier: BSD-3-Clause
//
// The main program of the C++ tests. TREVALON_VECTOR_WIDTH, of 2, 4 or 8, is the most
// doubles in a register that the vectorized loops use, where the machine has as many.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "common/vector_dispatch.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (const char* const given = std::getenv("TREVALON_VECTOR_WIDTH")) {
    const std::string_view width{given};
    if (width != "2" && width != "4" && width != "8") {
      std::fputs("TREVALON_VECTOR_WIDTH is none of 2, 4 and 8\n", stderr);
      return EXIT_FAILURE;
    }
    corvane::vector_dispatch_detail::widest_register() = width.front() - '0';
  }
  return RUN_ALL_TESTS();
}
