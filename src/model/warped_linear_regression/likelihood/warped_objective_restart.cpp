// SPDX-License-Identifier: BSD-3-Clause
//
// Restarts from points with a degenerate step: one whose parameters do not change the
// objective.
#include <algorithm>
#include <cmath>

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/likelihood/random_draws.h"
#include "model/warped_linear_regression/likelihood/warped_objective.h"

namespace corvane::model::warped_linear_regression_detail {

namespace {

constexpr double degenerate_curvature = 2.220446049250313e-07;  // 10^9 * 2^-52

// A draw of new parameters at which the objective is undefined does not count as a restart.
// With an unlimited number of restarts the loop of optimizer and hooks might then not end:
// after so many failures in a row the objective behaves as if no restart were left.
constexpr int max_failed_redraws = 100;

// The arguments of adjust_point at its start, to be restored.
class saved_point {
 public:
  saved_point(scoped_allocator& scope, vector_view x, double& value, vector_view gradient,
              symmetric_view hessian)
      : x_{x},
        value_{&value},
        gradient_{gradient},
        hessian_{hessian},
        old_x_{scope.vector(x.size())},
        old_value_{value},
        old_gradient_{scope.vector(gradient.size())},
        old_hessian_{scope.symmetric(hessian.rows())} {
    std::copy(x.begin(), x.end(), old_x_.begin());
    std::copy(gradient.begin(), gradient.end(), old_gradient_.begin());
    copy_lower(hessian, old_hessian_);
  }

  void restore() const {
    std::copy(old_x_.begin(), old_x_.end(), x_.begin());
    *value_ = old_value_;
    std::copy(old_gradient_.begin(), old_gradient_.end(), gradient_.begin());
    copy_lower(old_hessian_, hessian_);
  }

 private:
  vector_view x_;
  double* value_;
  vector_view gradient_;
  symmetric_view hessian_;
  vector_view old_x_;
  double old_value_;
  vector_view old_gradient_;
  symmetric_view old_hessian_;
};

}  // namespace

bool objective::can_restart() const {
  return remaining_restarts_ != 0 && failed_redraws_ < max_failed_redraws;
}

bool objective::is_degenerate(const_symmetric_view hessian, index_t first) const {
  for (index_t j = first; j < first + descriptor_->num_parameters_per_step(); ++j)
    if (!(std::abs(hessian(j, j)) <= degenerate_curvature)) return false;
  return true;
}

bool objective::accept_convergence(const_vector_view /*x*/, double /*value*/,
                                   const_vector_view /*gradient*/,
                                   const_symmetric_view hessian) {
  if (!can_restart()) return true;
  const index_t block = descriptor_->num_parameters_per_step();
  for (index_t first = 0; first + block <= hessian.rows(); first += block)
    if (is_degenerate(hessian, first)) return false;
  return true;
}

bool objective::redraw_degenerate_steps(vector_view x, const_symmetric_view hessian) {
  normal_draws draws{generator_};
  const index_t block = descriptor_->num_parameters_per_step();
  bool any = false;
  for (index_t first = 0; first + block <= hessian.rows(); first += block) {
    if (!is_degenerate(hessian, first)) continue;
    for (double& parameter : x.part(first, block)) parameter = draws.next();
    any = true;
  }
  return any;
}

bool objective::adjust_point(vector_view x, double& value, vector_view gradient,
                             symmetric_view hessian) {
  if (!can_restart()) return false;
  scoped_allocator scope;
  const saved_point saved{scope, x, value, gradient, hessian};
  if (!redraw_degenerate_steps(x, hessian)) return false;
  if (!compute_value_gradient_hessian(x, value, gradient, hessian)) {
    saved.restore();
    ++failed_redraws_;
    return false;
  }
  failed_redraws_ = 0;
  --remaining_restarts_;
  return true;
}

}  // namespace corvane::model::warped_linear_regression_detail
