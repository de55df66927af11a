// SPDX-License-Identifier: BSD-3-Clause
#include "common/blas_threads.h"

#include "common/blas_symbols.h"

namespace corvane {

namespace {

// 1 where the library has no functions for the number of threads.
int thread_count() {
#ifndef BLAS_SYMBOL_PREFIX
  if (&openblas_get_num_threads == nullptr || &openblas_set_num_threads == nullptr)
    return 1;
#endif
  return openblas_get_num_threads();
}

}  // namespace

single_blas_thread::single_blas_thread(bool wanted)
    : previous_count_{wanted ? thread_count() : 1} {
  if (previous_count_ > 1) openblas_set_num_threads(1);
}

single_blas_thread::~single_blas_thread() {
  if (previous_count_ > 1) openblas_set_num_threads(previous_count_);
}

}  // namespace corvane
