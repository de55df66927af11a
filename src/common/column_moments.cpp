// SPDX-License-Identifier: BSD-3-Clause
#include "common/column_moments.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "common/compensated_sum.h"
#include "common/vector_dispatch.h"
#include "common/vector_register.h"

namespace corvane {

namespace {

// Sums go in lanes, which depend on each other only at the end: one sum after the other
// would wait for each addition. As many as the widest vector register has: so every
// processor adds in the same order.
constexpr int num_lanes = 8;
using lanes = vector_register<num_lanes>::lanes;
using lane_sums = std::array<double, num_lanes>;

index_t whole_lanes(const_vector_view values) {
  return values.size() - values.size() % num_lanes;
}

// The sum of term(x), which changes its argument: a lane or a number. The part that each
// addition loses, by D. E. Knuth, The Art of Computer Programming 2, 4.2.2, theorem B:
// without a look at which of the two is larger.
template <class Term>
double compensated_sum_in_lanes(const_vector_view values, Term term) {
  const index_t whole = whole_lanes(values);
  const double* const from = values.data();
  lane_sums sums;
  lane_sums corrections;
  run_vectorized([=, to_sums = sums.data(), to_corrections = corrections.data()](auto...) {
    lanes sum{};
    lanes correction{};
    for (index_t i = 0; i < whole; i += num_lanes) {
      lanes added_term;
      load_lanes(from + i, added_term);
      term(added_term);
      const lanes next = sum + added_term;
      const lanes added = next - sum;
      correction += (sum - (next - added)) + (added_term - added);
      sum = next;
    }
    store_lanes(sum, to_sums);
    store_lanes(correction, to_corrections);
  });
  compensated_sum total;
  for (const double sum : sums) total.add(sum);
  for (const double correction : corrections) total.add(correction);
  for (index_t i = whole; i < values.size(); ++i) {
    double last = from[i];
    term(last);
    total.add(last);
  }
  return total.total();
}

}  // namespace

double mean_of(const_vector_view values) {
  const double first = values[0];
  const bool constant = std::all_of(values.begin(), values.end(),
                                    [first](double value) { return value == first; });
  if (constant) return first;
  return compensated_sum_in_lanes(values, [](auto&) {}) /
         static_cast<double>(values.size());
}

double sum_squares_about(double center, const_vector_view values) {
  const index_t whole = whole_lanes(values);
  const double* const terms = values.data();
  lane_sums squares;
  run_vectorized([=, to_squares = squares.data()](auto...) {
    lanes sum{};
    for (index_t i = 0; i < whole; i += num_lanes) {
      lanes distance;
      load_lanes(terms + i, distance);
      distance -= center;
      sum += distance * distance;
    }
    store_lanes(sum, to_squares);
  });
  double total = std::accumulate(squares.begin(), squares.end(), 0.0);
  for (index_t i = whole; i < values.size(); ++i)
    total += (terms[i] - center) * (terms[i] - center);
  return total;
}

double compensated_squares_about(double center, const_vector_view values) {
  return compensated_sum_in_lanes(values, [center](auto& x) {
    x -= center;
    x *= x;
  });
}

}  // namespace corvane
