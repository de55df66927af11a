// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"

#include <cmath>

#include "model/ridge_regression/common_penalty/dual_penalty_factors.h"
#include "model/ridge_regression/common_penalty/primal_penalty_factors.h"

namespace corvane::model::ridge_regression_detail {

// The ratio of the smaller to the larger of s and t is what is squared.
ridge_filter filter_of(double s, double t) {
  ridge_filter filter{};
  if (s <= std::abs(t)) {
    const double ratio = s / t;
    filter.stopped = 1.0 / (1.0 + ratio * ratio);
    filter.passed = ratio * ratio * filter.stopped;
  } else {
    const double ratio = t / s;
    filter.passed = 1.0 / (1.0 + ratio * ratio);
    filter.stopped = ratio * ratio * filter.passed;
  }
  filter.first = 2.0 * filter.passed * filter.stopped / t;
  filter.second = filter.first * (filter.passed - 3.0 * filter.stopped) / t;
  return filter;
}

double damped_inverse(double s, double t) {
  const ridge_filter filter = filter_of(s, t);
  return s <= std::abs(t) ? s / t * filter.stopped / t : filter.passed / s;
}

double damped_inverse_square(double s, double t) {
  const ridge_filter filter = filter_of(s, t);
  return s <= std::abs(t) ? filter.stopped / t / t : filter.passed / s / s;
}

std::unique_ptr<const common_penalty_factors> factor_common_penalty(
    const common_penalty_design& design) {
  const index_t columns = design.penalized() + (design.has_free_bias() ? 1 : 0);
  if (design.observations() > columns)
    return std::make_unique<primal_penalty_factors>(design);
  return std::make_unique<dual_penalty_factors>(design);
}

}  // namespace corvane::model::ridge_regression_detail
