// SPDX-License-Identifier: BSD-3-Clause
#include "common/linear_algebra.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "common/blas.h"
#include "common/lapack.h"

namespace corvane {

namespace {

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
  if (lapack::judge_status(status) != 0)
    throw std::domain_error{"a triangular matrix is singular"};
}

// Of a routine that no data can make fail.
void require_done(int status) {
  if (lapack::judge_status(status) != 0)
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
  blas::gemv(op, rows(a), cols(a), a.data(), stride(a), x.data(), 1, y.data(), 1, alpha,
             beta);
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
  blas::gemm(op_a, op_b, rows(c), cols(c), cols_of(op_a, a), a.data(), stride(a), b.data(),
             stride(b), c.data(), stride(c), alpha, beta);
}

void gemmt(double alpha, transposition op_a, const_matrix_block a, transposition op_b,
           const_matrix_block b, double beta, matrix_block c) {
  blas::gemmt(triangle::lower, op_a, op_b, rows(c), cols_of(op_a, a), a.data(), stride(a),
              b.data(), stride(b), c.data(), stride(c), alpha, beta);
}

void syrk(double alpha, transposition op, const_matrix_block a, double beta,
          matrix_block c) {
  blas::syrk(triangle::lower, op, rows_of(op, a), cols_of(op, a), a.data(), stride(a),
             c.data(), stride(c), alpha, beta);
}

void syr2k(double alpha, transposition op, const_matrix_block a, const_matrix_block b,
           double beta, matrix_block c) {
  blas::syr2k(triangle::lower, op, rows_of(op, a), cols_of(op, a), a.data(), stride(a),
              b.data(), stride(b), c.data(), stride(c), alpha, beta);
}

void syr(double alpha, const_vector_view x, matrix_block a) {
  blas::syr(triangle::lower, blas_size(x.size()), x.data(), 1, a.data(), stride(a), alpha);
}

void symv(double alpha, const_matrix_block a, const_vector_view x, double beta,
          vector_view y) {
  blas::symv(triangle::lower, rows(a), a.data(), stride(a), x.data(), 1, y.data(), 1, alpha,
             beta);
}

void symm(double alpha, const_matrix_block a, const_matrix_block b, double beta,
          matrix_block c) {
  blas::symm(side::left, triangle::lower, rows(c), cols(c), a.data(), stride(a), b.data(),
             stride(b), c.data(), stride(c), alpha, beta);
}

void trsv(triangle which, transposition op, const_matrix_block a, vector_view x) {
  blas::trsv(which, op, diagonal_kind::general, rows(a), a.data(), stride(a), x.data(), 1);
}

void trsm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b) {
  blas::trsm(where, which, op, diagonal_kind::general, rows(b), cols(b), a.data(),
             stride(a), b.data(), stride(b), 1.0);
}

void trmv(triangle which, transposition op, const_matrix_block a, vector_view x) {
  blas::trmv(which, op, diagonal_kind::general, rows(a), a.data(), stride(a), x.data(), 1);
}

void trmm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b) {
  blas::trmm(where, which, op, diagonal_kind::general, rows(b), cols(b), a.data(),
             stride(a), b.data(), stride(b), 1.0);
}

int potrf(matrix_block a) {
  return lapack::judge_status(lapack::potrf(triangle::lower, rows(a), a.data(), stride(a)));
}

void trtri(triangle which, matrix_block a) {
  require_regular(
      lapack::trtri(which, diagonal_kind::general, rows(a), a.data(), stride(a)));
}

void potri(matrix_block l) {
  require_regular(lapack::potri(triangle::lower, rows(l), l.data(), stride(l)));
}

void geqrf(matrix_block a, vector_view tau) {
  require_done(lapack::geqrf(rows(a), cols(a), a.data(), stride(a), tau.data()));
}

void ormqr(transposition op, const_matrix_block factor, const_vector_view tau,
           matrix_block c) {
  require_done(lapack::ormqr(side::left, op, rows(c), cols(c), blas_size(tau.size()),
                             factor.data(), stride(factor), tau.data(), c.data(),
                             stride(c)));
}

int gesdd(svd_job job, matrix_block a, vector_view s, matrix_block u, matrix_block vt) {
  // The routine counts a matrix with a NaN as a wrong fourth argument, which LAPACKE, whose
  // first one is the layout, makes the fifth.
  constexpr int not_a_number = -5;
  const int status = lapack::gesdd(job, rows(a), cols(a), a.data(), stride(a), s.data(),
                                   u.data(), stride(u), vt.data(), stride(vt));
  return lapack::judge_status(status == not_a_number ? 1 : status);
}

int syevd(matrix_block a, vector_view w) {
  return lapack::judge_status(
      lapack::syevd(triangle::lower, rows(a), a.data(), stride(a), w.data()));
}

double dot(const_vector_view x, const_vector_view y) {
  double sum = 0.0;
  for (index_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

double norm(const_vector_view x) { return std::sqrt(dot(x, x)); }

}  // namespace corvane
