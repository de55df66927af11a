// SPDX-License-Identifier: BSD-3-Clause
//
// qr_factorization: the record by which a QR factorization from geqrf is carried and
// applied. It does not own the factor and the scalars.
#pragma once

#include <cstdint>

#include "common/blas_arguments.h"
#include "common/interruption.h"
#include "common/matrix_block.h"

namespace corvane {

struct qr_factorization {
  std::int32_t kind = 0;           // 0 is the only supported kind
  std::int32_t transposition = 0;  // 0 for Q, 1 for Q'
  const_matrix_block factor;       // m by n as geqrf packed it
  const double* tau = nullptr;     // min(m, n) scalars
};

// C = op(Q) C, or with a record of Q', C = op(Q') C.
void apply(const qr_factorization& qr, transposition op, matrix_block c);
void apply(const qr_factorization& qr, transposition op, vector_view c);

// A = Q R as geqrf packs it, and C = op(Q) C, in pieces that take a fraction of a second.
// `interrupt` is checked between them. Without `interrupt`, or if the work is short, in one
// piece.
void factor(matrix_block a, vector_view tau, interruption* interrupt);
void apply(const qr_factorization& qr, transposition op, matrix_block c,
           interruption* interrupt);

// x = R^-1 x, with R the leading square of the factor's upper triangle, over the first
// min(m, n) entries of x; those below are left as they are.
void solve_r(const qr_factorization& qr, vector_view x);

}  // namespace corvane
