// SPDX-License-Identifier: BSD-3-Clause
#include "common/blas.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <type_traits>

#include "common/blas_symbols.h"
#include "common/scoped_allocator.h"

namespace corvane::blas {

namespace {

constexpr CBLAS_ORDER layout = CblasColMajor;

CBLAS_UPLO mapped(triangle which) {
  return which == triangle::upper ? CblasUpper : CblasLower;
}

CBLAS_TRANSPOSE mapped(transposition op) {
  return static_cast<CBLAS_TRANSPOSE>(static_cast<int>(CblasNoTrans) +
                                      static_cast<int>(op));
}

CBLAS_SIDE mapped(side where) { return where == side::left ? CblasLeft : CblasRight; }

CBLAS_DIAG mapped(diagonal_kind diag) {
  if (diag == diagonal_kind::not_served) std::terminate();
  return diag == diagonal_kind::general ? CblasNonUnit : CblasUnit;
}

// The twin of the routine for element type T.
template <class T, class Single, class Double>
auto twin(Single single_precision, Double double_precision) {
  if constexpr (std::is_same_v<T, float>)
    return single_precision;
  else
    return double_precision;
}

// Where op(A) has its row or column `first`.
template <class T>
const T* rows_from(const T* a, int lda, transposition op, int first) {
  const auto offset = static_cast<std::ptrdiff_t>(first);
  return op == transposition::none ? a + offset : a + offset * lda;
}

template <class T>
const T* columns_from(const T* a, int lda, transposition op, int first) {
  const auto offset = static_cast<std::ptrdiff_t>(first);
  return op == transposition::none ? a + offset * lda : a + offset;
}

}  // namespace

template <class T>
void gemv(transposition op, int m, int n, const T* a, int lda, const T* x, int incx, T* y,
          int incy, T alpha, T beta) {
  twin<T>(cblas_sgemv, cblas_dgemv)(layout, mapped(op), m, n, alpha, a, lda, x, incx, beta,
                                    y, incy);
}

template <class T>
void gemm(transposition op_a, transposition op_b, int m, int n, int k, const T* a, int lda,
          const T* b, int ldb, T* c, int ldc, T alpha, T beta) {
  twin<T>(cblas_sgemm, cblas_dgemm)(layout, mapped(op_a), mapped(op_b), m, n, k, alpha, a,
                                    lda, b, ldb, beta, c, ldc);
}

template <class T>
void symv(triangle which, int n, const T* a, int lda, const T* x, int incx, T* y, int incy,
          T alpha, T beta) {
  twin<T>(cblas_ssymv, cblas_dsymv)(layout, mapped(which), n, alpha, a, lda, x, incx, beta,
                                    y, incy);
}

template <class T>
void symm(side where, triangle which, int m, int n, const T* a, int lda, const T* b,
          int ldb, T* c, int ldc, T alpha, T beta) {
  twin<T>(cblas_ssymm, cblas_dsymm)(layout, mapped(where), mapped(which), m, n, alpha, a,
                                    lda, b, ldb, beta, c, ldc);
}

template <class T>
void trsv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx) {
  twin<T>(cblas_strsv, cblas_dtrsv)(layout, mapped(which), mapped(op), mapped(diag), n, a,
                                    lda, x, incx);
}

template <class T>
void trsm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha) {
  twin<T>(cblas_strsm, cblas_dtrsm)(layout, mapped(where), mapped(which), mapped(op),
                                    mapped(diag), m, n, alpha, a, lda, b, ldb);
}

template <class T>
void trmv(triangle which, transposition op, diagonal_kind diag, int n, const T* a, int lda,
          T* x, int incx) {
  twin<T>(cblas_strmv, cblas_dtrmv)(layout, mapped(which), mapped(op), mapped(diag), n, a,
                                    lda, x, incx);
}

template <class T>
void trmm(side where, triangle which, transposition op, diagonal_kind diag, int m, int n,
          const T* a, int lda, T* b, int ldb, T alpha) {
  twin<T>(cblas_strmm, cblas_dtrmm)(layout, mapped(where), mapped(which), mapped(op),
                                    mapped(diag), m, n, alpha, a, lda, b, ldb);
}

template <class T>
void syr(triangle which, int n, const T* x, int incx, T* a, int lda, T alpha) {
  twin<T>(cblas_ssyr, cblas_dsyr)(layout, mapped(which), n, alpha, x, incx, a, lda);
}

template <class T>
void syrk(triangle which, transposition op, int n, int k, const T* a, int lda, T* c,
          int ldc, T alpha, T beta) {
  twin<T>(cblas_ssyrk, cblas_dsyrk)(layout, mapped(which), mapped(op), n, k, alpha, a, lda,
                                    beta, c, ldc);
}

template <class T>
void syr2k(triangle which, transposition op, int n, int k, const T* a, int lda, const T* b,
           int ldb, T* c, int ldc, T alpha, T beta) {
  twin<T>(cblas_ssyr2k, cblas_dsyr2k)(layout, mapped(which), mapped(op), n, k, alpha, a,
                                      lda, b, ldb, beta, c, ldc);
}

// Column panels: the square on the diagonal goes through scratch of panel by panel, so that
// the other triangle of C is never written; the rectangle beside it is one gemm.
template <class T>
void gemmt(triangle which, transposition op_a, transposition op_b, int n, int k, const T* a,
           int lda, const T* b, int ldb, T* c, int ldc, T alpha, T beta) {
  constexpr int panel = 64;
  scoped_allocator scope;
  T* square = scope.take<T>(panel * panel);
  const bool lower = which != triangle::upper;
  for (int first = 0; first < n; first += panel) {
    const int width = std::min(panel, n - first);
    const T* b_panel = columns_from(b, ldb, op_b, first);
    T* c_panel = c + static_cast<std::ptrdiff_t>(first) * ldc;
    gemm<T>(op_a, op_b, width, width, k, rows_from(a, lda, op_a, first), lda, b_panel, ldb,
            square, width, alpha, T{0});
    for (int j = 0; j < width; ++j)
      for (int i = lower ? j : 0; i < (lower ? width : j + 1); ++i) {
        T& entry = c_panel[static_cast<std::ptrdiff_t>(j) * ldc + first + i];
        entry = square[j * width + i] + (beta == T{0} ? T{0} : beta * entry);
      }
    const int from = lower ? first + width : 0;
    const int count = lower ? n - from : first;
    if (count > 0)
      gemm<T>(op_a, op_b, count, width, k, rows_from(a, lda, op_a, from), lda, b_panel, ldb,
              c_panel + from, ldc, alpha, beta);
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
