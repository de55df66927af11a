// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/total_loss.h"

#include <array>
#include <cmath>

#include "common/compensated_sum.h"
#include "common/vector_dispatch.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

constexpr std::size_t num_lanes = 16;

struct lane_sums {
  std::array<double, num_lanes> sum{};
  std::array<double, num_lanes> correction{};

  void add(const double* terms) {
    for (std::size_t lane = 0; lane < num_lanes; ++lane) {
      const double term = terms[lane];
      const double next = sum[lane] + term;
      const bool is_small = std::abs(sum[lane]) >= std::abs(term);
      const double larger = is_small ? sum[lane] : term;
      const double smaller = is_small ? term : sum[lane];
      correction[lane] += (larger - next) + smaller;
      sum[lane] = next;
    }
  }
};

}  // namespace

double total_loss(const_vector_view losses) {
  constexpr auto stride = static_cast<index_t>(num_lanes);
  const index_t whole = losses.size() - losses.size() % stride;
  lane_sums lanes;
  lane_sums* const result = &lanes;
  run_vectorized([=](auto /*width*/) {
    lane_sums own;
    for (index_t i = 0; i < whole; i += stride) own.add(losses.data() + i);
    *result = own;
  });
  compensated_sum total;
  for (std::size_t lane = 0; lane < num_lanes; ++lane) {
    total.add(lanes.sum[lane]);
    total.add(lanes.correction[lane]);
  }
  for (index_t i = whole; i < losses.size(); ++i) total.add(losses[i]);
  return total.total();
}

}  // namespace corvane::model::linear_linked_regression_detail
