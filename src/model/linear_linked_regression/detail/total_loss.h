// SPDX-License-Identifier: BSD-3-Clause
//
// The sum of the losses of all observations.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// The compensated sum of common/compensated_sum.h, up to rounding: taken by lanes, each of
// which has a sum and a correction of its own, so that it is made of vector instructions.
double total_loss(const_vector_view losses);

}  // namespace corvane::model::linear_linked_regression_detail
