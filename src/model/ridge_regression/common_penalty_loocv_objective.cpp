// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty_loocv_objective.h"

#include <algorithm>
#include <array>

#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// e and d of a block of observations, with their first two derivatives. The block is small
// enough for all six to stay in the first-level cache while U passes by.
constexpr index_t block_size = 256;
using block_sums = std::array<double, block_size>;

struct block_jets {
  std::array<block_sums, 3> residual;
  std::array<block_sums, 3> clearance;
};

void start(const penalty_rows& rows, index_t first, index_t count, block_jets& jets) {
  std::copy_n(rows.residual().data() + first, count, jets.residual[0].begin());
  std::copy_n(rows.clearance().data() + first, count, jets.clearance[0].begin());
  for (const std::size_t order : {1U, 2U}) {
    std::fill_n(jets.residual[order].begin(), count, 0.0);
    std::fill_n(jets.clearance[order].begin(), count, 0.0);
  }
}

// The derivative of order r of d_i takes a_r u_ik^2, and that of e_i takes a_r z_k u_ik,
// where a_r is that of g_k.
void add_column(const ridge_filter& filter, double z, const_vector_view u,
                block_jets& jets) {
  const std::array a{filter.stopped, filter.first, filter.second};
  for (index_t i = 0; i < u.size(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    const double ui = u[i];
    const double square = ui * ui;
    const double part = z * ui;
    for (const std::size_t r : {0U, 1U, 2U}) {
      jets.clearance[r][at] += a[r] * square;
      jets.residual[r][at] += a[r] * part;
    }
  }
}

// By the quotient rule s' = (e' - s d') / d and s'' = (e'' - 2 s' d' - s d'') / d.
void add_squares(const block_jets& jets, index_t count, penalty_jet& score) {
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    const double d = jets.clearance[0][i];
    const double s = jets.residual[0][i] / d;
    const double first = (jets.residual[1][i] - s * jets.clearance[1][i]) / d;
    const double second = (jets.residual[2][i] - 2.0 * first * jets.clearance[1][i] -
                           s * jets.clearance[2][i]) /
                          d;
    score.value += s * s;
    score.first += 2.0 * s * first;
    score.second += 2.0 * (first * first + s * second);
  }
}

}  // namespace

common_penalty_loocv_objective::common_penalty_loocv_objective(
    const common_penalty_design& design)
    : common_penalty_objective{factor_common_penalty(design)}, rows_{factors().rows()} {}

// A value that is not finite is the optimizer's to judge, as in the general objective.
std::optional<penalty_jet> common_penalty_loocv_objective::evaluate(double t) const {
  const penalty_spectrum& data = spectrum();
  const index_t n = data.observations;
  scoped_allocator scope;
  ridge_filter* const filters = scope.take<ridge_filter>(rows_.rank());
  for (index_t k = 0; k < rows_.rank(); ++k) filters[k] = filter_of(data.s[k], t);
  penalty_jet score;
  block_jets jets;
  for (index_t first = 0; first < n; first += block_size) {
    const index_t count = std::min(block_size, n - first);
    start(rows_, first, count, jets);
    for (index_t k = 0; k < rows_.rank(); ++k)
      add_column(filters[k], data.z[k], rows_.basis().column(k).part(first, count), jets);
    add_squares(jets, count, score);
  }
  return score;
}

}  // namespace corvane::model::ridge_regression_detail
