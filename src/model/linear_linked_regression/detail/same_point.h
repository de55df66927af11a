// SPDX-License-Identifier: BSD-3-Clause
//
// When a cache that belongs to one point may serve another.
#pragma once

#include <algorithm>

#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// Equal in length and in each entry; a NaN on either side makes two points differ.
inline bool same_point(const_vector_view a, const_vector_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace corvane::model::linear_linked_regression_detail
