// SPDX-License-Identifier: BSD-3-Clause
//
// How a run of the optimizer can fail. All but an objective that is undefined at the start
// point stay inside `optimize`, which reports them as `within_tolerance` false.
#pragma once

#include <exception>

namespace corvane {

class optimizer_error : public virtual std::exception {
 public:
  const char* what() const noexcept override { return "optimizer_error"; }
};

// Gradient and Hessian diagonal vanish at a point.
class optimizer_degenerate_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_degenerate_error"; }
};

// The objective is undefined at the start point, or its derivatives at an accepted point.
class optimizer_undefined_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override { return "optimizer_undefined_error"; }
};

// No step can be accepted, and the point does not pass the stopping test.
class optimizer_trust_region_collapse_error : public virtual optimizer_error {
 public:
  const char* what() const noexcept override {
    return "optimizer_trust_region_collapse_error";
  }
};

}  // namespace corvane
