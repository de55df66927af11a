// SPDX-License-Identifier: BSD-3-Clause
#include "common/linear_algebra.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "common/blas_symbols.h"
#include "common/scoped_allocator.h"

namespace corvane {

namespace {

constexpr CBLAS_ORDER layout = CblasColMajor;

int rows(const_matrix_block a) { return blas_size(a.rows()); }
int cols(const_matrix_block a) { return blas_size(a.cols()); }

// BLAS wants a leading dimension of at least 1, also of an empty matrix.
int stride(const_matrix_block a) { return std::max(1, blas_size(a.stride())); }

int rows_of(transposition op, const_matrix_block a) {
  return op == plain ? rows(a) : cols(a);
}
int cols_of(transposition op, const_matrix_block a) {
  return op == plain ? cols(a) : rows(a);
}

// Of an inversion, which fails at a zero on the diagonal alone.
void require_regular(int status) {
  if (judge_lapack_status(status) != 0)
    throw std::domain_error{"a triangular matrix is singular"};
}

// Of a routine that no data can make fail.
void require_done(int status) {
  if (judge_lapack_status(status) != 0)
    throw std::logic_error{"LAPACK found a fault where there can be none"};
}

}  // namespace

void gemv(double alpha, transposition op, const_matrix_block a, const_vector_view x,
          double beta, vector_view y) {
  // BLAS returns early on an empty product and would leave y unscaled.
  if (a.rows() == 0 || a.cols() == 0) {
    for (double& entry : y) entry = beta == 0.0 ? 0.0 : beta * entry;
    return;
  }
  cblas_dgemv(layout, cblas_value(op), rows(a), cols(a), alpha, a.data(), stride(a),
              x.data(), 1, beta, y.data(), 1);
}

void affine_gemv(double constant, transposition op, const_matrix_block a,
                 const_vector_view x, vector_view y) {
  constexpr index_t block_rows = 65536;
  for (index_t first = 0; first < y.size(); first += block_rows) {
    const vector_view part = y.part(first, std::min(block_rows, y.size() - first));
    std::fill(part.begin(), part.end(), constant);
    gemv(1.0, op,
         op == plain ? a.part_rows(first, part.size()) : a.part_columns(first, part.size()),
         x, 1.0, part);
  }
}

void gemm(double alpha, transposition op_a, const_matrix_block a, transposition op_b,
          const_matrix_block b, double beta, matrix_block c) {
  cblas_dgemm(layout, cblas_value(op_a), cblas_value(op_b), rows(c), cols(c),
              cols_of(op_a, a), alpha, a.data(), stride(a), b.data(), stride(b), beta,
              c.data(), stride(c));
}

// By panels of columns: the square on the diagonal through scratch memory, so that the
// upper triangle of C is never written, and the rectangle below it.
void gemmt(double alpha, transposition op_a, const_matrix_block a, transposition op_b,
           const_matrix_block b, double beta, matrix_block c) {
  constexpr index_t panel = 64;
  const auto rows_from = [&](index_t first, index_t count) {
    return op_a == plain ? a.part_rows(first, count) : a.part_columns(first, count);
  };
  const index_t n = c.cols();
  scoped_allocator scope;
  const matrix_block square = scope.matrix(panel, panel);
  for (index_t first = 0; first < n; first += panel) {
    const index_t width = std::min(panel, n - first);
    const const_matrix_block b_panel =
        op_b == plain ? b.part_columns(first, width) : b.part_rows(first, width);
    const matrix_block on_diagonal = square.part(0, 0, width, width);
    gemm(alpha, op_a, rows_from(first, width), op_b, b_panel, 0.0, on_diagonal);
    for (index_t j = 0; j < width; ++j)
      for (index_t i = j; i < width; ++i) {
        double& entry = c(first + i, first + j);
        entry = on_diagonal(i, j) + (beta == 0.0 ? 0.0 : beta * entry);
      }
    const index_t below = first + width;
    if (below < n)
      gemm(alpha, op_a, rows_from(below, n - below), op_b, b_panel, beta,
           c.part(below, first, n - below, width));
  }
}

void syrk(double alpha, transposition op, const_matrix_block a, double beta,
          matrix_block c) {
  cblas_dsyrk(layout, CblasLower, cblas_value(op), rows_of(op, a), cols_of(op, a), alpha,
              a.data(), stride(a), beta, c.data(), stride(c));
}

void syr2k(double alpha, transposition op, const_matrix_block a, const_matrix_block b,
           double beta, matrix_block c) {
  cblas_dsyr2k(layout, CblasLower, cblas_value(op), rows_of(op, a), cols_of(op, a), alpha,
               a.data(), stride(a), b.data(), stride(b), beta, c.data(), stride(c));
}

void symv(double alpha, const_matrix_block a, const_vector_view x, double beta,
          vector_view y) {
  cblas_dsymv(layout, CblasLower, rows(a), alpha, a.data(), stride(a), x.data(), 1, beta,
              y.data(), 1);
}

void symm(double alpha, const_matrix_block a, const_matrix_block b, double beta,
          matrix_block c) {
  cblas_dsymm(layout, CblasLeft, CblasLower, rows(c), cols(c), alpha, a.data(), stride(a),
              b.data(), stride(b), beta, c.data(), stride(c));
}

void trsv(triangle which, transposition op, const_matrix_block a, vector_view x) {
  cblas_dtrsv(layout, cblas_value(which), cblas_value(op), CblasNonUnit, rows(a), a.data(),
              stride(a), x.data(), 1);
}

void trsm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b) {
  cblas_dtrsm(layout, cblas_value(where), cblas_value(which), cblas_value(op), CblasNonUnit,
              rows(b), cols(b), 1.0, a.data(), stride(a), b.data(), stride(b));
}

