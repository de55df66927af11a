// SPDX-License-Identifier: BSD-3-Clause
//
// trust_region_optimizer: minimizes an objective with exact gradient and Hessian. Each
// iteration rescales by the Hessian's diagonal, gets an accepted step from the step
// searcher and tests for convergence.
//
// J. Nocedal, S. Wright, Numerical Optimization, 2nd ed. (2006), algorithm 4.1;
// J. Moré, D. Sorensen, "Computing a trust region step", SIAM J. Sci. Stat. Comput. 4
// (1983).
#pragma once

#include <memory>

#include "optimization/objective.h"
#include "optimization/optimizer_error.h"
#include "optimization/trust_region_state.h"

namespace corvane {

class trust_region_step_searcher;

// Stateless between runs, so that one object serves many. `self` is the outermost
// optimizer: a decorator sees every iteration although the implementation runs the loop.
class trust_region_optimizer {
 public:
  trust_region_optimizer() = default;
  trust_region_optimizer(const trust_region_optimizer&) = delete;
  trust_region_optimizer& operator=(const trust_region_optimizer&) = delete;
  trust_region_optimizer(trust_region_optimizer&&) = delete;
  trust_region_optimizer& operator=(trust_region_optimizer&&) = delete;
  virtual ~trust_region_optimizer() = default;

  virtual trust_region_result optimize(trust_region_optimizer& self,
                                       second_order_objective& objective,
                                       const_vector_view x0) = 0;
  // One iteration; true means converged.
  virtual bool step(trust_region_optimizer& self, second_order_objective& objective,
                    trust_region_state& state) = 0;
  virtual trust_region_step_searcher& step_searcher() = 0;
};

std::unique_ptr<trust_region_optimizer> make_trust_region_optimizer(
    trust_region_optimizer_options options);

// Runs `optimizer` on `objective` from x0. Throws optimizer_undefined_error when the
// objective is undefined at x0; every later failure shows in `within_tolerance` alone, and
// the result still carries the best point.
trust_region_result optimize(trust_region_optimizer& optimizer,
                             second_order_objective& objective, const_vector_view x0);

}  // namespace corvane
