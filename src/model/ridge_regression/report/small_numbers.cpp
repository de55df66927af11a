// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/report/small_numbers.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/finite.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// Sums of squares of larger numbers keep full precision.
constexpr double ordinary = 0x1p-440;

// Whether any value is this far from the origin, found at the first one of most columns.
bool has_ordinary_spread(const_vector_view values, double origin) {
  return std::any_of(values.begin(), values.end(), [origin](double value) {
    return !(std::abs(value - origin) < ordinary);
  });
}

double largest_distance(const_vector_view values, double origin) {
  double largest = 0.0;
  for (const double value : values) largest = std::max(largest, std::abs(value - origin));
  return largest;
}

// The exponent k by which 2^k brings the largest magnitude to between 1 and 2.
int exponent_to_one(const_vector_view values) {
  return -std::ilogb(largest_distance(values, 0.0));
}

void multiply(vector_view values, int exponent) {
  for (double& value : values) value = std::ldexp(value, exponent);
}

index_t rescale_column(bool center, bool rescale, vector_view column) {
  const double origin = center ? column[0] : 0.0;
  if (has_ordinary_spread(column, origin)) return 0;
  const double spread = largest_distance(column, origin);
  if (spread < std::numeric_limits<double>::min()) {
    std::fill(column.begin(), column.end(), origin);
    return 0;
  }
  if (!rescale) return 0;
  const int exponent = exponent_to_one(column);
  multiply(column, exponent);
  return exponent;
}

}  // namespace

double small_numbers::coefficient(index_t j, double value) const {
  return std::ldexp(value, static_cast<int>(column_exponents[j]) - target_exponent);
}
double small_numbers::target(double value) const {
  return std::ldexp(value, -target_exponent);
}
double small_numbers::squared_target(double value) const {
  return std::ldexp(value, -2 * target_exponent);
}
double small_numbers::root_to_scaled(index_t j, double root) const {
  return std::ldexp(root, static_cast<int>(column_exponents[j]));
}
double small_numbers::root_to_data(index_t j, double root) const {
  return std::ldexp(root, -static_cast<int>(column_exponents[j]));
}

small_numbers rescale_small_numbers(bool center, bool rescale, matrix_view X, vector_view y,
                                    interruption* interrupt) {
  small_numbers rescaled{index_vector{X.cols()}, 0};
  for (index_t j = 0; j < X.cols(); ++j) {
    check(interrupt);
    rescaled.column_exponents[j] =
        X.rows() == 0 ? 0 : rescale_column(center, rescale, X.column(j));
  }
  if (!has_ordinary_spread(y, 0.0) && largest_distance(y, 0.0) > 0.0) {
    rescaled.target_exponent = exponent_to_one(y);
    multiply(y, rescaled.target_exponent);
  }
  return rescaled;
}

}  // namespace corvane::model::ridge_regression_detail
