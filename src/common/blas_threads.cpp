// SPDX-License-Identifier: BSD-3-Clause
#include "common/blas_threads.h"

#include "common/blas_symbols.h"

namespace corvane {

namespace {

bool library_has_limits() { return &openblas_set_num_threads_local != nullptr; }

}  // namespace

single_blas_thread::single_blas_thread(bool wanted)
    : previous_limit_{wanted && library_has_limits() ? openblas_set_num_threads_local(1)
                                                     : 0} {}

single_blas_thread::~single_blas_thread() {
  if (previous_limit_ > 0) openblas_set_num_threads_local(previous_limit_);
}

}  // namespace corvane
