// SPDX-License-Identifier: BSD-3-Clause
//
// scripted_objective: an objective whose results a test prescribes and whose calls it reads
// back in order.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "optimization/objective.h"

namespace corvane::test {

// Only what has no default.
class scripted_objective : public second_order_objective {
 public:
  double value = 0.0;
  std::vector<double> gradient;
  std::vector<double> hessian;  // column-major, the lower triangle counts
  std::string fails_at;         // the operation that returns false, after it has written

  std::vector<std::string> calls;
  std::vector<double> last_x;

  bool compute_value(const_vector_view x, double& out) override {
    out = value;
    return note("value", x);
  }
  bool compute_gradient(const_vector_view x, vector_view out) override {
    std::copy(gradient.begin(), gradient.end(), out.begin());
    return note("gradient", x);
  }
  bool compute_hessian(const_vector_view x, symmetric_view out) override {
    for (index_t j = 0; j < out.cols(); ++j)
      for (index_t i = j; i < out.rows(); ++i)
        out(i, j) = hessian[static_cast<std::size_t>(j * out.rows() + i)];
    return note("hessian", x);
  }

 protected:
  bool note(std::string operation, const_vector_view x) {
    last_x.assign(x.begin(), x.end());
    const bool succeeds = operation != fails_at;
    calls.push_back(std::move(operation));
    return succeeds;
  }
};

}  // namespace corvane::test
