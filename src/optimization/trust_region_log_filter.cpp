// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_log_filter.h"

#include <utility>

#include "optimization/trust_region_forwarding.h"

namespace corvane {

namespace {

class log_step_searcher final : public forwarding_step_searcher {
 public:
  log_step_searcher(trust_region_step_searcher& inner,
                    std::vector<trust_region_iteration_record>& iterations)
      : forwarding_step_searcher{inner}, iterations_{&iterations} {}

  bool try_step(trust_region_step_searcher& self, second_order_objective& objective,
                subproblem_bounds& bounds, const trust_region_state& state,
                trust_region_step& attempt) override {
    // Appended before the attempt is made: if that throws, the record stays at zero.
    iterations_->back().attempts.emplace_back();
    const bool accepted =
        forwarding_step_searcher::try_step(self, objective, bounds, state, attempt);
    iterations_->back().attempts.back() = attempt;
    return accepted;
  }

 private:
  std::vector<trust_region_iteration_record>* iterations_;
};

class trust_region_log_filter_impl final
    : public forwarding_optimizer<trust_region_log_filter> {
 public:
  explicit trust_region_log_filter_impl(std::shared_ptr<trust_region_optimizer>&& inner)
      : forwarding_optimizer{std::move(inner)},
        step_searcher_{inner_step_searcher(), iterations_} {}

  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override {
    iterations_.push_back({state, {}});
    const bool converged = forwarding_optimizer::step(self, objective, state);
    if (converged) iterations_.push_back({state, {}});
    return converged;
  }

  trust_region_step_searcher& step_searcher() override { return step_searcher_; }
  std::vector<trust_region_iteration_record>& log() override { return iterations_; }
  void clear() override { iterations_.clear(); }

 private:
  std::vector<trust_region_iteration_record> iterations_;
  log_step_searcher step_searcher_;
};

}  // namespace

std::unique_ptr<trust_region_log_filter> make_trust_region_log_filter(
    std::shared_ptr<trust_region_optimizer> inner) {
  return std::make_unique<trust_region_log_filter_impl>(std::move(inner));
}

}  // namespace corvane
