// SPDX-License-Identifier: BSD-3-Clause
//
// Data whose squares underflow are multiplied by powers of two, so that the squares keep
// full precision. Data of ordinary size are not changed.
#pragma once

#include "common/interruption.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

struct small_numbers {
  index_vector column_exponents;  // p; column j was multiplied by 2^k_j
  int target_exponent = 0;

  // A result of the scaled fit in the units of the data.
  double coefficient(index_t j, double value) const;
  double target(double value) const;
  double squared_target(double value) const;
  // sqrt(alpha_j) of the data as that of the scaled column, and back.
  double root_to_scaled(index_t j, double root) const;
  double root_to_data(index_t j, double root) const;
};

// A column of denormal spread becomes constant, since it has few significant digits. With
// `rescale`, smaller columns are multiplied. `center`: constant columns are those of equal
// values, else those of zeros.
small_numbers rescale_small_numbers(bool center, bool rescale, matrix_view X, vector_view y,
                                    interruption* interrupt = nullptr);

}  // namespace corvane::model::ridge_regression_detail
