// SPDX-License-Identifier: BSD-3-Clause
//
// A named problem of unconstrained minimization, f(x) = sum_i r_i(x)^2, and the objective
// that it makes for the optimizer. Its derivatives come from the residuals' formulas.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "optimization/objective.h"
#include "support/second_order_number.h"

namespace corvane::testing {

using numbers = std::vector<second_order_number>;

struct least_squares_problem {
  std::string name;
  std::vector<double> start;
  std::vector<double> minima;  // published values of f, any of which may be reached
  std::function<numbers(const numbers&)> residuals;
};

class least_squares_objective final : public second_order_objective {
 public:
  explicit least_squares_objective(const least_squares_problem& problem)
      : residuals_{problem.residuals} {}

  bool compute_value(const_vector_view x, double& value) override;
  bool compute_gradient(const_vector_view x, vector_view gradient) override;
  bool compute_hessian(const_vector_view x, symmetric_view hessian) override;

  int num_values() const { return num_values_; }
  int num_gradients() const { return num_gradients_; }

 private:
  second_order_number evaluate(const_vector_view x) const;

  std::function<numbers(const numbers&)> residuals_;
  int num_values_ = 0;
  int num_gradients_ = 0;
};

}  // namespace corvane::testing
