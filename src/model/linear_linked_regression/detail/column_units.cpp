// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/column_units.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/finite.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

double largest_size(const_vector_view column) {
  double largest = 0.0;
  for (const double x : column) largest = std::max(largest, std::abs(x));
  return largest;
}

// The exponent e with largest = f 2^e, f in [0.5, 1), where that is far from 0.
int far_exponent(double largest) {
  constexpr int far = 400;
  if (largest == 0.0 || !is_finite(largest)) return 0;
  int exponent = 0;
  std::frexp(largest, &exponent);
  return std::abs(exponent) > far ? exponent : 0;
}

}  // namespace

// The exponent is split, as 2^(exponent power) itself may be out of range while the result
// is not.
double column_unit::times_power(double x, double power) const {
  const double of_mantissa = x * std::pow(mantissa, power);
  if (exponent == 0) return of_mantissa;
  constexpr double beyond_range = 1e4;
  const double shift =
      std::clamp(static_cast<double>(exponent) * power, -beyond_range, beyond_range);
  const double whole = std::floor(shift);
  return std::ldexp(of_mantissa * std::exp2(shift - whole), static_cast<int>(whole));
}

double column_unit::log() const {
  return std::log(mantissa) + static_cast<double>(exponent) * std::numbers::ln2;
}

std::vector<int> bring_into_range(matrix_view X, interruption* interrupt) {
  std::vector<int> exponents;
  exponents.reserve(static_cast<std::size_t>(X.cols()));
  for (index_t j = 0; j < X.cols(); ++j) {
    check(interrupt);
    const vector_view column = X.column(j);
    const int exponent = far_exponent(largest_size(column));
    if (exponent != 0)
      for (double& x : column) x = std::ldexp(x, -exponent);
    exponents.push_back(exponent);
  }
  return exponents;
}

}  // namespace corvane::model::linear_linked_regression_detail
