// SPDX-License-Identifier: BSD-3-Clause
#include "common/blas_threads.h"

#include <gtest/gtest.h>

#include "common/blas_symbols.h"

namespace corvane {

namespace {

// Setting a limit is the one way to learn the limit before.
int current_limit() {
  const int limit = openblas_set_num_threads_local(1);
  openblas_set_num_threads_local(limit);
  return limit;
}

TEST(single_blas_thread, limits_while_it_lives_and_not_longer) {
  if (&openblas_set_num_threads_local == nullptr) return;  // nothing to limit
  const int before = current_limit();
  openblas_set_num_threads_local(2);
  {
    const single_blas_thread limit{true};
    EXPECT_EQ(current_limit(), 1);
    const single_blas_thread nested{true};
    EXPECT_EQ(current_limit(), 1);
  }
  EXPECT_EQ(current_limit(), 2);
  {
    const single_blas_thread unwanted{false};
    EXPECT_EQ(current_limit(), 2);
  }
  openblas_set_num_threads_local(before);
}

}  // namespace

}  // namespace corvane
