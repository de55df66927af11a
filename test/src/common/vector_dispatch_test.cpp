// SPDX-License-Identifier: BSD-3-Clause
#include "common/vector_dispatch.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace corvane {
namespace {

int doubles_in_a_register() {
  int doubles = 0;
  run_vectorized([&doubles](auto width) { doubles = width; });
  return doubles;
}

// The variable is what the main program of the tests narrows the loops to.
TEST(vector_dispatch, a_loop_has_the_widest_registers_of_the_machine_that_are_allowed) {
  const char* const given = std::getenv("TREVALON_VECTOR_WIDTH");
  const int allowed = given != nullptr ? std::atoi(given) : 8;
  int expected = 2;
#if defined(__x86_64__) && defined(__GNUC__)
  if (allowed >= 4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    expected = 4;
  if (allowed >= 8 && __builtin_cpu_supports("avx512f") &&
      __builtin_cpu_supports("avx512dq"))
    expected = 8;
#endif
  EXPECT_EQ(doubles_in_a_register(), expected);
}

}  // namespace
}  // namespace corvane
