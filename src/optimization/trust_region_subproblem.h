// SPDX-License-Identifier: BSD-3-Clause
//
// The trust-region subproblem: a step p that approximately minimizes the quadratic model
//
//   m(p) = g'p + p'Hp / 2   subject to ||p|| <= r
//
// by a safeguarded Newton iteration on the multiplier lambda of (H + lambda I) p = -g,
// driven by Cholesky factorizations. J. Moré, D. Sorensen, "Computing a trust region step",
// SIAM J. Sci. Stat. Comput. 4 (1983), algorithm 3.14, with sigma_1 = 0.1 and sigma_2 = 0.
#pragma once

#include "n_array/n_array_view.h"
#include "optimization/subproblem_bounds.h"

namespace corvane {

class subproblem_solver {
 public:
  subproblem_solver() = default;
  subproblem_solver(const subproblem_solver&) = delete;
  subproblem_solver& operator=(const subproblem_solver&) = delete;
  subproblem_solver(subproblem_solver&&) = delete;
  subproblem_solver& operator=(subproblem_solver&&) = delete;
  virtual ~subproblem_solver() = default;

  // Refines `lambda` and `bounds` in place, writes the step, returns m(step): negative when
  // the model predicts a decrease. A NaN in g or H gives a zero step and a NaN.
  virtual double solve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
                       double radius, const_symmetric_view H, vector_view step) = 0;
  // The same after a rejected step, for a smaller radius.
  virtual double resolve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
                         double radius, const_symmetric_view H, vector_view step) = 0;
};

class subproblem_solver_impl final : public subproblem_solver {
 public:
  double solve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
               double radius, const_symmetric_view H, vector_view step) override;
  double resolve(subproblem_bounds& bounds, const_vector_view g, double& lambda,
                 double radius, const_symmetric_view H, vector_view step) override;
};

}  // namespace corvane
