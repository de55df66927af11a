// SPDX-License-Identifier: BSD-3-Clause
//
// Elementary functions over arrays, as plain arithmetic without branches, so that compilers
// turn their loops into vector instructions. The results are the same on every machine.
#pragma once

#include <array>

#include "common/compensated_sum.h"
#include "n_array/n_array_view.h"

namespace corvane {

// tangents = tanh(x) by entry, to within 2 units in the last place. `x` and `tangents` are
// equally long, and either the same array or apart.
void compute_tanh(const_vector_view x, vector_view tangents);

// The sum of the logarithms of factors between 1 and `largest`: one logarithm for as many
// factors as their product is sure not to overflow.
class log_sum {
 public:
  explicit log_sum(double largest);

  void add(const_vector_view factors);
  double total();

 private:
  static constexpr index_t num_lanes = 8;

  void multiply(const double* factors, index_t rounds);
  void close_lanes();

  index_t max_rounds_;  // factors that the product of one lane can hold
  index_t rounds_ = 0;
  std::array<double, num_lanes> lanes_;
  compensated_sum logs_;
};

}  // namespace corvane
