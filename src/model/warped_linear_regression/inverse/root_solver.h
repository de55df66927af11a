// SPDX-License-Identifier: BSD-3-Clause
//
// find_root: solves f(x) = target for a smooth increasing f by Halley's method under a
// bracket, with bisection where an iterate would land almost on an end of the bracket.
//
//   x+ = x - 2 r f' / (2 f'^2 - r f''),   r = f(x) - target
//
// W. Gander, "On Halley's iteration method", Amer. Math. Monthly 92 (1985).
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <exception>

namespace corvane {

// How the solver can fail.
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

struct solver_options {
  double tolerance = 0.0;           // on |f(x) - target| / |target|
  std::int64_t max_iterations = 0;  // the most points at which f is evaluated
};

// Two points and the sign of the residual at each. Neither need be the smaller one.
struct root_bracket {
  double lower = 0.0;  // on the negative side of the root
  double upper = 0.0;  // on the positive side
  double lower_sign = 0.0;
  double upper_sign = 0.0;

  // Of the two values only the signs are used.
  void initialize(double lower_end, double upper_end, double lower_value,
                  double upper_value);
  // Moves the end that lies on the same side as x.
  void update(double x, double residual);
  // The point to use in place of x: x clamped to the bracket, or the midpoint where that is
  // closer to an end than `threshold` times the width. With equal signs there is no
  // bracket, and x is returned.
  double safeguard(double threshold, double x) const;
};

// What the solver requires of f. The derivatives are only evaluated at the point of the
// last value, so that f may share work between the three.
template <class F>
concept twice_differentiable_function = requires(F& f, double x) {
  { f.value(x) } -> std::convertible_to<double>;
  { f.derivative(x) } -> std::convertible_to<double>;
  { f.second_derivative(x) } -> std::convertible_to<double>;
};

namespace root_solver_detail {

inline constexpr double bisection_threshold = 2.220446049250313e-13;        // 1000 * 2^-52
inline constexpr double zero_derivative_threshold = 2.220446049250313e-16;  // 2^-52

// Relative to the target, or absolute if the target is 0.
inline double relative_residual(double residual, double target) {
  const double scale = target != 0.0 ? std::abs(target) : 1.0 + std::abs(target);
  return std::abs(residual) / scale;
}

inline double halley_step(double r, double g, double h) {
  return ((r + r) * g) / (g * (g + g) - h * r);
}

}  // namespace root_solver_detail

// Returns x with a relative residual below the tolerance, or throws a solver_error. The
// last permitted step is not examined: at most `max_iterations` values are.
template <twice_differentiable_function F>
double find_root(const solver_options& options, F& function, double x0, double target,
                 root_bracket bracket) {
  namespace detail = root_solver_detail;
  double x = bracket.safeguard(detail::bisection_threshold, x0);
  for (std::int64_t count = 0; count < options.max_iterations; ++count) {
    const double residual = function.value(x) - target;
    if (options.tolerance > detail::relative_residual(residual, target)) return x;
    const double first = function.derivative(x);
    const double second = function.second_derivative(x);
    if (detail::zero_derivative_threshold > std::abs(first))
      throw solver_zero_derivative_error{};
    bracket.update(x, residual);
    x = bracket.safeguard(detail::bisection_threshold,
                          x - detail::halley_step(residual, first, second));
  }
  throw solver_max_iterations_exceeded_error{};
}

}  // namespace corvane
