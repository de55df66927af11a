// SPDX-License-Identifier: BSD-3-Clause
//
// One thin forwarder per LAPACK routine, in double and in single precision. Each returns
// the routine's `info`: 0 is success, and for potrf k + 1 says that pivot k failed. The
// models call the forms over views in common/linear_algebra.h instead.
#pragma once

#include "common/blas_arguments.h"
#include "common/interface_only/diagonal_kind.h"

namespace corvane::lapack {

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
