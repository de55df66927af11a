// SPDX-License-Identifier: BSD-3-Clause
//
// point_cache: the intermediate results of an objective at the point of its last
// evaluation. The optimizer evaluates the derivatives at the point whose value it has just
// evaluated.
#pragma once

#include <utility>

#include "optimization/evaluation_cache.h"

namespace corvane::model::ridge_regression_detail {

template <class State>
class point_cache {
 public:
  explicit point_cache(State&& state) : state_{std::move(state)} {}

  // The state at x, which update(state) writes unless x is the point of the last call. Null
  // where that returned false: the objective is undefined at x.
  template <class Update>
  const State* at(const_vector_view x, const Update& update) {
    if (!point_.is_at(x)) {
      point_.forget();  // should the update throw
      is_defined_ = update(state_);
      point_.move_to(x);
    }
    return is_defined_ ? &state_ : nullptr;
  }

 private:
  State state_;
  evaluated_point point_;
  bool is_defined_ = false;
};

}  // namespace corvane::model::ridge_regression_detail
