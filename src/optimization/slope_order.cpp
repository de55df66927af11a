// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/slope_order.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "common/finite.h"

namespace corvane {

void order_by_slope(const_vector_view slopes, index_t* order) {
  index_t* const end = order + slopes.size();
  std::iota(order, end, index_t{0});
  if (!all_finite(slopes)) return;
  // Not stable_sort, which takes memory from the heap.
  std::sort(order, end, [=](index_t i, index_t j) {
    const double of_i = std::abs(slopes[i]);
    const double of_j = std::abs(slopes[j]);
    return of_i > of_j || (of_i == of_j && i < j);
  });
}

}  // namespace corvane
