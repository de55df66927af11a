// SPDX-License-Identifier: BSD-3-Clause
//
// An objective from one formula, with hooks by which a test steers the optimizer and a
// protocol of the calls that it makes.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "optimization/objective.h"
#include "support/second_order_number.h"

namespace corvane::testing {

class formula_objective : public second_order_objective {
 public:
  using numbers = std::vector<second_order_number>;

  explicit formula_objective(std::function<second_order_number(const numbers&)> formula)
      : formula_{std::move(formula)} {}

  // One letter per call: V value, D derivatives, b begin, a adjust, p prepare, c accept.
  std::string calls;
  std::function<bool(const_vector_view)> is_defined = [](const_vector_view) {
    return true;
  };
  std::function<bool(const_vector_view)> has_derivatives = is_defined;
  std::function<bool(vector_view)> adjust = [](vector_view) { return false; };
  std::function<bool()> accept = [] { return true; };

  bool compute_value(const_vector_view x, double& value) override {
    calls += 'V';
    if (!is_defined(x)) return false;
    value = formula_(numbers(x.begin(), x.end())).value();
    return true;
  }
  bool compute_gradient(const_vector_view x, vector_view gradient) override {
    calls += 'D';
    if (!has_derivatives(x)) return false;
    const second_order_number f = differentiate(x);
    for (index_t i = 0; i < x.size(); ++i)
      gradient[i] = f.gradient(static_cast<std::size_t>(i));
    return true;
  }
  bool compute_hessian(const_vector_view x, symmetric_view hessian) override {
    const second_order_number f = differentiate(x);
    for (index_t i = 0; i < x.size(); ++i)
      for (index_t j = i; j < x.size(); ++j)
        hessian(i, j) = f.hessian(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
    return true;
  }
  void prepare_value(const_vector_view /*x*/) override { calls += 'p'; }
  void begin_iteration(const_vector_view /*x*/, double /*value*/,
                       const_vector_view /*gradient*/,
                       const_symmetric_view /*hessian*/) override {
    calls += 'b';
  }
  bool adjust_point(vector_view x, double& /*value*/, vector_view /*gradient*/,
                    symmetric_view /*hessian*/) override {
    calls += 'a';
    return adjust(x);
  }
  bool accept_convergence(const_vector_view /*x*/, double /*value*/,
                          const_vector_view /*gradient*/,
                          const_symmetric_view /*hessian*/) override {
    calls += 'c';
    return accept();
  }

 private:
  second_order_number differentiate(const_vector_view x) const {
    const auto n = static_cast<std::size_t>(x.size());
    numbers variables;
    for (std::size_t i = 0; i < n; ++i)
      variables.push_back(second_order_number::variable(x[static_cast<index_t>(i)], i, n));
    return formula_(variables);
  }

  std::function<second_order_number(const numbers&)> formula_;
};

}  // namespace corvane::testing
