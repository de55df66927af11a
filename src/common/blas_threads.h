// SPDX-License-Identifier: BSD-3-Clause
//
// single_blas_thread: while it lives, BLAS and LAPACK use one thread, where the library
// lets a caller say so. For work in pieces that are smaller than what it takes to hand them
// to another thread and to wait for it, which a busy machine makes longer still. The number
// belongs to the library: whoever else calls it meanwhile has one thread as well.
#pragma once

namespace corvane {

class single_blas_thread {
 public:
  // Does nothing unless it is wanted.
  explicit single_blas_thread(bool wanted);
  single_blas_thread(const single_blas_thread&) = delete;
  single_blas_thread& operator=(const single_blas_thread&) = delete;
  ~single_blas_thread();

 private:
  int previous_count_;  // 1 for nothing to go back to
};

}  // namespace corvane
