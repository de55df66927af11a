// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/grouping/cluster_weights.h"

#include <algorithm>
#include <memory_resource>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/finite.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

namespace {

using doubles = std::pmr::vector<double>;
using indices = std::pmr::vector<index_t>;

// u distinct values in ascending order, as prefix sums with a leading 0.
struct distinct_values {
  explicit distinct_values(std::pmr::memory_resource* memory)
      : sums(memory), counts(memory), rank(memory) {}

  index_t size() const { return static_cast<index_t>(sums.size()) - 1; }

  doubles sums;    // S_i: count times value over the first i distinct values
  doubles counts;  // W_i: their counts
  indices rank;    // of each original value among the distinct ones
};

distinct_values merge_equal(const_vector_view values, std::pmr::memory_resource* memory) {
  const auto n = static_cast<std::size_t>(values.size());
  std::pmr::vector<std::pair<double, index_t>> sorted(n, memory);
  for (index_t i = 0; i < values.size(); ++i)
    sorted[static_cast<std::size_t>(i)] = {values[i], i};
  std::sort(sorted.begin(), sorted.end());

  distinct_values distinct(memory);
  distinct.sums.reserve(n + 1);
  distinct.counts.reserve(n + 1);
  distinct.rank.resize(n);
  distinct.sums.push_back(0.0);
  distinct.counts.push_back(0.0);
  for (auto run = sorted.begin(); run != sorted.end();) {
    const double value = run->first;
    const auto end = std::find_if(
        run, sorted.end(), [value](const auto& entry) { return entry.first != value; });
    const auto count = static_cast<double>(end - run);
    for (; run != end; ++run)
      distinct.rank[static_cast<std::size_t>(run->second)] = distinct.size();
    distinct.sums.push_back(distinct.sums.back() + count * value);
    distinct.counts.push_back(distinct.counts.back() + count);
  }
  return distinct;
}

// The best cuts of the distinct values 0 to j, for every j, one cut more with every row. A
// cut at position i begins a segment with the distinct value i.
//
// The sum of squared deviations within a segment is its sum of squares less
// (sum)^2 / count, and the sums of squares add up to the same for every partition: the
// least deviation is the largest total of (sum)^2 / count.
class cut_table {
 public:
  cut_table(const distinct_values& distinct, std::pmr::memory_resource* memory)
      : distinct_{distinct},
        num_columns_{distinct.size()},
        best_(static_cast<std::size_t>(num_columns_), memory),
        previous_(best_, memory),
        positions_(memory) {
    for (index_t j = 0; j < num_columns_; ++j) at(best_, j) = score(0, j);
  }

  // The ascending positions of the `num_cuts` best cuts of all values.
  indices best_cuts(index_t num_cuts) {
    positions_.resize(static_cast<std::size_t>(num_cuts * num_columns_));
    for (index_t row = 1; row <= num_cuts; ++row) {
      best_.swap(previous_);
      fill(row, row, num_columns_ - 1, row, num_columns_ - 1);
    }
    indices cuts(static_cast<std::size_t>(num_cuts), positions_.get_allocator());
    index_t last = num_columns_ - 1;
    for (index_t row = num_cuts; row >= 1; --row) {
      cuts[static_cast<std::size_t>(row - 1)] = position(row, last);
      last = position(row, last) - 1;
    }
    return cuts;
  }

 private:
  static double& at(doubles& row, index_t j) { return row[static_cast<std::size_t>(j)]; }

  index_t& position(index_t row, index_t column) {
    return positions_[static_cast<std::size_t>((row - 1) * num_columns_ + column)];
  }

  // (S_(j+1) - S_i)^2 / (W_(j+1) - W_i), the segment from i to j inclusive
  double score(index_t i, index_t j) const {
    const auto begin = static_cast<std::size_t>(i);
    const auto end = static_cast<std::size_t>(j) + 1;
    const double sum = distinct_.sums[end] - distinct_.sums[begin];
    return sum * sum / (distinct_.counts[end] - distinct_.counts[begin]);
  }

  // Row by divide and conquer: the position of the last cut rises with the column, so that
  // the middle column's position bounds those of both halves. The lowest position wins a
  // tie.
  void fill(index_t row, index_t first, index_t last, index_t lowest, index_t highest) {
    if (first > last) return;
    const index_t middle = first + (last - first) / 2;
    index_t winner = lowest;
    double winning = at(previous_, lowest - 1) + score(lowest, middle);
    for (index_t cut = lowest + 1; cut <= std::min(highest, middle); ++cut) {
      const double total = at(previous_, cut - 1) + score(cut, middle);
      if (total > winning) {
        winning = total;
        winner = cut;
      }
    }
    at(best_, middle) = winning;
    position(row, middle) = winner;
    fill(row, first, middle - 1, lowest, winner);
    fill(row, middle + 1, last, winner, highest);
  }

  const distinct_values& distinct_;
  index_t num_columns_;
  doubles best_;      // totals of the row at hand, by column
  doubles previous_;  // those with one cut less
  indices positions_;
};

}  // namespace

index_vector cluster_weights(const_vector_view values, index_t k) {
  if (k < 1) throw std::invalid_argument("the number of clusters must be at least 1");
  if (!all_finite(values))
    throw std::invalid_argument("a value to be clustered is not finite");
  index_vector groups(values.size());
  std::fill(groups.begin(), groups.end(), 0);

  scoped_allocator scope;
  const distinct_values distinct = merge_equal(values, &scope);
  const index_t num_clusters = std::min(distinct.size(), k);
  if (num_clusters <= 1) return groups;

  const indices cuts = cut_table(distinct, &scope).best_cuts(num_clusters - 1);
  std::transform(distinct.rank.begin(), distinct.rank.end(), groups.begin(),
                 [&cuts](index_t rank) {
                   return std::upper_bound(cuts.begin(), cuts.end(), rank) - cuts.begin();
                 });
  return groups;
}

}  // namespace corvane::model::ridge_regression_detail
