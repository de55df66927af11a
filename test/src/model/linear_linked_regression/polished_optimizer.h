// SPDX-License-Identifier: BSD-3-Clause
//
// An optimizer that solves to rounding. A trust-region run ends where the value no longer
// falls, and there the gradient is only as small as the root of the rounding of the value;
// a few steps of Newton's method on the gradient take the rest.
#pragma once

#include <memory>

#include "common/linear_algebra.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane {

class polished_optimizer final : public trust_region_optimizer {
 public:
  trust_region_result optimize(trust_region_optimizer& /*self*/,
                               second_order_objective& objective,
                               const_vector_view x0) override {
    trust_region_result result = corvane::optimize(*inner_, objective, x0);
    for (int k = 0; k < num_newton_steps; ++k) {
      symmetric_matrix factor{result.hessian.view()};
      if (potrf(factor) != 0) break;
      dense_vector step{result.gradient.view()};
      trsv(triangle::lower, plain, factor, step);
      trsv(triangle::lower, transposed, factor, step);
      for (index_t i = 0; i < step.size(); ++i) result.x[i] -= step[i];
      objective.compute_gradient_hessian(result.x, result.gradient, result.hessian);
    }
    return result;
  }
  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override {
    return inner_->step(self, objective, state);
  }
  trust_region_step_searcher& step_searcher() override { return inner_->step_searcher(); }

 private:
  static constexpr int num_newton_steps = 3;

  static std::unique_ptr<trust_region_optimizer> tight() {
    trust_region_optimizer_options options;
    options.tolerance = 1e-12;
    options.tolerance2 = 1e-7;
    return make_trust_region_optimizer(options);
  }

  std::unique_ptr<trust_region_optimizer> inner_ = tight();
};

}  // namespace corvane
