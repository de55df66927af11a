// SPDX-License-Identifier: BSD-3-Clause
//
// One thin forwarder per BLAS routine, in double and in single precision: they fix the
// layout and map the arguments, and do nothing else. The models call the forms over views
// in common/linear_algebra.h instead.
#pragma once

#include "common/blas_arguments.h"
#include "common/interface_only/diagonal_kind.h"

namespace corvane::blas {

// y = alpha op(A) x + beta y
template <class T>
void gemv(transposition op, int m, int n, const T* a, int lda, const T* x, int incx, T* y,
          int incy, T alpha, T beta);

// C = alpha op(A) op(B) + beta C
template <class T>
void gemm(transposition op_a, transposition op_b, int m, int n, int k, const T* a, int lda,
          const T* b, int ldb, T* c, int ldc, T alpha, T beta);

// y = alpha A x + beta y, A symmetric
template <class T>
void symv(triangle which, int n, const T* a, int lda, const T* x, int incx, T* y, int incy,
          T alpha, T beta);

// C = alpha A B + beta C, or B A with A at the right; A symmetric
template <class T>
void symm(side where, triangle which, int m, int n, const T* a, int lda, const T* b,
          int ldb, T* c, int ldc, T alpha, T beta);

// x = op(A)^-1 x, A triangular
template <class T>
void trsv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx);

// B = alpha op(A)^-1 B, or B op(A)^-1 with A at the right; A triangular
template <class T>
void trsm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha);

// x = op(A) x, A triangular
template <class T>
void trmv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx);

// B = alpha op(A) B, or B op(A) with A at the right; A triangular
template <class T>
void trmm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha);

// A += alpha x x'
template <class T>
void syr(triangle which, int n, const T* x, int incx, T* a, int lda, T alpha);

// C = alpha A A' + beta C, or A' A transposed
template <class T>
void syrk(triangle which, transposition op, int n, int k, const T* a, int lda, T* c,
          int ldc, T alpha, T beta);

// C = alpha (A B' + B A') + beta C, or A' B + B' A transposed
template <class T>
void syr2k(triangle which, transposition op, int n, int k, const T* a, int lda, const T* b,
           int ldb, T* c, int ldc, T alpha, T beta);

// One triangle of C = alpha op(A) op(B) + beta C, C n by n. Not standard BLAS: a gemm into
// scratch of which one triangle is kept.
template <class T>
void gemmt(triangle which, transposition op_a, transposition op_b, int n, int k, const T* a,
           int lda, const T* b, int ldb, T* c, int ldc, T alpha, T beta);

// A = alpha op(A) in place; `rows` and `cols` before, leading dimension lda before and ldb
// after. Not standard BLAS.
template <class T>
void imatcopy(transposition op, int rows, int cols, T* a, int lda, int ldb, T alpha);

}  // namespace corvane::blas
