// SPDX-License-Identifier: BSD-3-Clause
//
// What makes an answer to a trust-region subproblem right, held against an eigenvalue
// decomposition:
//
//   1. the change that is told is g'p + p'Hp / 2, and ||p|| <= (1 + sigma) r;
//   2. it is at least (1 - sigma)^2 of the best change within r, with sigma = 0.1;
//   3. either (H + lambda I) p = -g with H + lambda I positive semidefinite, lambda >= 0,
//   and
//      lambda = 0 or p near the boundary; or p is a hard-case step, at the boundary.
//
// J. Moré, D. Sorensen, SIAM J. Sci. Stat. Comput. 4 (1983), lemmas 2.1, 3.4 and 3.13.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "support/symmetric_eigen.h"

namespace corvane::testing {

struct subproblem {
  std::vector<double> g;
  square_rows H;  // both triangles
  double radius = 1.0;
};

struct subproblem_answer {
  std::vector<double> step;
  double lambda = 0.0;
  double change = 0.0;
};

// m(p), by plain loops
double plain_change(const subproblem& problem, const std::vector<double>& step);

// The best change within the radius, from the secular equation.
double best_change(const subproblem& problem);

::testing::AssertionResult is_certified(const subproblem& problem,
                                        const subproblem_answer& answer);

// The solver's answer from bounds initialized for the problem, and lambda 0.
subproblem_answer solve_once(const subproblem& problem);

}  // namespace corvane::testing
