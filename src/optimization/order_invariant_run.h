// SPDX-License-Identifier: BSD-3-Clause
//
// A run whose end does not hang on the order in which the variables are numbered.
//
// The subproblem solver walks the variables in turn: the first failing pivot of a Cholesky
// factorization bounds the multiplier, and the signs of the probe for a null vector are
// chosen one after the other. Of several minima, another numbering can thus reach another
// one. Here the variables are numbered by what they are: by how steep the objective is
// along them at the start point.
#pragma once

#include "optimization/trust_region_optimizer.h"

namespace corvane {

// As `optimize`; of point and derivatives, the result is in the caller's order. Variables
// of equal slope keep the order that they have. An optimizer that keeps a log sees the
// order of the run; an observer that the optimizer was made with is told of it here.
trust_region_result optimize_order_invariantly(trust_region_optimizer& optimizer,
                                               second_order_objective& objective,
                                               const_vector_view x0,
                                               run_observer* observer = nullptr);

}  // namespace corvane