void trmv(triangle which, transposition op, const_matrix_block a, vector_view x) {
  cblas_dtrmv(layout, cblas_value(which), cblas_value(op), CblasNonUnit, rows(a), a.data(),
              stride(a), x.data(), 1);
}

void trmm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b) {
  cblas_dtrmm(layout, cblas_value(where), cblas_value(which), cblas_value(op), CblasNonUnit,
              rows(b), cols(b), 1.0, a.data(), stride(a), b.data(), stride(b));
}

int potrf(matrix_block a) {
  lapack_init();
  return judge_lapack_status(
      LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', rows(a), a.data(), stride(a)));
}

void trtri(triangle which, matrix_block a) {
  lapack_init();
  require_regular(LAPACKE_dtrtri(LAPACK_COL_MAJOR, lapack_letter(which), 'N', rows(a),
                                 a.data(), stride(a)));
}

void potri(matrix_block l) {
  lapack_init();
  require_regular(LAPACKE_dpotri(LAPACK_COL_MAJOR, 'L', rows(l), l.data(), stride(l)));
}

void geqrf(matrix_block a, vector_view tau) {
  lapack_init();
  require_done(
      LAPACKE_dgeqrf(LAPACK_COL_MAJOR, rows(a), cols(a), a.data(), stride(a), tau.data()));
}

void ormqr(transposition op, const_matrix_block factor, const_vector_view tau,
           matrix_block c) {
  lapack_init();
  require_done(LAPACKE_dormqr(LAPACK_COL_MAJOR, 'L', lapack_letter(op), rows(c), cols(c),
                              blas_size(tau.size()), factor.data(), stride(factor),
                              tau.data(), c.data(), stride(c)));
}

int gesdd(svd_job job, matrix_block a, vector_view s, matrix_block u, matrix_block vt) {
  // The routine counts a matrix with a NaN as a wrong fourth argument, which LAPACKE, whose
  // first one is the layout, makes the fifth.
  constexpr int not_a_number = -5;
  lapack_init();
  const int status =
      LAPACKE_dgesdd(LAPACK_COL_MAJOR, lapack_letter(job), rows(a), cols(a), a.data(),
                     stride(a), s.data(), u.data(), stride(u), vt.data(), stride(vt));
  return judge_lapack_status(status == not_a_number ? 1 : status);
}

int syevd(matrix_block a, vector_view w) {
  lapack_init();
  return judge_lapack_status(
      LAPACKE_dsyevd(LAPACK_COL_MAJOR, 'V', 'L', rows(a), a.data(), stride(a), w.data()));
}

double dot(const_vector_view x, const_vector_view y) {
  double sum = 0.0;
  for (index_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

double norm(const_vector_view x) { return std::sqrt(dot(x, x)); }

}  // namespace corvane
