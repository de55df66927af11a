// SPDX-License-Identifier: BSD-3-Clause
//
// Elementary functions over arrays, as plain arithmetic without branches, so that compilers
// turn their loops into vector instructions. The results are the same on every machine.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// tangents = tanh(x) by entry, to within 2 units in the last place. `x` and `tangents` have
// the same length, and are the same array or do not overlap.
void compute_tanh(const_vector_view x, vector_view tangents);

// The same, and their complements = 1 - tanh(x)^2, to within 4 units in the last place:
// also where the tangent is so near 1 that a subtraction would leave few digits or none.
void compute_tanh(const_vector_view x, vector_view tangents, vector_view complements);

// logs = log(x) by entry, to within 2 units in the last place, of numbers not below 1. An
// infinity and a NaN pass through. `x` and `logs` are the same array or do not overlap.
void compute_log(const_vector_view x, vector_view logs);

}  // namespace corvane
