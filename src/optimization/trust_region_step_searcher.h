// SPDX-License-Identifier: BSD-3-Clause
//
// The inner loop of one optimizer iteration: gets a step from the subproblem solver, tries
// it on the objective, and shrinks the radius until a step is accepted or the region has
// collapsed. Judges a step by actual / predicted change: J. Nocedal, S. Wright, Numerical
// Optimization, 2nd ed. (2006), algorithm 4.1.
#pragma once

#include "optimization/objective.h"
#include "optimization/trust_region_state.h"
#include "optimization/trust_region_subproblem.h"

namespace corvane {

// `self` is the outermost searcher, so that a decorator sees every inner call.
class trust_region_step_searcher {
 public:
  trust_region_step_searcher() = default;
  trust_region_step_searcher(const trust_region_step_searcher&) = delete;
  trust_region_step_searcher& operator=(const trust_region_step_searcher&) = delete;
  trust_region_step_searcher(trust_region_step_searcher&&) = delete;
  trust_region_step_searcher& operator=(trust_region_step_searcher&&) = delete;
  virtual ~trust_region_step_searcher() = default;

  // Fills `attempt` with an accepted step. Throws optimizer_trust_region_collapse_error
  // when there is none, and what `check` of the observer throws before an attempt.
  virtual void search(trust_region_step_searcher& self, second_order_objective& objective,
                      const trust_region_state& state, trust_region_step& attempt) = 0;
  // The radius of the next iteration, once a step was accepted.
  virtual double next_radius(const trust_region_state& state,
                             const trust_region_step& attempt) = 0;
  virtual corvane::subproblem_solver& subproblem_solver() = 0;
  // One attempt; true means accepted.
  virtual bool try_step(trust_region_step_searcher& self, second_order_objective& objective,
                        subproblem_bounds& bounds, const trust_region_state& state,
                        trust_region_step& attempt) = 0;
  // The radius of the next attempt, once a step was rejected.
  virtual double shrunk_radius(const trust_region_state& state,
                               const trust_region_step& attempt) = 0;
};

// Holds no state from one call to the next.
class trust_region_step_searcher_impl final : public trust_region_step_searcher {
 public:
  explicit trust_region_step_searcher_impl(const trust_region_optimizer_options& options);

  void search(trust_region_step_searcher& self, second_order_objective& objective,
              const trust_region_state& state, trust_region_step& attempt) override;
  double next_radius(const trust_region_state& state,
                     const trust_region_step& attempt) override;
  corvane::subproblem_solver& subproblem_solver() override { return subproblem_solver_; }
  bool try_step(trust_region_step_searcher& self, second_order_objective& objective,
                subproblem_bounds& bounds, const trust_region_state& state,
                trust_region_step& attempt) override;
  double shrunk_radius(const trust_region_state& state,
                       const trust_region_step& attempt) override;

 private:
  double accept_threshold_;
  double shrink_threshold_;
  double grow_threshold_;
  double shrink_factor_;
  double grow_factor_;
  run_observer* observer_;
  subproblem_solver_impl subproblem_solver_;
};

}  // namespace corvane
