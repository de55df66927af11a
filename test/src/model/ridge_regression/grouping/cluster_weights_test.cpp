// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/grouping/cluster_weights.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

namespace corvane::model::ridge_regression_detail {

namespace {

using groups_type = std::vector<index_t>;

groups_type cluster(const std::vector<double>& values, index_t k) {
  const index_vector groups =
      cluster_weights({values.data(), static_cast<index_t>(values.size())}, k);
  return {groups.begin(), groups.end()};
}

// The sum of squared deviations from the means of the groups, from the definition.
long double deviation(const std::vector<double>& values, const groups_type& groups) {
  long double total = 0.0L;
  for (const index_t group : std::set<index_t>(groups.begin(), groups.end())) {
    long double sum = 0.0L;
    long double count = 0.0L;
    for (std::size_t i = 0; i < values.size(); ++i)
      if (groups[i] == group) {
        sum += static_cast<long double>(values[i]);
        count += 1.0L;
      }
    for (std::size_t i = 0; i < values.size(); ++i)
      if (groups[i] == group) {
        const long double difference = static_cast<long double>(values[i]) - sum / count;
        total += difference * difference;
      }
  }
  return total;
}

// Over all partitions of the entries from `first` on, whose predecessors are in `in_use`
// groups: the entry joins one of these, or opens the next one.
long double least_deviation_from(std::size_t first, index_t in_use, index_t k,
                                 const std::vector<double>& values, groups_type& groups) {
  if (first == values.size()) return deviation(values, groups);
  long double least = std::numeric_limits<long double>::infinity();
  for (index_t group = 0; group <= std::min(in_use, k - 1); ++group) {
    groups[first] = group;
    least = std::min(least, least_deviation_from(first + 1, std::max(in_use, group + 1), k,
                                                 values, groups));
  }
  return least;
}

// Over all partitions into at most k sets, intervals or not.
long double least_deviation(const std::vector<double>& values, index_t k) {
  groups_type groups(values.size());
  return least_deviation_from(0, 0, k, values, groups);
}

// The recurrence least[c][j] = min over i of least[c - 1][i - 1] + deviation(i..j), in
// full.
long double least_deviation_by_recurrence(std::vector<double> values, index_t k) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  std::vector<long double> least{0.0L};
  least.resize(n + 1, std::numeric_limits<long double>::infinity());
  for (index_t c = 0; c < k; ++c) {
    std::vector<long double> next(n + 1, std::numeric_limits<long double>::infinity());
    for (std::size_t j = 1; j <= n; ++j) {
      long double mean = 0.0L;  // of the entries i to j - 1, by Welford's updates
      long double squares = 0.0L;
      for (std::size_t i = j; i-- > 0;) {
        const auto value = static_cast<long double>(values[i]);
        const long double difference = value - mean;
        mean += difference / static_cast<long double>(j - i);
        squares += difference * (value - mean);
        next[j] = std::min(next[j], least[i] + squares);
      }
    }
    least = next;
  }
  return least[n];
}

// What every answer must have, whatever the deviation.
void expect_well_formed(const std::vector<double>& values, index_t k,
                        const groups_type& groups) {
  ASSERT_EQ(groups.size(), values.size());
  const std::set<double> distinct(values.begin(), values.end());
  const std::set<index_t> used(groups.begin(), groups.end());
  const index_t expected = std::min(static_cast<index_t>(distinct.size()), k);
  EXPECT_EQ(static_cast<index_t>(used.size()), expected);
  EXPECT_EQ(*used.begin(), 0);
  EXPECT_EQ(*used.rbegin(), expected - 1);
  for (std::size_t a = 0; a < values.size(); ++a)
    for (std::size_t b = 0; b < values.size(); ++b) {
      if (values[a] == values[b]) {
        EXPECT_EQ(groups[a], groups[b]);
      }
      if (values[a] < values[b]) {
        EXPECT_LE(groups[a], groups[b]);
      }
    }
}

void expect_best(const std::vector<double>& values) {
  for (index_t k = 1; k <= static_cast<index_t>(values.size()) + 1; ++k) {
    SCOPED_TRACE(k);
    const groups_type groups = cluster(values, k);
    expect_well_formed(values, k, groups);
    EXPECT_NEAR(double(deviation(values, groups)), double(least_deviation(values, k)),
                1e-12 * (1.0 + double(least_deviation(values, 1))));
  }
}

TEST(cluster_weights, no_partition_of_few_values_is_better) {
  std::mt19937 generator(5);
  std::exponential_distribution<double> exponential;
  for (std::size_t n = 1; n <= 7; ++n)
    for (int repeat = 0; repeat < 12; ++repeat) {
      std::vector<double> values(n);
      for (double& value : values) value = exponential(generator);
      expect_best(values);
    }
}

TEST(cluster_weights, no_partition_of_few_values_with_ties_is_better) {
  std::mt19937 generator(6);
  std::uniform_int_distribution<int> digit(0, 4);
  for (int repeat = 0; repeat < 60; ++repeat) {
    std::vector<double> values(7);
    for (double& value : values) value = digit(generator);
    expect_best(values);
  }
}

TEST(cluster_weights, no_partition_of_values_of_very_different_size_is_better) {
  std::mt19937 generator(7);
  std::normal_distribution<double> exponent(0.0, 2.0);
  for (int repeat = 0; repeat < 20; ++repeat) {
    std::vector<double> values(6);
    for (double& value : values) value = std::exp(exponent(generator));
    expect_best(values);
  }
}

TEST(cluster_weights, many_values_reach_the_least_of_the_full_recurrence) {
  std::mt19937 generator(8);
  std::normal_distribution<double> normal;
  for (const std::size_t n : {97U, 400U}) {
    std::vector<double> values(n);
    for (double& value : values) value = std::pow(normal(generator), 2);
    for (std::size_t i = 0; i < n / 5; ++i) values[i] = values[n - 1 - i];
    for (const index_t k : {2, 3, 7, 30}) {
      const groups_type groups = cluster(values, k);
      expect_well_formed(values, k, groups);
      const auto least = double(least_deviation_by_recurrence(values, k));
      EXPECT_NEAR(double(deviation(values, groups)) / least, 1.0, 1e-9) << n << " by " << k;
    }
  }
}

TEST(cluster_weights, all_equal_values_give_one_group_whatever_k_is) {
  for (index_t k = 1; k <= 6; ++k)
    EXPECT_EQ(cluster({0.3, 0.3, 0.3, 0.3}, k), (groups_type{0, 0, 0, 0}));
}

TEST(cluster_weights, equal_values_share_a_group) {
  EXPECT_EQ(cluster({2.0, 1.0, 2.0, 3.0, 1.0}, 4), (groups_type{1, 0, 1, 2, 0}));
  EXPECT_EQ(cluster({9.0, 0.0, 9.0, -0.0}, 4), (groups_type{1, 0, 1, 0}));
}

TEST(cluster_weights, group_numbers_rise_with_the_values) {
  EXPECT_EQ(cluster({10.1, 0.1, 5.2, 0.2, 10.0, 5.1}, 3), (groups_type{2, 0, 1, 0, 2, 1}));
}

TEST(cluster_weights, of_equal_partitions_that_of_the_lowest_cut_is_chosen) {
  EXPECT_EQ(cluster({0.0, 1.0, 2.0}, 2), (groups_type{0, 1, 1}));
}

TEST(cluster_weights, no_values_give_no_groups) { EXPECT_TRUE(cluster({}, 3).empty()); }

TEST(cluster_weights, rejects_values_that_are_not_finite_and_no_clusters) {
  EXPECT_THROW(cluster({1.0, 2.0}, 0), std::invalid_argument);
  EXPECT_THROW(cluster({1.0, std::numeric_limits<double>::quiet_NaN()}, 2),
               std::invalid_argument);
  EXPECT_THROW(cluster({std::numeric_limits<double>::infinity(), 2.0}, 2),
               std::invalid_argument);
}

}  // namespace

}  // namespace corvane::model::ridge_regression_detail
