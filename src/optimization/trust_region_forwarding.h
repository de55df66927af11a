// SPDX-License-Identifier: BSD-3-Clause
//
// The part that the optimizer's decorators share: every call is forwarded with the same
// `self`, the outermost object, through which the inner ones make their own calls. A
// decorator overrides the calls that it records.
#pragma once

#include <memory>
#include <utility>

#include "optimization/trust_region_optimizer.h"
#include "optimization/trust_region_step_searcher.h"

namespace corvane {

class forwarding_step_searcher : public trust_region_step_searcher {
 public:
  explicit forwarding_step_searcher(trust_region_step_searcher& inner) : inner_{&inner} {}

  void search(trust_region_step_searcher& self, second_order_objective& objective,
              const trust_region_state& state, trust_region_step& attempt) override {
    inner_->search(self, objective, state, attempt);
  }
  double next_radius(const trust_region_state& state,
                     const trust_region_step& attempt) override {
    return inner_->next_radius(state, attempt);
  }
  corvane::subproblem_solver& subproblem_solver() override {
    return inner_->subproblem_solver();
  }
  bool try_step(trust_region_step_searcher& self, second_order_objective& objective,
                subproblem_bounds& bounds, const trust_region_state& state,
                trust_region_step& attempt) override {
    return inner_->try_step(self, objective, bounds, state, attempt);
  }
  double shrunk_radius(const trust_region_state& state,
                       const trust_region_step& attempt) override {
    return inner_->shrunk_radius(state, attempt);
  }

 private:
  trust_region_step_searcher* inner_;
};

// `Filter` is the decorator's interface, derived from trust_region_optimizer.
template <class Filter>
class forwarding_optimizer : public Filter {
 public:
  explicit forwarding_optimizer(std::shared_ptr<trust_region_optimizer>&& inner)
      : inner_{std::move(inner)} {}

  trust_region_result optimize(trust_region_optimizer& self,
                               second_order_objective& objective,
                               const_vector_view x0) override {
    return inner_->optimize(self, objective, x0);
  }
  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override {
    return inner_->step(self, objective, state);
  }

 protected:
  trust_region_step_searcher& inner_step_searcher() { return inner_->step_searcher(); }

 private:
  std::shared_ptr<trust_region_optimizer> inner_;
};

}  // namespace corvane
