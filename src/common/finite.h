// SPDX-License-Identifier: BSD-3-Clause
//
// Tests of finiteness, and the machine constants of thresholds.
#pragma once

#include <cmath>
#include <limits>

#include "n_array/n_array_view.h"

namespace corvane {

inline constexpr double largest_double = std::numeric_limits<double>::max();
inline constexpr double double_epsilon = std::numeric_limits<double>::epsilon();  // 2^-52

// False for infinities and, as every comparison with it is false, for NaN.
inline bool is_finite(double x) { return std::abs(x) <= largest_double; }

inline bool all_finite(const_vector_view values) {
  for (const double value : values)
    if (!is_finite(value)) return false;
  return true;
}

inline bool all_finite(const_matrix_view values) {
  return all_finite(const_vector_view{values.data(), values.size()});
}

// Reads only the stored triangle.
inline bool all_finite(const_symmetric_view values) {
  for (index_t j = 0; j < values.cols(); ++j)
    for (index_t i = j; i < values.rows(); ++i)
      if (!is_finite(values(i, j))) return false;
  return true;
}

}  // namespace corvane
