// SPDX-License-Identifier: BSD-3-Clause
//
// BLAS and LAPACK over views: shape and leading dimension come with the operands. A
// symmetric matrix is stored as its lower triangle. Names are those of the BLAS and LAPACK
// users' guides. The order of arguments is that of the formula.
//
// A returned status is a property of the data and never negative: 0 is success. A NaN in
// the input does not always give a status other than 0; it shows in the result. The
// factorizations throw std::bad_alloc when LAPACK's work space cannot be allocated.
#pragma once

#include "common/blas_arguments.h"
#include "common/matrix_block.h"

namespace corvane {

inline constexpr auto plain = transposition::none;
inline constexpr auto transposed = transposition::transpose;

// y = alpha op(A) x + beta y
void gemv(double alpha, transposition op, const_matrix_block a, const_vector_view x,
          double beta, vector_view y);

// y = constant + op(A) x, by parts of y that stay in the cache
void affine_gemv(double constant, transposition op, const_matrix_block a,
                 const_vector_view x, vector_view y);

// C = alpha op(A) op(B) + beta C
void gemm(double alpha, transposition op_a, const_matrix_block a, transposition op_b,
          const_matrix_block b, double beta, matrix_block c);

// The lower triangle of C = alpha op(A) op(B) + beta C
void gemmt(double alpha, transposition op_a, const_matrix_block a, transposition op_b,
           const_matrix_block b, double beta, matrix_block c);

// The lower triangle of C = alpha A A' + beta C, or of A' A when `op` is transposed
void syrk(double alpha, transposition op, const_matrix_block a, double beta,
          matrix_block c);

// The lower triangle of C = alpha (A B' + B A') + beta C, or of A' B + B' A when transposed
void syr2k(double alpha, transposition op, const_matrix_block a, const_matrix_block b,
           double beta, matrix_block c);

// y = alpha A x + beta y, A symmetric
void symv(double alpha, const_matrix_block a, const_vector_view x, double beta,
          vector_view y);

// C = alpha A B + beta C, A symmetric
void symm(double alpha, const_matrix_block a, const_matrix_block b, double beta,
          matrix_block c);

// x = op(A)^-1 x, A triangular
void trsv(triangle which, transposition op, const_matrix_block a, vector_view x);

// B = op(A)^-1 B at the left, B = B op(A)^-1 at the right; A triangular
void trsm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b);

// x = op(A) x, A triangular
void trmv(triangle which, transposition op, const_matrix_block a, vector_view x);

// B = op(A) B at the left, B = B op(A) at the right; A triangular
void trmm(side where, triangle which, transposition op, const_matrix_block a,
          matrix_block b);

// A = L of A = L L'. The status: 0, or k + 1 when the pivot at position k fails.
[[nodiscard]] int potrf(matrix_block a);

// A = A^-1, A triangular. Throws std::domain_error where the diagonal has a zero, which
// that of a Cholesky factor never has.
void trtri(triangle which, matrix_block a);

// A = A^-1, the lower triangle, from L. Throws as trtri does.
void potri(matrix_block l);

// A = Q R, packed: R above the diagonal, the reflectors below it and in tau
void geqrf(matrix_block a, vector_view tau);

// C = op(Q) C, with Q as geqrf packed it in `factor` and `tau`
void ormqr(transposition op, const_matrix_block factor, const_vector_view tau,
           matrix_block c);

// A = U diag(s) V', destroying A; all of U and V with svd_job::all, min(m, n) columns of
// them with svd_job::thin. The status is positive where there is no result, of a NaN too.
[[nodiscard]] int gesdd(svd_job job, matrix_block a, vector_view s, matrix_block u,
                        matrix_block vt);

// A = V diag(w) V', symmetric: w in rising order, and A = V. The status is positive where
// there is no result.
[[nodiscard]] int syevd(matrix_block a, vector_view w);

double dot(const_vector_view x, const_vector_view y);
double norm(const_vector_view x);  // Euclidean

}  // namespace corvane
