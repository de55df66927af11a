// SPDX-License-Identifier: BSD-3-Clause
//
// Detects that the rounds of the subproblem solver would never end.
//
// The next multiplier is a function of the multiplier and the bracket. While the bracket
// does not change, a multiplier strictly inside it either has a solvable system, and then
// narrows it, or repeats itself. So the multipliers under one bracket are its two ends, the
// replacement of `safeguard` and one that repeats: among five in a row two are equal, and
// from there on the sequence is periodic. Ends that move are monotone, through finitely
// many numbers; in practice a round leaves at most nine tenths of the bracket's width, and
// only a bracket that changes by rounding errors reaches the limit on all rounds.
#pragma once

#include "optimization/subproblem_bounds.h"

namespace corvane {

class endless_rounds {
 public:
  explicit endless_rounds(const subproblem_bounds& bounds) : last_{bounds} {}

  // Called once before each round.
  bool recognized(const subproblem_bounds& bounds) {
    // An end that is NaN stays NaN, and none turns into NaN: a comparison by < is enough.
    const bool moved = last_.lambda_low < bounds.lambda_low ||
                       bounds.lambda_high < last_.lambda_high ||
                       last_.lambda_singular < bounds.lambda_singular;
    idle_rounds_ = moved ? 0 : idle_rounds_ + 1;
    last_ = bounds;
    return idle_rounds_ > idle_limit || ++rounds_ > limit;
  }

 private:
  static constexpr int idle_limit = 5;
  static constexpr int limit = 20000;

  subproblem_bounds last_;
  int idle_rounds_ = 0;
  int rounds_ = 0;
};

}  // namespace corvane
