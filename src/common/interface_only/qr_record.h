// SPDX-License-Identifier: BSD-3-Clause
//
// Operations on a QR factorization that no model calls.
#pragma once

#include "common/qr_factorization.h"

namespace corvane {

// The record of the other one of Q and Q'.
qr_factorization transpose(const qr_factorization& qr) noexcept;

// B = R^-1 B over the first min(m, n) rows of B; those below are left as they are.
void solve_r(const qr_factorization& qr, matrix_block b);

}  // namespace corvane
