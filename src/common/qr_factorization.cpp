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

// The number of multiplications below which a product takes less than a tenth of a second.
constexpr double short_work = 1 << 29;

// The number of reflectors that are applied together, and of the columns they are applied
// to.
constexpr index_t panel_size = 16;
constexpr index_t group_size = 32;

bool is_short(index_t rows, index_t reflectors, index_t columns) {
  return static_cast<double>(rows) * static_cast<double>(reflectors) *
             static_cast<double>(columns) <
         short_work;
}

// C = op(H) C for the reflectors H of a panel.
void apply_panel(const_matrix_block panel, const_vector_view tau, transposition op,
                 matrix_block c, interruption& interrupt) {
  for (index_t j = 0; j < c.cols(); j += group_size) {
    interrupt.check();
    ormqr(op, panel, tau, c.part_columns(j, std::min(group_size, c.cols() - j)));
  }
}

}  // namespace

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

void factor(matrix_block a, vector_view tau, interruption* interrupt) {
  const index_t reflectors = std::min(a.rows(), a.cols());
  if (interrupt == nullptr || is_short(a.rows(), reflectors, a.cols())) {
    geqrf(a, tau);
    return;
  }
  for (index_t j = 0; j < reflectors; j += panel_size) {
    interrupt->check();
    const index_t count = std::min(panel_size, reflectors - j);
    const matrix_block panel = a.part(j, j, a.rows() - j, count);
    geqrf(panel, tau.part(j, count));
    const index_t rest = a.cols() - j - count;
    apply_panel(panel, tau.part(j, count), transposed,
                a.part(j, j + count, a.rows() - j, rest), *interrupt);
  }
}

// Q = H_1 H_2 .. H_k: Q C applies the last panel first, Q' C the first one.
void apply(const qr_factorization& qr, transposition op, matrix_block c,
           interruption* interrupt) {
  const index_t reflectors = std::min(qr.factor.rows(), qr.factor.cols());
  if (interrupt == nullptr || is_short(c.rows(), reflectors, c.cols())) {
    apply(qr, op, c);
    return;
  }
  const bool transposes = (op != plain) != (qr.transposition != 0);
  const index_t panels = (reflectors + panel_size - 1) / panel_size;
  for (index_t k = 0; k < panels; ++k) {
    const index_t j = (transposes ? k : panels - 1 - k) * panel_size;
    const index_t count = std::min(panel_size, reflectors - j);
    const index_t rows = c.rows() - j;
    apply_panel(qr.factor.part(j, j, rows, count), {qr.tau + j, count},
                transposes ? transposed : plain, c.part_rows(j, rows), *interrupt);
  }
}

void solve_r(const qr_factorization& qr, vector_view x) {
  trsv(triangle::upper, plain, leading_square(qr.factor), x);
}

}  // namespace corvane
