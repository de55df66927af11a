// SPDX-License-Identifier: BSD-3-Clause
//
// Lets the owner of a long computation end it. The owner passes an `interruption` to the
// loops of the computation, which call `check`; there is no global state.
#pragma once

namespace corvane {

class interruption {
 public:
  interruption() = default;
  interruption(const interruption&) = delete;
  interruption& operator=(const interruption&) = delete;
  interruption(interruption&&) = delete;
  interruption& operator=(interruption&&) = delete;
  virtual ~interruption() = default;

  // Returns to continue, throws to end the computation. An optimizer_error ends the run of
  // the optimizer; anything else passes through optimizers and objectives to the owner.
  virtual void check() = 0;
};

inline void check(interruption* interruption) {
  if (interruption != nullptr) interruption->check();
}

}  // namespace corvane
