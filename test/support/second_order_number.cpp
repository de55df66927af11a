// SPDX-License-Identifier: BSD-3-Clause
#include "support/second_order_number.h"

#include <algorithm>

namespace corvane::testing {

second_order_number chain(const second_order_number& u, double f, double slope,
                          double curvature) {
  second_order_number out = u;
  out.value_ = f;
  const std::size_t n = u.gradient_.size();
  for (std::size_t i = 0; i < n; ++i) {
    out.gradient_[i] = slope * u.gradient_[i];
    for (std::size_t j = 0; j < n; ++j)
      out.hessian_[i * n + j] =
          slope * u.hessian(i, j) + curvature * u.gradient_[i] * u.gradient_[j];
  }
  return out;
}

second_order_number second_order_number::combine(const second_order_number& u,
                                                 const second_order_number& v, double value,
                                                 double by_u, double by_v, double mixed) {
  second_order_number out{value};
  const std::size_t n = std::max(u.gradient_.size(), v.gradient_.size());
  out.gradient_.assign(n, 0.0);
  out.hessian_.assign(n * n, 0.0);
  for (std::size_t i = 0; i < n; ++i) {
    out.gradient_[i] = by_u * u.gradient(i) + by_v * v.gradient(i);
    for (std::size_t j = 0; j < n; ++j)
      out.hessian_[i * n + j] =
          by_u * u.hessian(i, j) + by_v * v.hessian(i, j) +
          mixed * (u.gradient(i) * v.gradient(j) + v.gradient(i) * u.gradient(j));
  }
  return out;
}

}  // namespace corvane::testing
