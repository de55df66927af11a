// SPDX-License-Identifier: BSD-3-Clause
//
// second_order_number: a number that carries its gradient and Hessian with respect to n
// variables, so that a test problem is its formula alone (forward-mode differentiation).
//
//   f(u):  g = f' u_g,              H = f' u_H + f'' u_g u_g'
//   u v:   g = u v_g + v u_g,       H = u v_H + v u_H + u_g v_g' + v_g u_g'
//
// A. Griewank, A. Walther, Evaluating Derivatives, 2nd ed. (2008), section 13.3.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace corvane::testing {

class second_order_number {
 public:
  // A constant: its derivatives are empty, which stands for zeros.
  second_order_number(double value) : value_{value} {}  // NOLINT: meant to convert

  // Variable `index` of n.
  static second_order_number variable(double value, std::size_t index, std::size_t n) {
    second_order_number x{value};
    x.gradient_.assign(n, 0.0);
    x.hessian_.assign(n * n, 0.0);
    x.gradient_[index] = 1.0;
    return x;
  }

  double value() const { return value_; }
  double gradient(std::size_t i) const { return gradient_.empty() ? 0.0 : gradient_[i]; }
  double hessian(std::size_t i, std::size_t j) const {
    return hessian_.empty() ? 0.0 : hessian_[i * gradient_.size() + j];
  }

  // f(u), with f and its two derivatives at u
  friend second_order_number chain(const second_order_number& u, double f, double slope,
                                   double curvature);

  friend second_order_number operator+(const second_order_number& u,
                                       const second_order_number& v) {
    return combine(u, v, u.value_ + v.value_, 1.0, 1.0, 0.0);
  }
  friend second_order_number operator-(const second_order_number& u,
                                       const second_order_number& v) {
    return combine(u, v, u.value_ - v.value_, 1.0, -1.0, 0.0);
  }
  friend second_order_number operator*(const second_order_number& u,
                                       const second_order_number& v) {
    return combine(u, v, u.value_ * v.value_, v.value_, u.value_, 1.0);
  }
  friend second_order_number operator/(const second_order_number& u,
                                       const second_order_number& v) {
    const double inverse = 1.0 / v.value_;
    return u * chain(v, inverse, -inverse * inverse, 2.0 * inverse * inverse * inverse);
  }
  friend second_order_number operator-(const second_order_number& u) { return 0.0 - u; }
  second_order_number& operator+=(const second_order_number& v) {
    return *this = *this + v;
  }
  second_order_number& operator*=(const second_order_number& v) {
    return *this = *this * v;
  }

 private:
  // h(u, v) with the derivatives h_u, h_v and the mixed one h_uv; h_uu = h_vv = 0
  static second_order_number combine(const second_order_number& u,
                                     const second_order_number& v, double value,
                                     double by_u, double by_v, double mixed);

  double value_;
  std::vector<double> gradient_;
  std::vector<double> hessian_;  // n by n, both triangles
};

inline second_order_number exp(const second_order_number& u) {
  const double f = std::exp(u.value());
  return chain(u, f, f, f);
}

inline second_order_number sin(const second_order_number& u) {
  const double f = std::sin(u.value());
  return chain(u, f, std::cos(u.value()), -f);
}

inline second_order_number cos(const second_order_number& u) {
  const double f = std::cos(u.value());
  return chain(u, f, -std::sin(u.value()), -f);
}

inline second_order_number log(const second_order_number& u) {
  return chain(u, std::log(u.value()), 1.0 / u.value(), -1.0 / (u.value() * u.value()));
}

inline second_order_number sqrt(const second_order_number& u) {
  const double f = std::sqrt(u.value());
  return chain(u, f, 0.5 / f, -0.25 / (f * u.value()));
}

inline second_order_number atan(const second_order_number& u) {
  const double slope = 1.0 / (1.0 + u.value() * u.value());
  return chain(u, std::atan(u.value()), slope, -2.0 * u.value() * slope * slope);
}

inline second_order_number square(const second_order_number& u) { return u * u; }

}  // namespace corvane::testing
