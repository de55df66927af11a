// SPDX-License-Identifier: BSD-3-Clause
#include "common/compensated_sum.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "common/vector_dispatch.h"
#include "common/vector_register.h"

namespace corvane {

namespace {

// Value i is added to the sum of lane i mod 8; the sums of the lanes are added at the end.
// The additions of different lanes are independent, so that they become vector
// instructions. The number of lanes is that of the widest vector register: every processor
// adds in the same order.
constexpr int num_lanes = 8;
using lanes = vector_register<num_lanes>::lanes;
using lane_sums = std::array<double, num_lanes>;

index_t whole_lanes(const_vector_view values) {
  return values.size() - values.size() % num_lanes;
}

// The sum of term(x); `term` replaces its argument, the lanes or a number. The rounding
// error of each addition by D. E. Knuth, The Art of Computer Programming 2, 4.2.2, theorem
// B, which needs no comparison of the two terms.
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

double compensated_total(const_vector_view values) {
  return compensated_sum_in_lanes(values, [](auto&) {});
}

double mean_of(const_vector_view values) {
  if (values.size() == 0) return 0.0;
  const double first = values[0];
  const bool constant = std::all_of(values.begin(), values.end(),
                                    [first](double value) { return value == first; });
  if (constant) return first;
  return compensated_total(values) / static_cast<double>(values.size());
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
