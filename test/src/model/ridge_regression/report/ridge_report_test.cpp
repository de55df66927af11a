// SPDX-License-Identifier: BSD-3-Clause
//
// The search of fit_ridge: where it begins, where it may end, and that it can be ended.
#include "model/ridge_regression/report/ridge_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "optimization/run_observer.h"
#include "src/model/ridge_regression/reference_ridge.h"

namespace corvane::model {

namespace {

using score = ridge_objective_mode;

// Counts the checks, and throws at one of them.
class counting_observer final : public run_observer {
 public:
  struct ended {};
  static constexpr long never = -1;

  explicit counting_observer(long end_at = never) : end_at_{end_at} {}

  void check() override {
    ++checks;
    if (checks == end_at_) throw ended{};
  }
  void observe_iteration(const iteration_record& record) override {
    if (starts.empty()) checks_before_first_iteration = checks;
    if (record.iteration == 0) starts.emplace_back(record.x.begin(), record.x.end());
  }

  long checks = 0;
  long checks_before_first_iteration = 0;
  std::vector<std::vector<double>> starts;  // the point of each iteration 0

 private:
  long end_at_;
};

index_vector codes(index_t count, index_t groups) {
  index_vector codes(count);
  for (index_t j = 0; j < count; ++j) codes[j] = j % groups;
  return codes;
}

// By the seed modulo 3 the target has little noise, much noise or is noise alone.
sample_data make_noisy_sample(index_t rows, index_t cols, unsigned seed) {
  sample_data data = make_sample(rows, cols, seed);
  std::mt19937 generator(seed + 1000);
  std::normal_distribution<double> normal;
  const double share = seed % 3 == 2 ? 0.0 : 1.0;
  const double noise = seed % 3 == 0 ? 1.0 : 5.0;
  for (double& value : data.y) value = share * value + noise * normal(generator);
  return data;
}

ridge_report fit(const sample_data& data, const ridge_request& request) {
  return fit_ridge(dense_matrix{data.X}, dense_vector{data.y}, request);
}

ridge_request make_request(score criterion, index_vector groups,
                           run_observer* observer = nullptr) {
  ridge_request request;
  request.criterion = criterion;
  request.groups = std::move(groups);
  request.observer = observer;
  return request;
}

sample_data with_reversed_columns(const sample_data& data) {
  const index_t p = data.X.cols();
  sample_data reversed = data;
  for (index_t j = 0; j < p; ++j)
    for (index_t i = 0; i < data.X.rows(); ++i) reversed.X(i, j) = data.X(i, p - 1 - j);
  return reversed;
}

bool coefficients_agree(const ridge_report& one, const ridge_report& reversed) {
  const index_t p = one.coef.size();
  double largest = 0.0;
  double difference = 0.0;
  for (index_t j = 0; j < p; ++j) {
    largest = std::max(largest, std::abs(one.coef[j]));
    difference = std::max(difference, std::abs(one.coef[j] - reversed.coef[p - 1 - j]));
  }
  return difference <= 1e-6 * largest;
}

}  // namespace

TEST(ridge_search, does_not_end_above_the_optimum_of_one_common_penalty) {
  struct shape {
    index_t rows;
    index_t cols;
  };
  for (const shape size : {shape{20, 6}, shape{40, 12}, shape{15, 20}})
    for (const score criterion : {score::loocv, score::gcv, score::range_risk})
      for (unsigned seed = 0; seed < 12; ++seed) {
        if (criterion == score::range_risk && size.rows <= size.cols) continue;
        const sample_data data = make_noisy_sample(size.rows, size.cols, seed);
        const double common =
            fit(data, make_request(criterion, codes(size.cols, 1))).criterion_value;
        for (const index_t groups : {index_t{2}, size.cols}) {
          const double found =
              fit(data, make_request(criterion, codes(size.cols, groups))).criterion_value;
          EXPECT_LE(found, common * (1.0 + 1e-9)) << size.rows << " " << seed;
        }
      }
}

// The gcv of several penalties depends on the order by its definition.
TEST(ridge_search, the_order_of_columns_does_not_move_where_it_ends) {
  for (const score criterion : {score::loocv, score::range_risk}) {
    int agreeing = 0;
    constexpr int sets = 40;
    for (unsigned seed = 0; seed < sets; ++seed) {
      const sample_data data = make_noisy_sample(30, 6, seed);
      ridge_request request = make_request(criterion, {});
      request.tolerance = 1e-8;
      if (coefficients_agree(fit(data, request), fit(with_reversed_columns(data), request)))
        ++agreeing;
    }
    EXPECT_GE(agreeing, sets * 95 / 100);
  }
}

TEST(ridge_search, a_given_start_is_where_the_only_run_begins) {
  counting_observer observer;
  ridge_request request = make_request(score::loocv, {}, &observer);
  request.normalize = false;
  request.start = dense_vector(3);
  for (index_t j = 0; j < 3; ++j) request.start[j] = 0.04 * static_cast<double>(j + 1);
  fit(make_sample(30, 3, 4), request);
  ASSERT_EQ(observer.starts.size(), 1U);
  for (index_t j = 0; j < 3; ++j)
    EXPECT_NEAR(observer.starts[0][static_cast<std::size_t>(j)],
                std::sqrt(request.start[j]), 1e-15);
}

TEST(ridge_search, begins_with_equal_roots_within_bounds_where_no_start_is_given) {
  for (unsigned seed = 0; seed < 6; ++seed) {
    counting_observer observer;
    fit(make_noisy_sample(30, 6, seed), make_request(score::loocv, {}, &observer));
    const std::vector<double>& start = observer.starts.at(0);
    ASSERT_EQ(start.size(), 6U);
    EXPECT_EQ(std::count(start.begin(), start.end(), start[0]), 6);
    EXPECT_GE(start[0], 0.1);
    EXPECT_LE(start[0], 1.0);
  }
}

class ridge_interruption : public ::testing::TestWithParam<score> {
 protected:
  static constexpr index_t rows = 40000;
  static constexpr index_t cols = 20;
  // Rows are read in blocks of this many numbers at most.
  static constexpr index_t numbers_of_block = 65536;

  const sample_data data_ = make_sample(rows, cols, 1);
};

TEST_P(ridge_interruption,
       is_asked_for_at_least_once_per_block_before_the_first_iteration) {
  for (const index_t groups : {index_t{1}, index_t{2}, cols}) {
    counting_observer observer;
    fit(data_, make_request(GetParam(), codes(cols, groups), &observer));
    EXPECT_GE(observer.checks_before_first_iteration, rows * (cols + 2) / numbers_of_block)
        << groups;
  }
}

TEST_P(ridge_interruption, ends_the_fit_at_any_check_before_the_first_iteration) {
  for (const index_t groups : {index_t{1}, cols}) {
    counting_observer whole;
    fit(data_, make_request(GetParam(), codes(cols, groups), &whole));
    const long last = whole.checks_before_first_iteration;
    for (const long end_at : {1L, last / 2, last}) {
      counting_observer observer{end_at};
      EXPECT_THROW(fit(data_, make_request(GetParam(), codes(cols, groups), &observer)),
                   counting_observer::ended);
      EXPECT_EQ(observer.checks, end_at);
      EXPECT_TRUE(observer.starts.empty());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(scores, ridge_interruption,
                         ::testing::Values(score::loocv, score::gcv, score::range_risk),
                         [](const auto& c) {
                           return c.param == score::loocv ? "loocv"
                                  : c.param == score::gcv ? "gcv"
                                                          : "range_risk";
                         });

}  // namespace corvane::model
