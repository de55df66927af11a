// SPDX-License-Identifier: BSD-3-Clause
//
// weight_penalty: a penalty with its hyperparameters held fixed, as a function of one
// weight at a time.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model {

struct slope_and_curvature {
  double slope;
  double curvature;
};

class weight_penalty {
 public:
  explicit weight_penalty(double zone) : zone_{zone} {}
  weight_penalty(const weight_penalty&) = delete;
  weight_penalty& operator=(const weight_penalty&) = delete;
  weight_penalty(weight_penalty&&) = delete;
  weight_penalty& operator=(weight_penalty&&) = delete;
  virtual ~weight_penalty() = default;

  // The first two derivatives of the penalty of weight k where it is w.
  virtual slope_and_curvature at(index_t k, double w) const = 0;
  // Below this |w| a polynomial stands for the penalty; 0 where there is no such zone.
  double zone() const { return zone_; }

 private:
  double zone_;
};

}  // namespace corvane::model
