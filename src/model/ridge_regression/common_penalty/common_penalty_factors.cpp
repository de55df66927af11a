// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"

#include <cmath>

namespace corvane::model::ridge_regression_detail {

// The ratio of the smaller to the larger of s and t is what is squared.
ridge_filter filter_of(double s, double t) {
  ridge_filter filter{};
  if (s <= std::abs(t)) {
    const double ratio = s / t;
    filter.complement = 1.0 / (1.0 + ratio * ratio);
    filter.filter_factor = ratio * ratio * filter.complement;
  } else {
    const double ratio = t / s;
    filter.filter_factor = 1.0 / (1.0 + ratio * ratio);
    filter.complement = ratio * ratio * filter.filter_factor;
  }
  filter.first = 2.0 * filter.filter_factor * filter.complement / t;
  filter.second = filter.first * (filter.filter_factor - 3.0 * filter.complement) / t;
  return filter;
}

double damped_inverse(double s, double t) {
  const ridge_filter filter = filter_of(s, t);
  return s <= std::abs(t) ? s / t * filter.complement / t : filter.filter_factor / s;
}

double damped_inverse_square(double s, double t) {
  const ridge_filter filter = filter_of(s, t);
  return s <= std::abs(t) ? filter.complement / t / t : filter.filter_factor / s / s;
}

std::unique_ptr<const common_penalty_factors> factor_common_penalty(
    const common_penalty_design& design) {
  const index_t columns = design.penalized() + (design.has_free_bias() ? 1 : 0);
  if (design.observations() > columns) return make_primal_factors(design);
  return make_dual_factors(design);
}

}  // namespace corvane::model::ridge_regression_detail
