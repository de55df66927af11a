// SPDX-License-Identifier: BSD-3-Clause
//
// Points and derivatives between the caller's order of variables and that of a run.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// Which of the caller's variables stands at each place of the run.
using variable_order = const_index_view;

void to_run(variable_order order, const_vector_view from, vector_view to);
void to_run(variable_order order, const_symmetric_view from, symmetric_view to);
void to_caller(variable_order order, const_vector_view from, vector_view to);
void to_caller(variable_order order, const_symmetric_view from, symmetric_view to);

}  // namespace corvane
