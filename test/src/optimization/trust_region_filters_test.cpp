// SPDX-License-Identifier: BSD-3-Clause
//
// The statistics filter and the log filter, alone and one over the other.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "formula_objective.h"
#include "optimization/trust_region_log_filter.h"
#include "optimization/trust_region_stats_filter.h"

namespace corvane::testing {

namespace {

using numbers = formula_objective::numbers;

trust_region_result run(trust_region_optimizer& optimizer,
                        second_order_objective& objective, const std::vector<double>& x0) {
  return optimize(optimizer, objective, {x0.data(), static_cast<index_t>(x0.size())});
}

second_order_number rosenbrock(const numbers& x) {
  return 100.0 * square(x[1] - square(x[0])) + square(1.0 - x[0]);
}

// Gradient (3, -4) at the origin.
second_order_number bowl(const numbers& x) {
  return 3.0 * x[0] - 4.0 * x[1] + square(x[0]) + square(x[1]);
}

bool same(const trust_region_result& a, const trust_region_result& b) {
  return a.within_tolerance == b.within_tolerance && a.value == b.value &&
         a.value_change == b.value_change && a.gradient_max == b.gradient_max &&
         std::equal(a.x.begin(), a.x.end(), b.x.begin(), b.x.end());
}

TEST(filters, do_not_change_the_result) {
  formula_objective objective{rosenbrock};
  const auto bare = make_trust_region_optimizer({});
  const auto stats = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  const auto log = make_trust_region_log_filter(make_trust_region_optimizer({}));
  const trust_region_result expected = run(*bare, objective, {-1.2, 1.0});
  EXPECT_TRUE(expected.within_tolerance);
  EXPECT_TRUE(same(run(*stats, objective, {-1.2, 1.0}), expected));
  EXPECT_TRUE(same(run(*log, objective, {-1.2, 1.0}), expected));
}

TEST(stats_filter, of_a_run_of_one_iteration_has_two_values_and_one_step) {
  formula_objective objective{bowl};
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  run(*filter, objective, {-1.5, 2.0});  // the minimum
  const trust_region_stats& stats = filter->stats();
  EXPECT_EQ(stats.iterations, 1);
  EXPECT_EQ(stats.values.size(), 2U);
  EXPECT_EQ(stats.gradient_norms.size(), 2U);
  EXPECT_EQ(stats.radii.size(), 2U);
  EXPECT_EQ(stats.lambdas.size(), 2U);
  EXPECT_EQ(stats.step_norms, (std::vector<double>{0.0}));
  EXPECT_EQ(stats.attempts, (std::vector<std::int32_t>{0, 1}));
  EXPECT_EQ(stats.total_attempts, 1);
}

TEST(stats_filter, takes_the_root_of_the_norm_and_the_peak_of_the_gradient) {
  formula_objective objective{bowl};
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  run(*filter, objective, {0.0, 0.0});
  EXPECT_EQ(filter->stats().gradient_norms.front(), std::sqrt(5.0));
  EXPECT_EQ(filter->stats().gradient_peaks.front(), (magnitude_peak{1, 4.0}));
  EXPECT_EQ(filter->stats().radii.front(), 0.001);
}

TEST(stats_filter, takes_the_root_of_the_norm_and_the_peak_of_each_step) {
  formula_objective objective{rosenbrock};
  const auto stats = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  const std::shared_ptr<trust_region_optimizer> inner = make_trust_region_optimizer({});
  const auto log = make_trust_region_log_filter(inner);
  run(*stats, objective, {-1.2, 1.0});
  run(*log, objective, {-1.2, 1.0});
  ASSERT_EQ(stats->stats().step_norms.size() + 1, log->log().size());
  for (std::size_t k = 0; k + 1 < log->log().size(); ++k) {
    const dense_vector& from = log->log()[k].state.x;
    const dense_vector& to = log->log()[k + 1].state.x;
    const double first = std::abs(to[0] - from[0]);
    const double second = std::abs(to[1] - from[1]);
    EXPECT_NEAR(stats->stats().step_norms[k], std::sqrt(std::hypot(first, second)), 1e-15);
    EXPECT_EQ(stats->stats().step_peaks[k],
              second > first ? (magnitude_peak{1, second}) : (magnitude_peak{0, first}));
  }
}

TEST(stats_filter, gives_the_first_index_of_two_equal_magnitudes) {
  formula_objective objective{[](const numbers& x) {
    return 2.0 * x[0] - 2.0 * x[1] + square(x[0]) + square(x[1]);
  }};
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  run(*filter, objective, {0.0, 0.0});
  EXPECT_EQ(filter->stats().gradient_peaks.front(), (magnitude_peak{0, 2.0}));
}

TEST(stats_filter, has_a_value_and_no_step_for_an_iteration_that_collapsed) {
  formula_objective objective{bowl};
  objective.is_defined = [first = true](const_vector_view) mutable {
    return std::exchange(first, false);
  };
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  EXPECT_FALSE(run(*filter, objective, {0.0, 0.0}).within_tolerance);
  EXPECT_EQ(filter->stats().iterations, 1);
  EXPECT_EQ(filter->stats().values.size(), 1U);
  EXPECT_TRUE(filter->stats().step_norms.empty());
  EXPECT_TRUE(filter->stats().step_peaks.empty());
}

TEST(stats_filter, accumulates_until_it_is_cleared) {
  formula_objective objective{bowl};
  const auto filter = make_trust_region_stats_filter(make_trust_region_optimizer({}));
  run(*filter, objective, {-1.5, 2.0});
  run(*filter, objective, {-1.5, 2.0});
  EXPECT_EQ(filter->stats().iterations, 2);
  EXPECT_EQ(filter->stats().values.size(), 4U);
  filter->clear();
  EXPECT_EQ(filter->stats().iterations, 0);
  EXPECT_EQ(filter->stats().total_attempts, 0);
  EXPECT_TRUE(filter->stats().values.empty());
}

TEST(log_filter, keeps_each_iteration_and_the_solution) {
  formula_objective objective{rosenbrock};
  const auto filter = make_trust_region_log_filter(make_trust_region_optimizer({}));
  const trust_region_result result = run(*filter, objective, {-1.2, 1.0});
  const auto& log = filter->log();
  EXPECT_EQ(log.front().state.x[0], -1.2);
  EXPECT_TRUE(std::isnan(log.front().state.value_change));
  EXPECT_EQ(log.back().state.x[0], result.x[0]);
  EXPECT_EQ(log.back().state.value, result.value);
  EXPECT_TRUE(log.back().attempts.empty());
  for (std::size_t k = 0; k + 1 < log.size(); ++k) {
    ASSERT_FALSE(log[k].attempts.empty());
    // The last attempt was accepted, those before it were not.
    for (std::size_t a = 0; a < log[k].attempts.size(); ++a) {
      EXPECT_EQ(log[k].attempts[a].attempts, static_cast<std::int32_t>(a) + 1);
      EXPECT_EQ(log[k].attempts[a].ratio > 0.0, a + 1 == log[k].attempts.size());
    }
    EXPECT_EQ(log[k].attempts.back().value, log[k + 1].state.value);
  }
  filter->clear();
  EXPECT_TRUE(filter->log().empty());
}

TEST(log_filter, leaves_an_attempt_that_threw_at_zero) {
  formula_objective objective{bowl};
  objective.is_defined = [first = true](const_vector_view) mutable {
    return std::exchange(first, false);
  };
  const auto filter = make_trust_region_log_filter(make_trust_region_optimizer({}));
  run(*filter, objective, {0.0, 0.0});
  ASSERT_EQ(filter->log().size(), 1U);
  const std::vector<trust_region_step>& attempts = filter->log().front().attempts;
  ASSERT_GT(attempts.size(), 1U);
  EXPECT_NE(attempts.front().predicted, 0.0);
  EXPECT_EQ(attempts.back().attempts, 0);
  EXPECT_EQ(attempts.back().predicted, 0.0);
}

TEST(log_filter, over_a_statistics_filter_records_every_attempt_in_both) {
  formula_objective objective{rosenbrock};
  const std::shared_ptr<trust_region_stats_filter> stats =
      make_trust_region_stats_filter(make_trust_region_optimizer({}));
  const auto log = make_trust_region_log_filter(stats);
  run(*log, objective, {-1.2, 1.0});
  std::size_t logged = 0;
  for (const trust_region_iteration_record& record : log->log())
    logged += record.attempts.size();
  EXPECT_GT(logged, log->log().size());
  EXPECT_EQ(stats->stats().total_attempts, static_cast<std::int32_t>(logged));
  EXPECT_EQ(stats->stats().values.size(), log->log().size());
}

}  // namespace
}  // namespace corvane::testing
