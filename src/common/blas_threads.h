// SPDX-License-Identifier: BSD-3-Clause
//
// single_blas_thread: during its lifetime BLAS and LAPACK use one thread, if the library
// has a function to set their number. For calls that take less time than the
// synchronization of threads. The number is global to the library: other callers have one
// thread meanwhile as well.
#pragma once

namespace corvane {

class single_blas_thread {
 public:
  // Does nothing if `wanted` is false.
  explicit single_blas_thread(bool wanted);
  single_blas_thread(const single_blas_thread&) = delete;
  single_blas_thread& operator=(const single_blas_thread&) = delete;
  ~single_blas_thread();

 private:
  int previous_count_;  // 1 if there is nothing to restore
};

}  // namespace corvane
