// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/blas.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <type_traits>

#include "common/blas_symbols.h"
#include "common/scoped_allocator.h"

namespace corvane::blas {

namespace {

constexpr CBLAS_ORDER layout = CblasColMajor;

CBLAS_DIAG cblas_value(diagonal_kind diag) {
  if (diag == diagonal_kind::not_served) std::terminate();
  return diag == diagonal_kind::general ? CblasNonUnit : CblasUnit;
}

// The routine for element type T.
template <class T, class Single, class Double>
auto routine(Single single_precision, Double double_precision) {
  if constexpr (std::is_same_v<T, float>)
    return single_precision;
  else
    return double_precision;
}

}  // namespace

template <class T>
void gemv(transposition op, int m, int n, const T* a, int lda, const T* x, int incx, T* y,
          int incy, T alpha, T beta) {
  routine<T>(cblas_sgemv, cblas_dgemv)(layout, cblas_value(op), m, n, alpha, a, lda, x,
                                       incx, beta, y, incy);
}

template <class T>
void gemm(transposition op_a, transposition op_b, int m, int n, int k, const T* a, int lda,
          const T* b, int ldb, T* c, int ldc, T alpha, T beta) {
  routine<T>(cblas_sgemm, cblas_dgemm)(layout, cblas_value(op_a), cblas_value(op_b), m, n,
                                       k, alpha, a, lda, b, ldb, beta, c, ldc);
}

template <class T>
void symv(triangle which, int n, const T* a, int lda, const T* x, int incx, T* y, int incy,
          T alpha, T beta) {
  routine<T>(cblas_ssymv, cblas_dsymv)(layout, cblas_value(which), n, alpha, a, lda, x,
                                       incx, beta, y, incy);
}

template <class T>
void symm(side where, triangle which, int m, int n, const T* a, int lda, const T* b,
          int ldb, T* c, int ldc, T alpha, T beta) {
  routine<T>(cblas_ssymm, cblas_dsymm)(layout, cblas_value(where), cblas_value(which), m, n,
                                       alpha, a, lda, b, ldb, beta, c, ldc);
}

template <class T>
void trsv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx) {
  routine<T>(cblas_strsv, cblas_dtrsv)(layout, cblas_value(which), cblas_value(op),
                                       cblas_value(diag), n, a, lda, x, incx);
}

template <class T>
void trsm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha) {
  routine<T>(cblas_strsm, cblas_dtrsm)(layout, cblas_value(where), cblas_value(which),
                                       cblas_value(op), cblas_value(diag), m, n, alpha, a,
                                       lda, b, ldb);
}

template <class T>
void trmv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx) {
  routine<T>(cblas_strmv, cblas_dtrmv)(layout, cblas_value(which), cblas_value(op),
                                       cblas_value(diag), n, a, lda, x, incx);
}

template <class T>
void trmm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha) {
  routine<T>(cblas_strmm, cblas_dtrmm)(layout, cblas_value(where), cblas_value(which),
                                       cblas_value(op), cblas_value(diag), m, n, alpha, a,
                                       lda, b, ldb);
}

template <class T>
void syr(triangle which, int n, const T* x, int incx, T* a, int lda, T alpha) {
  routine<T>(cblas_ssyr, cblas_dsyr)(layout, cblas_value(which), n, alpha, x, incx, a, lda);
}

template <class T>
void syrk(triangle which, transposition op, int n, int k, const T* a, int lda, T* c,
          int ldc, T alpha, T beta) {
  routine<T>(cblas_ssyrk, cblas_dsyrk)(layout, cblas_value(which), cblas_value(op), n, k,
                                       alpha, a, lda, beta, c, ldc);
}

template <class T>
void syr2k(triangle which, transposition op, int n, int k, const T* a, int lda, const T* b,
           int ldb, T* c, int ldc, T alpha, T beta) {
  routine<T>(cblas_ssyr2k, cblas_dsyr2k)(layout, cblas_value(which), cblas_value(op), n, k,
                                         alpha, a, lda, b, ldb, beta, c, ldc);
}

template <class T>
void gemmt(triangle which, transposition op_a, transposition op_b, int n, int k, const T* a,
           int lda, const T* b, int ldb, T* c, int ldc, T alpha, T beta) {
  scoped_allocator scope;
  T* const product = scope.take<T>(element_count(n, n));
  gemm<T>(op_a, op_b, n, n, k, a, lda, b, ldb, product, std::max(1, n), alpha, T{0});
  const bool lower = which != triangle::upper;
  for (std::ptrdiff_t j = 0; j < n; ++j)
    for (std::ptrdiff_t i = lower ? j : 0; i < (lower ? n : j + 1); ++i) {
      T& entry = c[j * ldc + i];
      entry = product[j * n + i] + (beta == T{0} ? T{0} : beta * entry);
    }
}

template <class T>
void imatcopy(transposition op, int rows, int cols, T* a, int lda, int ldb, T alpha) {
  const auto m = static_cast<std::size_t>(rows);
  const auto n = static_cast<std::size_t>(cols);
  scoped_allocator scope;
  T* copy = scope.take<T>(element_count(rows, cols));
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i < m; ++i)
      copy[j * m + i] = alpha * a[j * static_cast<std::size_t>(lda) + i];
  const bool transposed = op != transposition::none;
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i < m; ++i) {
      const auto stride = static_cast<std::size_t>(ldb);
      a[transposed ? i * stride + j : j * stride + i] = copy[j * m + i];
    }
}

// A type cannot stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define CORVANE_INSTANTIATE_BLAS(T)                                                        \
  template void gemv(transposition, int, int, const T*, int, const T*, int, T*, int, T,    \
                     T);                                                                   \
  template void gemm(transposition, transposition, int, int, int, const T*, int, const T*, \
                     int, T*, int, T, T);                                                  \
  template void symv(triangle, int, const T*, int, const T*, int, T*, int, T, T);          \
  template void symm(side, triangle, int, int, const T*, int, const T*, int, T*, int, T,   \
                     T);                                                                   \
  template void trsv(triangle, transposition, diagonal_kind, int, const T*, int, T*, int); \
  template void trsm(side, triangle, transposition, diagonal_kind, int, int, const T*,     \
                     int, T*, int, T);                                                     \
  template void trmv(triangle, transposition, diagonal_kind, int, const T*, int, T*, int); \
  template void trmm(side, triangle, transposition, diagonal_kind, int, int, const T*,     \
                     int, T*, int, T);                                                     \
  template void syr(triangle, int, const T*, int, T*, int, T);                             \
  template void syrk(triangle, transposition, int, int, const T*, int, T*, int, T, T);     \
  template void syr2k(triangle, transposition, int, int, const T*, int, const T*, int, T*, \
                      int, T, T);                                                          \
  template void gemmt(triangle, transposition, transposition, int, int, const T*, int,     \
                      const T*, int, T*, int, T, T);                                       \
  template void imatcopy(transposition, int, int, T*, int, int, T);
// NOLINTEND(bugprone-macro-parentheses)

CORVANE_INSTANTIATE_BLAS(double)
CORVANE_INSTANTIATE_BLAS(float)

}  // namespace corvane::blas
