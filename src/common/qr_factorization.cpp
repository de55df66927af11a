// SPDX-License-Identifier: BSD-3-Clause
#include "common/qr_factorization.h"

#include <algorithm>
#include <exception>
#include <iostream>

#include "common/linear_algebra.h"

namespace corvane {

namespace {

const_matrix_block leading_square(const_matrix_block factor) {
  const index_t n = std::min(factor.rows(), factor.cols());
  return factor.part(0, 0, n, n);
}

}  // namespace

qr_factorization transpose(const qr_factorization& qr) noexcept {
  if (qr.transposition != 0 && qr.transposition != 1) {
    std::cerr << "can't tranpose\n";
    std::terminate();
  }
  qr_factorization other = qr;
  other.transposition = 1 - qr.transposition;
  return other;
}

void apply(const qr_factorization& qr, transposition op, matrix_block c) {
  if (qr.kind != 0) {
    std::cerr << "not supported yet\n";
    std::terminate();
  }
  const bool wants_transpose = (op != plain) != (qr.transposition != 0);
  const index_t reflectors = std::min(qr.factor.rows(), qr.factor.cols());
  ormqr(wants_transpose ? transposed : plain, qr.factor, {qr.tau, reflectors}, c);
}

void apply(const qr_factorization& qr, transposition op, vector_view c) {
  apply(qr, op, matrix_block{c.data(), c.size(), 1, c.size()});
}

void solve_r(const qr_factorization& qr, vector_view x) {
  trsv(triangle::upper, plain, leading_square(qr.factor), x);
}

void solve_r(const qr_factorization& qr, matrix_block b) {
  const const_matrix_block r = leading_square(qr.factor);
  trsm(side::left, triangle::upper, plain, r, b.part_rows(0, r.rows()));
}

}  // namespace corvane
