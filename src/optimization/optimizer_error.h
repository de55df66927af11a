// SPDX-License-Identifier: BSD-3-Clause
//
// How a run of the optimizer can fail. All but an objective that is undefined at the start
// point stay inside `optimize`, which reports them as `within_tolerance` false and by name.
#pragma once

#include <exception>

#include "optimization/run_end.h"

namespace corvane {

class optimizer_error : public virtual std::exception {
 public:
  const char* what() const noexcept override { return "optimizer_error"; }
  // The end of the run that this error stops.
  virtual run_end end() const noexcept { return run_end::trust_region_collapsed; }
};

// Gradient and Hessian diagonal vanish at a point.
class optimizer_degenerate_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_degenerate_error"; }
  run_end end() const noexcept override { return run_end::degenerate; }
};

// The objective is undefined at the start point, or its derivatives at an accepted point.
class optimizer_undefined_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_undefined_error"; }
  run_end end() const noexcept override { return run_end::undefined; }
};

// No step can be accepted, and the point does not pass the stopping test. The end is
// `no_decrease` where there is nothing left to gain that the arithmetic could see.
class optimizer_trust_region_collapse_error : public virtual optimizer_error {
 public:
  explicit optimizer_trust_region_collapse_error(
      run_end end = run_end::trust_region_collapsed)
      : end_{end} {}
  const char* what() const noexcept override {
    return "optimizer_trust_region_collapse_error";
  }
  run_end end() const noexcept override { return end_; }

 private:
  run_end end_;
};

// The iterations of a run have reached their limit.
class optimizer_iteration_limit_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_iteration_limit_error"; }
  run_end end() const noexcept override { return run_end::iteration_limit; }
};

// Thrown by an objective that knows a lower bound of its value, at the start of an
// iteration from a point whose value has reached it for every practical purpose.
class optimizer_infimum_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_infimum_error"; }
  run_end end() const noexcept override { return run_end::infimum; }
};

}  // namespace corvane
