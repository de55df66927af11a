// SPDX-License-Identifier: BSD-3-Clause
//
// Columns of any size brought to where their squares are numbers, by powers of two, which
// round nothing; and the lengths of the columns as they were, which may lie beyond the
// range of doubles.
#pragma once

#include <vector>

#include "common/interruption.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// mantissa * 2^exponent
struct column_unit {
  double mantissa = 1.0;
  int exponent = 0;

  // x * unit^power; infinite or 0 where that is beyond the range of doubles.
  double times_power(double x, double power) const;
  double log() const;
};

// Divides each column whose largest entry is outside of [2^-400, 2^400] by a power of two,
// so that it is in [0.5, 1). The exponents, 0 for the others. Columns with a value that is
// not finite stay. `interrupt` is checked before each column.
std::vector<int> bring_into_range(matrix_view X, interruption* interrupt);

}  // namespace corvane::model::linear_linked_regression_detail
