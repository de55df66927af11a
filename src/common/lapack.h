// SPDX-License-Identifier: BSD-3-Clause
//
// One thin forwarder per LAPACK routine, in double and in single precision. Each returns
// the routine's `info`: 0 is success, and for potrf k + 1 says that pivot k failed.
// `judge_status` tells what concerns the data from what does not. LAPACKE does not scan its
// inputs for NaN: a NaN reaches the factorization and shows in its result, so that a status
// of 0 never proves that the result is finite.
#pragma once

#include "common/blas_arguments.h"

namespace corvane::lapack {

// The status where it is 0, or positive and thus a finding about the data. Below 0 it is
// either LAPACKE's word for work space that the heap did not give, which throws
// std::bad_alloc, or a wrong argument of ours, std::logic_error: in both cases nothing was
// computed.
[[nodiscard]] int judge_status(int status);

// A = A^-1, A triangular
template <class T>
[[nodiscard]] int trtri(triangle which, diagonal_kind diag, int n, T* a, int lda) noexcept;

// A = L, the Cholesky factor of A (U for the upper triangle)
template <class T>
[[nodiscard]] int potrf(triangle which, int n, T* a, int lda) noexcept;

// A = the triangle of A^-1, from the Cholesky factor in A
template <class T>
[[nodiscard]] int potri(triangle which, int n, T* a, int lda) noexcept;

// A = QR: R above the diagonal, the reflectors below it and in tau
template <class T>
[[nodiscard]] int geqrf(int m, int n, T* a, int lda, T* tau) noexcept;

// C = op(Q) C, or C op(Q) with Q at the right
template <class T>
[[nodiscard]] int ormqr(side where, transposition op, int m, int n, int k, const T* a,
                        int lda, const T* tau, T* c, int ldc) noexcept;

// A = U diag(s) V', destroying A
template <class T>
[[nodiscard]] int gesdd(svd_job job, int m, int n, T* a, int lda, T* s, T* u, int ldu,
                        T* vt, int ldvt) noexcept;

// A = V diag(w) V' of a symmetric A, from its triangle: w in rising order, and A = V
template <class T>
[[nodiscard]] int syevd(triangle which, int n, T* a, int lda, T* w) noexcept;

}  // namespace corvane::lapack
