// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <array>
#include <numeric>

#include "common/scoped_allocator.h"
#include "common/vector_dispatch.h"
#include "common/vector_register.h"
#include "model/ridge_regression/common_penalty/common_penalty_scores.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// What an entry u of U is multiplied by: the derivative of order r of d_i takes
// g_k^(r) u_i^2, and that of e_i takes g_k^(r) z_k u_i.
struct column_terms {
  const double* u;
  penalty_jet square;
  penalty_jet linear;
};

column_terms make_terms(const double* u, double z, const ridge_filter& filter) {
  return {u,
          {filter.complement, filter.first, filter.second},
          {filter.complement * z, filter.first * z, filter.second * z}};
}

// The rows that the sums run over: the columns of U, and the limits at zero penalty.
struct row_range {
  const column_terms* columns;
  index_t rank;
  index_t count;
  const double* one_minus_leverage;
  const double* residual;
};

// A function of t with its first two derivatives, for `Width` observations.
template <int Width>
struct lane_jet {
  using lanes = typename vector_register<Width>::lanes;
  lanes value{};
  lanes first{};
  lanes second{};

  void add(const penalty_jet& term, const lanes& factor) {
    value += term.value * factor;
    first += term.first * factor;
    second += term.second * factor;
  }
};

// e and d. Two of these fill the 16 registers of AVX2 in the loop over the columns of U.
template <int Width>
struct observations {
  using lanes = typename vector_register<Width>::lanes;
  lane_jet<Width> residual;
  lane_jet<Width> one_minus_leverage;

  void start(const row_range& rows, index_t first) {
    load_lanes(rows.residual + first, residual.value);
    load_lanes(rows.one_minus_leverage + first, one_minus_leverage.value);
  }
  void add(const column_terms& column, index_t first) {
    lanes u;
    load_lanes(column.u + first, u);
    one_minus_leverage.add(column.square, u * u);
    residual.add(column.linear, u);
  }
  // By the quotient rule s' = (e' - s d') / d and s'' = (e'' - 2 s' d' - s d'') / d.
  void add_squares(lane_jet<Width>& score) const {
    const lanes inverse = 1.0 / one_minus_leverage.value;
    const lanes s = residual.value * inverse;
    const lanes first = (residual.first - s * one_minus_leverage.first) * inverse;
    const lanes second = (residual.second - 2.0 * first * one_minus_leverage.first -
                          s * one_minus_leverage.second) *
                         inverse;
    score.value += s * s;
    score.first += 2.0 * s * first;
    score.second += 2.0 * (first * first + s * second);
  }
};

// A multiple of the step of every vector width.
constexpr index_t padded_rows = 16;

template <int Width>
void add_rows(const row_range& rows, lane_jet<Width>& score) {
  for (index_t i = 0; i < rows.count; i += index_t{2} * Width) {
    observations<Width> upper;
    observations<Width> lower;
    upper.start(rows, i);
    lower.start(rows, i + Width);
    for (index_t k = 0; k < rows.rank; ++k) {
      upper.add(rows.columns[k], i);
      lower.add(rows.columns[k], i + Width);
    }
    upper.add_squares(score);
    lower.add_squares(score);
  }
}

template <class Lanes>
double total(const Lanes& lanes) {
  std::array<double, sizeof(Lanes) / sizeof(double)> parts;
  store_lanes(lanes, parts.data());
  return std::accumulate(parts.begin(), parts.end(), 0.0);
}

void add_range(const row_range& rows, penalty_jet& score) {
  run_vectorized([rows, &score](auto width) {
    lane_jet<width> sums;
    add_rows<width>(rows, sums);
    score.value += total(sums.value);
    score.first += total(sums.first);
    score.second += total(sums.second);
  });
}

// The rows after the last whole step, padded with rows whose residual is zero.
void add_remainder(const row_range& rows, penalty_jet& score) {
  const index_t whole = rows.count - rows.count % padded_rows;
  const index_t count = rows.count - whole;
  if (count == 0) return;
  scoped_allocator scope;
  const auto pad = [&](const double* from, double filler) {
    auto* const to = scope.take<double>(padded_rows);
    std::fill(std::copy_n(from + whole, count, to), to + padded_rows, filler);
    return to;
  };
  auto* const columns = scope.take<column_terms>(rows.rank);
  for (index_t k = 0; k < rows.rank; ++k) {
    columns[k] = rows.columns[k];
    columns[k].u = pad(rows.columns[k].u, 0.0);
  }
  add_range({columns, rows.rank, padded_rows, pad(rows.one_minus_leverage, 1.0),
             pad(rows.residual, 0.0)},
            score);
}

}  // namespace

penalty_jet leave_one_out_jet(const penalty_spectrum& spectrum, const penalty_rows& rows,
                              double t) {
  const index_t n = spectrum.observations;
  scoped_allocator scope;
  auto* const columns = scope.take<column_terms>(rows.rank());
  for (index_t k = 0; k < rows.rank(); ++k)
    columns[k] = make_terms(rows.basis().column(k).data(), spectrum.z[k],
                            filter_of(spectrum.s[k], t));
  row_range range{columns, rows.rank(), n, rows.one_minus_leverage().data(),
                  rows.residual().data()};
  penalty_jet score;
  add_remainder(range, score);
  range.count = n - n % padded_rows;
  add_range(range, score);
  return score;
}

}  // namespace corvane::model::ridge_regression_detail
