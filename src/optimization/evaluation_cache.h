// SPDX-License-Identifier: BSD-3-Clause
//
// evaluated_point: the point that the results of an objective's last evaluation belong to.
// An objective holds one beside these results and recomputes them when it moves:
//   if (!point_.move_to(x)) return is_defined_;
//   is_defined_ = evaluate(x);
#pragma once

#include <algorithm>

#include "n_array/n_array.h"

namespace corvane {

// Equal in length and in each entry; a NaN on either side makes two points differ.
inline bool same_point(const_vector_view a, const_vector_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

class evaluated_point {
 public:
  // False when the results are those of x already. Otherwise they are those of x from now
  // on, and to be computed.
  bool move_to(const_vector_view x) {
    if (is_at(x)) return false;
    x_ = x;
    is_known_ = true;
    return true;
  }
  bool is_at(const_vector_view x) const { return is_known_ && same_point(x, x_); }
  void forget() { is_known_ = false; }
  // Not to be read before the first evaluation.
  const_vector_view x() const { return x_; }

 private:
  dense_vector x_;
  bool is_known_ = false;
};

}  // namespace corvane
