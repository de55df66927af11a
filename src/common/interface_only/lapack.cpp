// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/lapack.h"

#include <exception>
#include <type_traits>

#include "common/blas_symbols.h"

namespace corvane::lapack {

namespace {

constexpr int layout = LAPACK_COL_MAJOR;

char lapack_letter(diagonal_kind diag) {
  if (diag == diagonal_kind::not_served) std::terminate();
  return diag == diagonal_kind::general ? 'N' : 'U';
}

// The routine for element type T.
template <class T, class Single, class Double>
auto routine(Single single_precision, Double double_precision) {
  lapack_init();
  if constexpr (std::is_same_v<T, float>)
    return single_precision;
  else
    return double_precision;
}

}  // namespace

template <class T>
int trtri(triangle which, diagonal_kind diag, int n, T* a, int lda) noexcept {
  return routine<T>(LAPACKE_strtri, LAPACKE_dtrtri)(layout, lapack_letter(which),
                                                    lapack_letter(diag), n, a, lda);
}

template <class T>
int potrf(triangle which, int n, T* a, int lda) noexcept {
  return routine<T>(LAPACKE_spotrf, LAPACKE_dpotrf)(layout, lapack_letter(which), n, a,
                                                    lda);
}

template <class T>
int potri(triangle which, int n, T* a, int lda) noexcept {
  return routine<T>(LAPACKE_spotri, LAPACKE_dpotri)(layout, lapack_letter(which), n, a,
                                                    lda);
}

template <class T>
int geqrf(int m, int n, T* a, int lda, T* tau) noexcept {
  return routine<T>(LAPACKE_sgeqrf, LAPACKE_dgeqrf)(layout, m, n, a, lda, tau);
}

template <class T>
int ormqr(side where, transposition op, int m, int n, int k, const T* a, int lda,
          const T* tau, T* c, int ldc) noexcept {
  return routine<T>(LAPACKE_sormqr, LAPACKE_dormqr)(
      layout, lapack_letter(where), lapack_letter(op), m, n, k, a, lda, tau, c, ldc);
}

template <class T>
int gesdd(svd_job job, int m, int n, T* a, int lda, T* s, T* u, int ldu, T* vt,
          int ldvt) noexcept {
  return routine<T>(LAPACKE_sgesdd, LAPACKE_dgesdd)(layout, lapack_letter(job), m, n, a,
                                                    lda, s, u, ldu, vt, ldvt);
}

template <class T>
int syevd(triangle which, int n, T* a, int lda, T* w) noexcept {
  return routine<T>(LAPACKE_ssyevd, LAPACKE_dsyevd)(layout, 'V', lapack_letter(which), n, a,
                                                    lda, w);
}

// A type cannot stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define CORVANE_INSTANTIATE_LAPACK(T)                                                 \
  template int trtri(triangle, diagonal_kind, int, T*, int) noexcept;                 \
  template int potrf(triangle, int, T*, int) noexcept;                                \
  template int potri(triangle, int, T*, int) noexcept;                                \
  template int geqrf(int, int, T*, int, T*) noexcept;                                 \
  template int ormqr(side, transposition, int, int, int, const T*, int, const T*, T*, \
                     int) noexcept;                                                   \
  template int gesdd(svd_job, int, int, T*, int, T*, T*, int, T*, int) noexcept;      \
  template int syevd(triangle, int, T*, int, T*) noexcept;
// NOLINTEND(bugprone-macro-parentheses)

CORVANE_INSTANTIATE_LAPACK(double)
CORVANE_INSTANTIATE_LAPACK(float)

}  // namespace corvane::lapack
