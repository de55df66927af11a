// SPDX-License-Identifier: BSD-3-Clause
//
// The only header that includes CBLAS and LAPACKE, and how our arguments map to theirs. The
// bundled OpenBLAS gives its symbols the prefix BLAS_SYMBOL_PREFIX; its cblas.h declares
// them so, its lapacke.h does not. The names are pasted here, so that the callers write the
// plain ones with either library.
#pragma once

#include <cblas.h>

#include <new>
#include <stdexcept>
#include <string>

#include "common/blas_arguments.h"

#ifdef BLAS_SYMBOL_PREFIX
#define CORVANE_PASTE_NAMES(prefix, name) prefix##name
#define CORVANE_PASTE(prefix, name) CORVANE_PASTE_NAMES(prefix, name)
#define CORVANE_BLAS_NAME(name) CORVANE_PASTE(BLAS_SYMBOL_PREFIX, name)
#define openblas_get_num_threads CORVANE_BLAS_NAME(openblas_get_num_threads)
#define openblas_set_num_threads CORVANE_BLAS_NAME(openblas_set_num_threads)
#define cblas_dgemv CORVANE_BLAS_NAME(cblas_dgemv)
#define cblas_sgemv CORVANE_BLAS_NAME(cblas_sgemv)
#define cblas_dgemm CORVANE_BLAS_NAME(cblas_dgemm)
#define cblas_sgemm CORVANE_BLAS_NAME(cblas_sgemm)
#define cblas_dsymv CORVANE_BLAS_NAME(cblas_dsymv)
#define cblas_ssymv CORVANE_BLAS_NAME(cblas_ssymv)
#define cblas_dsymm CORVANE_BLAS_NAME(cblas_dsymm)
#define cblas_ssymm CORVANE_BLAS_NAME(cblas_ssymm)
#define cblas_dtrsv CORVANE_BLAS_NAME(cblas_dtrsv)
#define cblas_strsv CORVANE_BLAS_NAME(cblas_strsv)
#define cblas_dtrsm CORVANE_BLAS_NAME(cblas_dtrsm)
#define cblas_strsm CORVANE_BLAS_NAME(cblas_strsm)
#define cblas_dtrmv CORVANE_BLAS_NAME(cblas_dtrmv)
#define cblas_strmv CORVANE_BLAS_NAME(cblas_strmv)
#define cblas_dtrmm CORVANE_BLAS_NAME(cblas_dtrmm)
#define cblas_strmm CORVANE_BLAS_NAME(cblas_strmm)
#define cblas_dsyr CORVANE_BLAS_NAME(cblas_dsyr)
#define cblas_ssyr CORVANE_BLAS_NAME(cblas_ssyr)
#define cblas_dsyrk CORVANE_BLAS_NAME(cblas_dsyrk)
#define cblas_ssyrk CORVANE_BLAS_NAME(cblas_ssyrk)
#define cblas_dsyr2k CORVANE_BLAS_NAME(cblas_dsyr2k)
#define cblas_ssyr2k CORVANE_BLAS_NAME(cblas_ssyr2k)
#define LAPACKE_set_nancheck CORVANE_BLAS_NAME(LAPACKE_set_nancheck)
#define LAPACKE_dtrtri CORVANE_BLAS_NAME(LAPACKE_dtrtri)
#define LAPACKE_strtri CORVANE_BLAS_NAME(LAPACKE_strtri)
#define LAPACKE_dpotrf CORVANE_BLAS_NAME(LAPACKE_dpotrf)
#define LAPACKE_spotrf CORVANE_BLAS_NAME(LAPACKE_spotrf)
#define LAPACKE_dpotri CORVANE_BLAS_NAME(LAPACKE_dpotri)
#define LAPACKE_spotri CORVANE_BLAS_NAME(LAPACKE_spotri)
#define LAPACKE_dgeqrf CORVANE_BLAS_NAME(LAPACKE_dgeqrf)
#define LAPACKE_sgeqrf CORVANE_BLAS_NAME(LAPACKE_sgeqrf)
#define LAPACKE_dormqr CORVANE_BLAS_NAME(LAPACKE_dormqr)
#define LAPACKE_sormqr CORVANE_BLAS_NAME(LAPACKE_sormqr)
#define LAPACKE_dgesdd CORVANE_BLAS_NAME(LAPACKE_dgesdd)
#define LAPACKE_sgesdd CORVANE_BLAS_NAME(LAPACKE_sgesdd)
#define LAPACKE_dsyevd CORVANE_BLAS_NAME(LAPACKE_dsyevd)
#define LAPACKE_ssyevd CORVANE_BLAS_NAME(LAPACKE_ssyevd)
#endif

#include <lapacke.h>

// OpenBLAS's own, how many threads a call may use. The bundled library has them and its
// cblas.h declares them; of another one they are weak, since it may not.
#ifndef BLAS_SYMBOL_PREFIX
extern "C" int openblas_get_num_threads() __attribute__((weak));
extern "C" void openblas_set_num_threads(int count) __attribute__((weak));
#endif

namespace corvane {

inline CBLAS_UPLO cblas_value(triangle which) {
  return which == triangle::upper ? CblasUpper : CblasLower;
}

inline CBLAS_TRANSPOSE cblas_value(transposition op) {
  return static_cast<CBLAS_TRANSPOSE>(static_cast<int>(CblasNoTrans) +
                                      static_cast<int>(op));
}

inline CBLAS_SIDE cblas_value(side where) {
  return where == side::left ? CblasLeft : CblasRight;
}

inline char lapack_letter(triangle which) { return which == triangle::upper ? 'U' : 'L'; }
inline char lapack_letter(side where) { return where == side::left ? 'L' : 'R'; }

inline char lapack_letter(transposition op) {
  if (op == transposition::none) return 'N';
  return op == transposition::transpose ? 'T' : 'C';
}

inline char lapack_letter(svd_job job) {
  if (job == svd_job::all) return 'A';
  if (job == svd_job::thin) return 'S';
  return job == svd_job::overwrite ? 'O' : 'N';
}

// To be called before any LAPACKE routine: LAPACKE does not scan its inputs for NaN. A NaN
// reaches the factorization and shows in its result, so that a status of 0 does not prove
// that the result is finite.
inline void lapack_init() {
  static const bool done = [] {
    LAPACKE_set_nancheck(0);
    return true;
  }();
  static_cast<void>(done);
}

// The status of a LAPACKE routine where it is 0, or positive and thus a property of the
// data. A negative one means that nothing was computed: either the heap did not provide the
// work space, which throws std::bad_alloc, or an argument is wrong, std::logic_error.
[[nodiscard]] inline int judge_lapack_status(int status) {
  if (status == LAPACK_WORK_MEMORY_ERROR || status == LAPACK_TRANSPOSE_MEMORY_ERROR)
    throw std::bad_alloc{};
  if (status < 0)
    throw std::logic_error{"LAPACK refused argument " + std::to_string(-status)};
  return status;
}

}  // namespace corvane
