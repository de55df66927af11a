// SPDX-License-Identifier: BSD-3-Clause
//
// Our enumerations for what CBLAS and LAPACKE take as enumerations or letters. The
// layout is always column-major, and a symmetric matrix is always its lower triangle.
#pragma once

#include <climits>
#include <stdexcept>

#include "n_array/n_array_view.h"

namespace corvane {

enum class triangle : int { upper = 0, lower = 1 };  // any value but 0 means lower
enum class transposition : int { none = 0, transpose = 1, conjugate = 2 };
enum class side : int { left = 0, right = 1 };
enum class svd_job : int { all = 0, thin = 1, overwrite = 2, values_only = 3 };

// BLAS takes sizes as 32-bit integers.
inline int blas_size(index_t n) {
  if (n > INT_MAX) throw std::length_error{"a dimension exceeds what BLAS can address"};
  return static_cast<int>(n);
}

}  // namespace corvane
