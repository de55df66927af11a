// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/variable_order.h"

namespace corvane {

void to_run(variable_order order, const_vector_view from, vector_view to) {
  for (index_t i = 0; i < order.size(); ++i) to[i] = from[order[i]];
}

void to_run(variable_order order, const_symmetric_view from, symmetric_view to) {
  for (index_t i = 0; i < order.size(); ++i)
    for (index_t j = i; j < order.size(); ++j) to(i, j) = from(order[i], order[j]);
}

void to_caller(variable_order order, const_vector_view from, vector_view to) {
  for (index_t i = 0; i < order.size(); ++i) to[order[i]] = from[i];
}

void to_caller(variable_order order, const_symmetric_view from, symmetric_view to) {
  for (index_t i = 0; i < order.size(); ++i)
    for (index_t j = i; j < order.size(); ++j) to(order[i], order[j]) = from(i, j);
}

}  // namespace corvane
