// SPDX-License-Identifier: BSD-3-Clause
//
// An order of variables that does not hang on how they are numbered: by how steep a
// function is along them.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// Writes the indices of `slopes` to `order`, the steepest first, up or down: a variable may
// stand for its own negative. Those of equal slope keep the order that they have, and so do
// all where a slope is not finite.
void order_by_slope(const_vector_view slopes, index_t* order);

}  // namespace corvane
