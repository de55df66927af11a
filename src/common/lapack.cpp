// SPDX-License-Identifier: BSD-3-Clause
#include "common/lapack.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "common/blas_symbols.h"

namespace corvane::lapack {

namespace {

constexpr int layout = LAPACK_COL_MAJOR;

// Runs once, before the first call of any routine.
void lapack_init() {
  static const bool done = [] {
    LAPACKE_set_nancheck(0);
    return true;
  }();
  static_cast<void>(done);
}

char letter(triangle which) { return which == triangle::upper ? 'U' : 'L'; }
char letter(side where) { return where == side::left ? 'L' : 'R'; }

char letter(transposition op) {
  if (op == transposition::none) return 'N';
  return op == transposition::transpose ? 'T' : 'C';
}

char letter(diagonal_kind diag) {
  if (diag == diagonal_kind::not_served) std::terminate();
  return diag == diagonal_kind::general ? 'N' : 'U';
}

char letter(svd_job job) {
  if (job == svd_job::all) return 'A';
  if (job == svd_job::thin) return 'S';
  return job == svd_job::overwrite ? 'O' : 'N';
}

// The twin of the routine for element type T.
template <class T, class Single, class Double>
auto twin(Single single_precision, Double double_precision) {
  lapack_init();
  if constexpr (std::is_same_v<T, float>)
    return single_precision;
  else
    return double_precision;
}

}  // namespace

int judge_status(int status) {
  if (status == LAPACK_WORK_MEMORY_ERROR || status == LAPACK_TRANSPOSE_MEMORY_ERROR)
    throw std::bad_alloc{};
  if (status < 0)
    throw std::logic_error{"LAPACK refused argument " + std::to_string(-status)};
  return status;
}

template <class T>
int trtri(triangle which, diagonal_kind diag, int n, T* a, int lda) noexcept {
  return twin<T>(LAPACKE_strtri, LAPACKE_dtrtri)(layout, letter(which), letter(diag), n, a,
                                                 lda);
}

template <class T>
int potrf(triangle which, int n, T* a, int lda) noexcept {
  return twin<T>(LAPACKE_spotrf, LAPACKE_dpotrf)(layout, letter(which), n, a, lda);
}

template <class T>
int potri(triangle which, int n, T* a, int lda) noexcept {
  return twin<T>(LAPACKE_spotri, LAPACKE_dpotri)(layout, letter(which), n, a, lda);
}

template <class T>
int geqrf(int m, int n, T* a, int lda, T* tau) noexcept {
  return twin<T>(LAPACKE_sgeqrf, LAPACKE_dgeqrf)(layout, m, n, a, lda, tau);
}

template <class T>
int ormqr(side where, transposition op, int m, int n, int k, const T* a, int lda,
          const T* tau, T* c, int ldc) noexcept {
  return twin<T>(LAPACKE_sormqr, LAPACKE_dormqr)(layout, letter(where), letter(op), m, n, k,
                                                 a, lda, tau, c, ldc);
}

template <class T>
int gesdd(svd_job job, int m, int n, T* a, int lda, T* s, T* u, int ldu, T* vt,
          int ldvt) noexcept {
  return twin<T>(LAPACKE_sgesdd, LAPACKE_dgesdd)(layout, letter(job), m, n, a, lda, s, u,
                                                 ldu, vt, ldvt);
}

template <class T>
int syevd(triangle which, int n, T* a, int lda, T* w) noexcept {
  return twin<T>(LAPACKE_ssyevd, LAPACKE_dsyevd)(layout, 'V', letter(which), n, a, lda, w);
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
