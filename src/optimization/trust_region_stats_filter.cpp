// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_stats_filter.h"

#include <algorithm>
#include <cmath>

#include "common/linear_algebra.h"
#include "optimization/trust_region_forwarding.h"

namespace corvane {

namespace {

magnitude_peak find_peak(const_vector_view values) {
  const double* peak =
      std::max_element(values.begin(), values.end(),
                       [](double a, double b) { return std::abs(a) < std::abs(b); });
  if (peak == values.end()) return {0, 0.0};
  return {peak - values.begin(), std::abs(*peak)};
}

class stats_step_searcher final : public forwarding_step_searcher {
 public:
  using forwarding_step_searcher::forwarding_step_searcher;

  bool try_step(trust_region_step_searcher& self, second_order_objective& objective,
                subproblem_bounds& bounds, const trust_region_state& state,
                trust_region_step& attempt) override {
    ++attempts_;
    return forwarding_step_searcher::try_step(self, objective, bounds, state, attempt);
  }

  // The attempts since the last call.
  std::int32_t take_attempts() { return std::exchange(attempts_, 0); }

 private:
  std::int32_t attempts_ = 0;
};

class trust_region_stats_filter_impl final
    : public forwarding_optimizer<trust_region_stats_filter> {
 public:
  explicit trust_region_stats_filter_impl(std::shared_ptr<trust_region_optimizer>&& inner)
      : forwarding_optimizer{std::move(inner)}, step_searcher_{inner_step_searcher()} {}

  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override {
    ++stats_.iterations;
    record_point(state);
    // x before the step, and then dx. When the step throws, the series of points alone
    // grow.
    dense_vector change{state.x};
    const bool converged = forwarding_optimizer::step(self, objective, state);
    for (index_t i = 0; i < change.size(); ++i) change[i] = state.x[i] - change[i];
    stats_.step_norms.push_back(std::sqrt(norm(change)));
    stats_.step_peaks.push_back(find_peak(change));
    if (converged) record_point(state);
    return converged;
  }

  trust_region_step_searcher& step_searcher() override { return step_searcher_; }
  trust_region_stats& stats() override { return stats_; }
  void clear() override { stats_ = {}; }

 private:
  void record_point(const trust_region_state& state) {
    const std::int32_t attempts = step_searcher_.take_attempts();
    stats_.total_attempts += attempts;
    stats_.attempts.push_back(attempts);
    stats_.values.push_back(state.value);
    stats_.gradient_norms.push_back(std::sqrt(norm(state.gradient)));
    stats_.gradient_peaks.push_back(find_peak(state.gradient));
    stats_.radii.push_back(state.radius);
    stats_.lambdas.push_back(state.lambda);
  }

  stats_step_searcher step_searcher_;
  trust_region_stats stats_;
};

}  // namespace

std::unique_ptr<trust_region_stats_filter> make_trust_region_stats_filter(
    std::shared_ptr<trust_region_optimizer> inner) {
  return std::make_unique<trust_region_stats_filter_impl>(std::move(inner));
}

}  // namespace corvane
