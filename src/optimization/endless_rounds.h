// SPDX-License-Identifier: BSD-3-Clause
//
// Recognizes that the rounds of the subproblem solver would go on for ever.
//
// The next multiplier is a function of the multiplier and the bracket. While a bracket
// stays as it is, a multiplier strictly inside it either has a solvable system, and then
// narrows it, or repeats itself. So the multipliers under one bracket are its two ends, the
// replacement of `safeguard` and one that repeats: among five in a row two are equal, and
// from there on the rounds go in a circle. Ends that do move go in one direction, through
// finitely many numbers; in practice a round narrows the bracket to nine tenths or better,
// so that the limit on all rounds is there for rounding errors alone.
#pragma once

#include "optimization/subproblem_bounds.h"

namespace corvane {

class endless_rounds {
 public:
  explicit endless_rounds(const subproblem_bounds& bounds) : last_{bounds} {}

  // Asked once before each round.
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
