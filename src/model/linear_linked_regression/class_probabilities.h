// SPDX-License-Identifier: BSD-3-Clause
//
// Probabilities of two classes from log odds z of the larger one, and their logarithms:
//   p = 1 / (1 + exp(-z)),   1 - p = 1 / (1 + exp(z))
// each by itself, so that the smaller one keeps its digits where the other one rounds to 1.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model {

// Of each row 1 - p, then p: twice as many numbers as `z` has.
void compute_class_probabilities(const_vector_view z, vector_view rows);
// log(1 - p), then log(p). Finite wherever z is.
void compute_class_log_probabilities(const_vector_view z, vector_view rows);

}  // namespace corvane::model
