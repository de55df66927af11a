// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/penalty_terms.h"

#include <limits>

namespace corvane::model {

smoothed_absolute_value::smoothed_absolute_value(double s)
    // |w| and its derivatives at s, until they are solved for the coefficients
    : coefficients_{s, 1.0, 0.0, 0.0, 0.0}, threshold_{s} {
  if (s == 0.0) {
    coefficients_.fill(std::numeric_limits<double>::quiet_NaN());
    return;
  }
  smoothing_basis{}.solve(s, {coefficients_.data(), num_smoothing_coefficients});
}

}  // namespace corvane::model
