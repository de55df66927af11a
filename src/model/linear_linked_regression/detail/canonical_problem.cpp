// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/canonical_problem.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "common/cut_digits.h"
#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// Binary digits that slopes keep. Those behind them depend on the order of the rows.
constexpr int digits_of_slopes = 32;

// Binary digits that data keep, in units of the deviation. Other units move a number by
// some 2^-51 of the deviation, and a few to the other side of the middle of two roundings:
// the more numbers there are, the coarser the roundings have to be for none to go. Weights
// rest on all rows, and the errors of roundings are independent.
int digits_of_data(index_t count) {
  constexpr int most = 32;
  constexpr int least = 26;
  return count == 0 ? most
                    : std::clamp(43 - std::ilogb(static_cast<double>(count)), least, most);
}

// To so many digits behind the point in units of the deviation; of a power of two near it,
// that is. Columns of length 1 have the deviation 1/sqrt(n), a power of two for n = 4^k,
// where rounding would choose the next or the last one: hence the factor. Where a double
// has no more digits than these, or the squares overflow, columns stay as they are.
void round_columns(const_vector_view lengths, matrix_view design, interruption* interrupt) {
  constexpr double factor = 1.3;
  const int digits = digits_of_data(design.size());
  const auto n = static_cast<double>(design.rows());
  scoped_allocator scratch;
  const vector_view parts = scratch.vector(design.rows());
  std::fill(parts.begin(), parts.end(), 1.0 / n);
  const vector_view means = scratch.vector(design.cols());
  gemv(1.0, transposed, design, parts, 0.0, means);
  for (index_t j = 0; j < design.cols(); ++j) {
    check(interrupt);
    const double variance = lengths[j] * lengths[j] / n - means[j] * means[j];
    if (variance > 0.0 && is_finite(variance))
      cut_digits(design.column(j), digits - std::ilogb(factor * std::sqrt(variance)));
  }
}

// What overflows counts as nothing: keys have to be comparable.
void clear_what_is_not_finite(vector_view keys) {
  std::replace_if(
      keys.begin(), keys.end(), [](double key) { return !is_finite(key); }, 0.0);
}

// x_j'v / |x_j|, but for the last digits, which depend on the order of the rows.
void project(const_vector_view v, const_matrix_view design, const_vector_view lengths,
             vector_view projections) {
  gemv(1.0, transposed, design, v, 0.0, projections);
  for (index_t j = 0; j < design.cols(); ++j)
    projections[j] = lengths[j] > 0.0 ? projections[j] / lengths[j] : 0.0;
  clear_what_is_not_finite(projections);
  cut_digits(projections, digits_of_slopes);
}

// Turns the column round where it falls while something else rises, and notes that it did.
void turn_to_rise(double& slope, vector_view column, double& sign) {
  if (!(slope < 0.0)) return;
  for (double& x : column) x = -x;
  slope = -slope;
  sign = -sign;
}

// y_i sum_j c_j x_ij. Of columns that rise, the same for swapped classes.
void sum_rows(const_matrix_view design, const_vector_view target, const_vector_view factors,
              vector_view sums) {
  std::fill(sums.begin(), sums.end(), 0.0);
  for (index_t j = 0; j < design.cols(); ++j) {
    const const_vector_view column = design.column(j);
    for (index_t i = 0; i < sums.size(); ++i) sums[i] += factors[j] * column[i];
  }
  for (index_t i = 0; i < sums.size(); ++i) sums[i] *= target[i];
  clear_what_is_not_finite(sums);
}

// y_i exp(2 v_i) with v_i = y_i sum_j slope_j x_ij, in units of the largest v. Columns that
// have the same slope, or none, differ by how they go with the others.
void weigh_rows(const_matrix_view design, const_vector_view target,
                const_vector_view slopes, vector_view weights) {
  sum_rows(design, target, slopes, weights);
  double largest = 0.0;
  for (const double v : weights) largest = std::max(largest, std::abs(v));
  for (index_t i = 0; i < weights.size(); ++i)
    weights[i] = target[i] * std::exp(largest > 0.0 ? 2.0 * weights[i] / largest : 0.0);
}

// How columns compare: larger ones first.
struct column_keys {
  vector_view slopes;         // with the target
  vector_view second_slopes;  // with the others
  vector_view group_sums;     // of what is above, over the group; -1 outside of groups

  auto operator[](index_t j) const {
    return std::tuple{slopes[j], second_slopes[j], group_sums[j]};
  }
};

// Turns all columns to rise, with the target or else with the others. Returns how much they
// do.
column_keys turn_columns(const_vector_view target, const_vector_view lengths,
                         canonical_problem& problem, scoped_allocator& scratch) {
  const matrix_view X = problem.design;
  const vector_view slopes = scratch.vector(X.cols());
  std::fill(problem.signs.begin(), problem.signs.end(), 1.0);
  project(target, X, lengths, slopes);
  for (index_t j = 0; j < X.cols(); ++j)
    turn_to_rise(slopes[j], X.column(j), problem.signs[j]);

  const vector_view weights = scratch.vector(X.rows());
  weigh_rows(X, target, slopes, weights);
  const vector_view second_slopes = scratch.vector(X.cols());
  project(weights, X, lengths, second_slopes);
  for (index_t j = 0; j < X.cols(); ++j)
    if (slopes[j] == 0.0) turn_to_rise(second_slopes[j], X.column(j), problem.signs[j]);
  return {slopes, second_slopes, scratch.vector(X.cols())};
}

