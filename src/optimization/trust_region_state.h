// SPDX-License-Identifier: BSD-3-Clause
//
// The records of a trust-region run: the options it is made with, what it knows while it
// runs, the attempt at hand, and what it returns.
#pragma once

#include <cstdint>
#include <limits>

#include "common/finite.h"
#include "n_array/n_array.h"
#include "optimization/run_end.h"
#include "optimization/run_observer.h"

namespace corvane {

struct trust_region_optimizer_options {
  double tolerance = 0.0001;  // limit on the relative change of the value
  double tolerance2 = 0.0;    // limit on the scaled gradient; 0 means tolerance^(1/3)
  double accept_threshold = 0.0;
  double shrink_threshold = 0.25;
  double grow_threshold = 0.75;
  double shrink_factor = 0.25;
  double grow_factor = 2.0;
  bool scale_variables = true;            // rescale by the Hessian's diagonal
  double hessian_floor = double_epsilon;  // smallest diagonal magnitude that counts
  // Fits that meet their tolerance take tens of iterations, and a few hundred at most.
  int max_iterations = 1000;
  run_observer* observer = nullptr;  // not owned; checked at each trial point
};

// All that one run knows. The views lie in the scratch memory of the run.
struct trust_region_state {
  double lambda = 0.0;  // the multiplier of the last accepted step
  double radius = 0.0;
  dense_vector x;
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
  vector_view scale;
  vector_view scaled_gradient;
  symmetric_view scaled_hessian;
  // The two measures of the last stopping test.
  double value_change = std::numeric_limits<double>::quiet_NaN();
  double gradient_max = std::numeric_limits<double>::quiet_NaN();
  int num_iterations = 0;   // committed so far
  int num_evaluations = 0;  // of the value, so far
};

// One attempt within an iteration. The views lie in the scratch memory of the iteration.
struct trust_region_step {
  std::int32_t attempts = 0;  // subproblems solved so far in this iteration
  vector_view x_new;
  vector_view step;        // in scaled coordinates
  double step_norm = 0.0;  // Euclidean
  double radius = 0.0;
  double lambda = 0.0;
  double value = 0.0;      // of the objective at x_new
  double predicted = 0.0;  // change of the model, negative for a decrease
  double actual = 0.0;     // change of the objective, negative for a decrease
  double ratio = 0.0;      // actual / predicted
};

struct trust_region_result {
  bool within_tolerance = false;  // the run ended because the stopping test passed
  double value_change = std::numeric_limits<double>::quiet_NaN();
  double gradient_max = std::numeric_limits<double>::quiet_NaN();
  bool positive_definite = false;
  dense_vector x;
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
  run_end end = run_end::within_tolerance;
  int num_iterations = 0;
  int num_evaluations = 0;  // of the value, the start point included
};

}  // namespace corvane
