// SPDX-License-Identifier: BSD-3-Clause
//
// Rounding to fewer binary digits. Numbers that differ in their last digits, as the same
// data in other units do, become equal bit by bit, but for one next to the middle of two
// roundings.
#pragma once

#include <algorithm>
#include <cmath>

#include "common/finite.h"
#include "n_array/n_array_view.h"

namespace corvane {

// To multiples of 2^-digits. Where some value is so large that a double has no digits to
// cut off, all stay as they are.
inline void cut_digits(vector_view values, int digits) {
  // Added to a value that is smaller by half, it leaves the digits of the multiple alone:
  // the doubles from 2^52 multiples on are one multiple apart.
  const double shifter = std::ldexp(1.5, 52 - digits);
  const bool has_room =
      is_finite(shifter) && std::all_of(values.begin(), values.end(), [=](double value) {
        return std::abs(value) < shifter / 4.0;
      });
  if (!has_room) return;
  for (double& value : values) value = (value + shifter) - shifter;
}

}  // namespace corvane
