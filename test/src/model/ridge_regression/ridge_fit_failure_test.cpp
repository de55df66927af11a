// SPDX-License-Identifier: BSD-3-Clause
//
// How a fit that fails ends: an error of the optimizer reaches the caller as it is,
// and a solution without weights, which breaks an invariant, ends the process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "optimization/trust_region_forwarding.h"
#include "src/model/ridge_regression/fitted_ridge_check.h"

namespace corvane::model {

namespace {

using score = ridge_objective_mode;
using grouping = ridge_grouping_mode;

// Ends each run at 0, where no ridge score is defined.
class optimizer_that_ends_at_zero final
    : public forwarding_optimizer<trust_region_optimizer> {
 public:
  optimizer_that_ends_at_zero() : forwarding_optimizer{make_trust_region_optimizer({})} {}

  trust_region_step_searcher& step_searcher() override { return inner_step_searcher(); }
  trust_region_result optimize(trust_region_optimizer& self,
                               second_order_objective& objective,
                               const_vector_view x0) override {
    trust_region_result result = forwarding_optimizer::optimize(self, objective, x0);
    std::fill(result.x.begin(), result.x.end(), 0.0);
    return result;
  }
};

// A constant feature normalizes to a column of zeros, which has no weight without a
// penalty.
sample_data sample_with_a_constant() {
  sample_data data = make_sample(20, 3, 2);
  for (index_t i = 0; i < 20; ++i) data.X(i, 1) = 1.0;
  return data;
}

ridge_regression_model fit_to_zero(score score_mode, grouping grouping_mode,
                                   const std::vector<index_t>& groups) {
  auto options = make_options(score_mode, grouping_mode);
  options.optimizer = std::make_unique<optimizer_that_ends_at_zero>();
  return fit_ridge(std::move(options), sample_with_a_constant(), groups);
}

constexpr auto panic_text =
    "^src/model/ridge_regression/ridge_regression_model_descriptor:60 panic: "
    "failed to fit weight vector$";
// What std::terminate adds is the library's.
constexpr auto termination_text = "^failed to fit weight vector\n";

TEST(ridge_fit_failure, a_solution_without_weights_panics_without_groups) {
  const auto aborts = ::testing::KilledBySignal(SIGABRT);
  for (const score score_mode : {score::loocv, score::gcv})
    EXPECT_EXIT(fit_to_zero(score_mode, grouping::none, {}), aborts, panic_text);
}

TEST(ridge_fit_failure, a_solution_without_weights_terminates_where_penalties_are_grouped) {
  const auto aborts = ::testing::KilledBySignal(SIGABRT);
  for (const score score_mode : {score::loocv, score::gcv}) {
    EXPECT_EXIT(fit_to_zero(score_mode, grouping::none, {0, 1, 1}), aborts,
                termination_text);
    EXPECT_EXIT(fit_to_zero(score_mode, grouping::all, {}), aborts, termination_text);
  }
}

TEST(ridge_fit_failure, a_first_stage_without_weights_terminates_as_the_second_does) {
  auto options = make_options(score::loocv, grouping::none);
  options.optimizer = std::make_unique<optimizer_that_ends_at_zero>();
  const ridge_regression_model_descriptor descriptor(std::move(options));
  const sample_data data = sample_with_a_constant();
  EXPECT_EXIT(descriptor.fit_with_num_groups(data.y, data.X, 2),
              ::testing::KilledBySignal(SIGABRT), termination_text);
}

TEST(ridge_fit_failure, an_error_of_the_optimizer_passes_through_as_its_own_exception) {
  const sample_data data = sample_with_a_constant();
  for (const score score_mode : {score::loocv, score::gcv})
    for (const grouping grouping_mode : {grouping::none, grouping::all}) {
      auto options = make_options(score_mode, grouping_mode);
      options.initializer = [](vector_view start) {
        std::fill(start.begin(), start.end(), 0.0);
      };
      const ridge_regression_model_descriptor descriptor(std::move(options));
      EXPECT_THROW(descriptor.fit(data.y, data.X, {}), optimizer_undefined_error);
      EXPECT_THROW(descriptor.fit_with_num_groups(data.y, data.X, 2),
                   optimizer_undefined_error);
    }
}

// Squares of 1e-158 and of 1e152 are doubles still; the quotient of the two is not.
TEST(ridge_fit_failure, weights_beyond_the_range_of_doubles_are_an_error) {
  sample_data data = make_sample(20, 3, 2);
  for (double& entry : data.X) entry *= 1e-158;
  for (double& entry : data.y) entry *= 1e152;
  for (const score score_mode : all_scores)
    for (const grouping grouping_mode : {grouping::none, grouping::all})
      EXPECT_THAT([&] { fit_ridge(make_options(score_mode, grouping_mode), data); },
                  ::testing::ThrowsMessage<std::overflow_error>(
                      "the weights are beyond the range of doubles"));
}

}  // namespace

}  // namespace corvane::model