// Tells equal columns of different groups apart. Sums of multiples of 2^-32 are exact.
void sum_groups(const variable_mapping& mapping, const column_keys& keys) {
  std::fill(keys.group_sums.begin(), keys.group_sums.end(), -1.0);
  for (const std::vector<index_t>& members : mapping.groups()) {
    double sum = 0.0;
    for (const index_t j : members) sum += 1.0 + keys.slopes[j] + keys.second_slopes[j];
    for (const index_t j : members) keys.group_sums[j] = sum;
  }
}

void turn_and_order_columns(const_vector_view target, const_vector_view lengths,
                            const variable_mapping& mapping, canonical_problem& problem) {
  scoped_allocator scratch;
  const column_keys keys = turn_columns(target, lengths, problem, scratch);
  sum_groups(mapping, keys);
  std::iota(problem.columns.begin(), problem.columns.end(), index_t{0});
  std::stable_sort(problem.columns.begin(), problem.columns.end(),
                   [&](index_t i, index_t j) { return keys[i] > keys[j]; });
}

// The indices of `keys`, ascending; equal ones keep their order.
index_vector order_ascending(const_vector_view keys) {
  std::vector<std::pair<double, index_t>> places;
  places.reserve(static_cast<std::size_t>(keys.size()));
  for (index_t i = 0; i < keys.size(); ++i) places.emplace_back(keys[i], i);
  std::sort(places.begin(), places.end());
  index_vector order(keys.size());
  std::transform(places.begin(), places.end(), order.begin(),
                 [](const auto& place) { return place.second; });
  return order;
}

// The groups by the first of their columns.
index_vector order_groups(const variable_mapping& mapping, const_index_view columns) {
  std::vector<index_t> place_of(static_cast<std::size_t>(columns.size()));
  for (index_t place = 0; place < columns.size(); ++place)
    place_of[static_cast<std::size_t>(columns[place])] = place;
  const auto num_groups = static_cast<index_t>(mapping.groups().size());
  dense_vector first_place{num_groups};
  for (index_t g = 0; g < num_groups; ++g) {
    index_t first = columns.size();
    for (const index_t column : mapping.groups()[static_cast<std::size_t>(g)])
      first = std::min(first, place_of[static_cast<std::size_t>(column)]);
    first_place[g] = static_cast<double>(first);
  }
  return order_ascending(first_place);
}

// Those of every kind in the order of the groups.
index_vector order_hyperparameters(index_t size, const_index_view groups) {
  index_vector order(size);
  const index_t num_groups = groups.size();
  for (index_t a = 0; a < size; ++a) order[a] = a - a % num_groups + groups[a % num_groups];
  return order;
}

void gather(const_index_view rows, const_vector_view from, vector_view to) {
  for (index_t i = 0; i < rows.size(); ++i) to[i] = from[rows[i]];
}

// In place, cycle by cycle of the columns: no second design is held.
void reorder(matrix_view design, const_index_view rows, const_index_view columns,
             interruption* interrupt) {
  scoped_allocator scratch;
  const vector_view first = scratch.vector(design.rows());
  std::vector<bool> is_done(static_cast<std::size_t>(design.cols()), false);
  for (index_t start = 0; start < design.cols(); ++start) {
    if (is_done[static_cast<std::size_t>(start)]) continue;
    check(interrupt);
    std::copy_n(design.column(start).begin(), design.rows(), first.begin());
    index_t place = start;
    for (; columns[place] != start; place = columns[place]) {
      check(interrupt);
      gather(rows, design.column(columns[place]), design.column(place));
      is_done[static_cast<std::size_t>(columns[place])] = true;
    }
    gather(rows, first, design.column(place));
  }
}

// The observations by a sum over their entries, times their class. Its factors are cosines
// of integers, of which no rational combination is zero (Lindemann): by chance alone would
// two have the same sum, unless both entries and class are the same, or have other signs,
// which is the same to the losses.
index_vector order_rows(const_vector_view target, const canonical_problem& problem) {
  const const_matrix_view X = problem.design;
  scoped_allocator scratch;
  const vector_view factors = scratch.vector(X.cols());
  for (index_t place = 0; place < X.cols(); ++place)
    factors[problem.columns[place]] = std::cos(static_cast<double>(place + 1));
  const vector_view sums = scratch.vector(X.rows());
  sum_rows(X, target, factors, sums);
  return order_ascending(sums);
}

}  // namespace

canonical_problem make_canonical(dense_matrix&& design, index_t num_features,
                                 const_vector_view target, const regularizer& penalty,
                                 interruption* interrupt) {
  const index_t n = design.rows();
  const index_t p = design.cols();
  canonical_problem problem{std::move(design),
                            dense_vector{n},
                            nullptr,
                            dense_vector{p},
                            {},
                            index_vector(p),
                            {}};
  const matrix_view X = problem.design;
  scoped_allocator scratch;
  const vector_view lengths = scratch.vector(p);
  for (index_t j = 0; j < p; ++j) lengths[j] = norm(X.column(j));
  round_columns(lengths, {X.data(), n, num_features}, interrupt);
  check(interrupt);

  turn_and_order_columns(target, lengths, penalty.mapping(), problem);
  check(interrupt);
  problem.rows = order_rows(target, problem);
  reorder(X, problem.rows, problem.columns, interrupt);
  gather(problem.rows, target, problem.target);

  const index_vector groups = order_groups(penalty.mapping(), problem.columns);
  problem.penalty = penalty.reordered(problem.columns, groups);
  problem.hyperparameters = order_hyperparameters(penalty.num_hyperparameters(), groups);
  return problem;
}

}  // namespace corvane::model::linear_linked_regression_detail
