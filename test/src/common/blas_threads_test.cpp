// SPDX-License-Identifier: BSD-3-Clause
#include "common/blas_threads.h"

#include <gtest/gtest.h>

#include "common/blas_symbols.h"

namespace corvane {

namespace {

TEST(single_blas_thread, limits_while_it_lives_and_not_longer) {
#ifndef BLAS_SYMBOL_PREFIX
  if (&openblas_set_num_threads == nullptr) return;  // another library: nothing to limit
#endif
  const int before = openblas_get_num_threads();
  openblas_set_num_threads(2);
  {
    const single_blas_thread limit{true};
    EXPECT_EQ(openblas_get_num_threads(), 1);
    {
      const single_blas_thread nested{true};
      EXPECT_EQ(openblas_get_num_threads(), 1);
    }
    EXPECT_EQ(openblas_get_num_threads(), 1);
  }
  EXPECT_EQ(openblas_get_num_threads(), 2);
  {
    const single_blas_thread unwanted{false};
    EXPECT_EQ(openblas_get_num_threads(), 2);
  }
  openblas_set_num_threads(before);
}

}  // namespace

}  // namespace corvane
