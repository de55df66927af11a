// SPDX-License-Identifier: BSD-3-Clause
#include "problems/least_squares_problem.h"

#include <cmath>
#include <cstddef>

namespace corvane::testing {

bool least_squares_objective::compute_value(const_vector_view x, double& value) {
  ++num_values_;
  // Constants in place of variables: no derivatives are carried.
  value = 0.0;
  for (const second_order_number& r : residuals_(numbers(x.begin(), x.end())))
    value += r.value() * r.value();
  return std::isfinite(value);
}

second_order_number least_squares_objective::evaluate(const_vector_view x) const {
  const auto n = static_cast<std::size_t>(x.size());
  numbers variables;
  for (std::size_t i = 0; i < n; ++i)
    variables.push_back(second_order_number::variable(x[static_cast<index_t>(i)], i, n));
  second_order_number sum{0.0};
  for (const second_order_number& r : residuals_(variables)) sum += square(r);
  return sum;
}

bool least_squares_objective::compute_gradient(const_vector_view x, vector_view gradient) {
  ++num_gradients_;
  const second_order_number sum = evaluate(x);
  for (index_t i = 0; i < x.size(); ++i)
    gradient[i] = sum.gradient(static_cast<std::size_t>(i));
  return true;
}

bool least_squares_objective::compute_hessian(const_vector_view x, symmetric_view hessian) {
  const second_order_number sum = evaluate(x);
  for (index_t i = 0; i < x.size(); ++i)
    for (index_t j = i; j < x.size(); ++j)
      hessian(i, j) = sum.hessian(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
  return true;
}

}  // namespace corvane::testing
