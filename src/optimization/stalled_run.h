// SPDX-License-Identifier: BSD-3-Clause
//
// Detects a run that would never end. An iteration that failed the stopping test and did
// not change the state repeats without end, as with a tolerance of NaN. One that passed the
// test and was refused by the objective may still progress, since the objective can move
// the point. An accepted step lowers the value, unless the model predicts no change or the
// objective moves the point: a run with too many other iterations is taken to cycle.
#pragma once

#include "n_array/n_array.h"
#include "optimization/trust_region_state.h"

namespace corvane {

class stalled_run {
 public:
  explicit stalled_run(const trust_region_state& state) { remember(state); }

  // Called after each iteration that did not converge.
  void observe(const trust_region_state& state);

  // The last iteration left lambda, radius, value, x and gradient the same bit for bit.
  bool is_unchanged() const { return unchanged_; }

  // Too many iterations of the run ended without a lower value.
  bool is_idle() const { return idle_iterations_ > idle_limit; }

 private:
  static constexpr int idle_limit = 1000;

  void remember(const trust_region_state& state);
  bool equals(const trust_region_state& state) const;

  double lambda_ = 0.0;
  double radius_ = 0.0;
  double value_ = 0.0;
  dense_vector x_;
  dense_vector gradient_;
  bool unchanged_ = false;
  int idle_iterations_ = 0;
};

}  // namespace corvane
