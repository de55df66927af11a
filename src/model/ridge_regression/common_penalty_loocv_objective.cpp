// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty_loocv_objective.h"

#include <algorithm>
#include <array>

#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"

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

// A column u of U with what its entries are multiplied by: the derivative of order r of d_i
// takes square[r] u_i^2 = g_k^(r) u_i^2, and that of e_i takes linear[r] u_i = g_k^(r) z_k
// u_i.
struct column_terms {
  const double* u = nullptr;
  std::array<double, 3> square{};
  std::array<double, 3> linear{};
};

// Several columns at a time, so that the sums are loaded and stored once for all of them.
constexpr index_t columns_at_once = 4;
using column_group = std::array<column_terms, columns_at_once>;

// The last group is filled up with columns that count for nothing.
column_group make_group(const penalty_rows& rows, const penalty_spectrum& data,
                        const ridge_filter* filters, index_t first) {
  column_group group;
  for (index_t j = 0; j < columns_at_once; ++j) {
    column_terms& column = group[static_cast<std::size_t>(j)];
    column.u = rows.basis().column(first).data();
    const index_t k = first + j;
    if (k >= rows.rank()) continue;
    const double z = data.z[k];
    column = {rows.basis().column(k).data(),
              {filters[k].stopped, filters[k].first, filters[k].second},
              {filters[k].stopped * z, filters[k].first * z, filters[k].second * z}};
  }
  return group;
}

void add_columns(const column_group& group, index_t first, index_t count,
                 block_jets& jets) {
  const double* const a = group[0].u + first;
  const double* const b = group[1].u + first;
  const double* const c = group[2].u + first;
  const double* const d = group[3].u + first;
  for (std::size_t r = 0; r < 3; ++r) {
    const std::array square{group[0].square[r], group[1].square[r], group[2].square[r],
                            group[3].square[r]};
    const std::array linear{group[0].linear[r], group[1].linear[r], group[2].linear[r],
                            group[3].linear[r]};
    double* const clearance = jets.clearance[r].data();
    double* const residual = jets.residual[r].data();
    run_vectorized([=](auto... /*width*/) {
      for (index_t i = 0; i < count; ++i) {
        clearance[i] += (square[0] * a[i] * a[i] + square[1] * b[i] * b[i]) +
                        (square[2] * c[i] * c[i] + square[3] * d[i] * d[i]);
        residual[i] +=
            (linear[0] * a[i] + linear[1] * b[i]) + (linear[2] * c[i] + linear[3] * d[i]);
      }
    });
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
  const index_t groups = (rows_.rank() + columns_at_once - 1) / columns_at_once;
  scoped_allocator scope;
  auto* const filters = scope.take<ridge_filter>(rows_.rank());
  for (index_t k = 0; k < rows_.rank(); ++k) filters[k] = filter_of(data.s[k], t);
  auto* const columns = scope.take<column_group>(groups);
  for (index_t g = 0; g < groups; ++g)
    columns[g] = make_group(rows_, data, filters, g * columns_at_once);

  penalty_jet score;
  block_jets jets;
  for (index_t first = 0; first < n; first += block_size) {
    const index_t count = std::min(block_size, n - first);
    start(rows_, first, count, jets);
    for (index_t g = 0; g < groups; ++g) add_columns(columns[g], first, count, jets);
    add_squares(jets, count, score);
  }
  return score;
}

}  // namespace corvane::model::ridge_regression_detail
