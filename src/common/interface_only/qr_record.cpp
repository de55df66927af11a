// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/qr_record.h"

#include <algorithm>
#include <exception>
#include <iostream>

#include "common/linear_algebra.h"

namespace corvane {

qr_factorization transpose(const qr_factorization& qr) noexcept {
  if (qr.transposition != 0 && qr.transposition != 1) {
    std::cerr << "can't tranpose\n";
    std::terminate();
  }
  qr_factorization other = qr;
  other.transposition = 1 - qr.transposition;
  return other;
}

void solve_r(const qr_factorization& qr, matrix_block b) {
  const index_t n = std::min(qr.factor.rows(), qr.factor.cols());
  trsm(side::left, triangle::upper, plain, qr.factor.part(0, 0, n, n), b.part_rows(0, n));
}

}  // namespace corvane
