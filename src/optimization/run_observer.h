// SPDX-License-Identifier: BSD-3-Clause
//
// run_observer: sees each iteration of a run of the optimizer. Its `check` is called before
// each trial point, and may end the run there by an exception of its own.
#pragma once

#include "common/interruption.h"
#include "n_array/n_array_view.h"

namespace corvane {

// What is known after an iteration; iteration 0 is the start point.
struct iteration_record {
  int iteration;
  double value;
  double gradient_max;  // scaled by the Hessian's diagonal; NaN at the start point
  double radius;
  const_vector_view x;
};

class run_observer : public interruption {
 public:
  virtual void observe_iteration(const iteration_record& record) = 0;
};

}  // namespace corvane
