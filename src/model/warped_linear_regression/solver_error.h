// SPDX-License-Identifier: BSD-3-Clause
//
// How the root solver can fail.
#pragma once

#include <exception>

namespace corvane {

class solver_error : public virtual std::exception {
 public:
  const char* what() const noexcept override { return "solver_error"; }
};

// The function is undefined at a point. For functions to throw; the solver itself does not.
class solver_undefined_error : public virtual solver_error {
 public:
  const char* what() const noexcept override { return "solver_undefined_error"; }
};

// The function is flat at a point that is not a root.
class solver_zero_derivative_error : public virtual solver_error {
 public:
  const char* what() const noexcept override { return "solver_zero_derivative_error"; }
};

class solver_max_iterations_exceeded_error : public virtual solver_error {
 public:
  const char* what() const noexcept override {
    return "solver_max_iterations_exceeded_error";
  }
};

}  // namespace corvane
