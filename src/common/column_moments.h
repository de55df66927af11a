// SPDX-License-Identifier: BSD-3-Clause
//
// Mean and squared length of a column, in one pass each at the speed of memory.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// The sum divided by the count, compensated. The mean of equal values is that value, for
// which a rounded sum would miss it by an ulp in one case of eight.
double mean_of(const_vector_view values);

// sum_i (x_i - center)^2
double sum_squares_about(double center, const_vector_view values);
// Compensated: in another order of the values it is the same, but for the last digit at
// times.
double compensated_squares_about(double center, const_vector_view values);

}  // namespace corvane
