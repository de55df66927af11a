// SPDX-License-Identifier: BSD-3-Clause
//
// A decorator that keeps compact series of numbers of the runs of an optimizer.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "optimization/trust_region_optimizer.h"

namespace corvane {

// The entry of largest magnitude: its first index, and the magnitude.
using magnitude_peak = std::pair<std::int64_t, double>;

// An entry of the series of points is made at the start of each iteration, and once more at
// the solution; an entry of the series of steps after each iteration that did not fail.
struct trust_region_stats {
  std::int32_t iterations = 0;
  std::int32_t total_attempts = 0;
  std::vector<std::int32_t> attempts;  // before the point was reached
  std::vector<double> values;          // of the objective
  std::vector<double> gradient_norms;  // sqrt ||g||: compact over many decades
  std::vector<magnitude_peak> gradient_peaks;
  std::vector<double> step_norms;  // sqrt ||dx||
  std::vector<magnitude_peak> step_peaks;
  std::vector<double> radii;
  std::vector<double> lambdas;
};

class trust_region_stats_filter : public trust_region_optimizer {
 public:
  virtual trust_region_stats& stats() = 0;
  virtual void clear() = 0;
};

// `inner` may be a filter itself. The series go on from run to run until they are cleared.
std::unique_ptr<trust_region_stats_filter> make_trust_region_stats_filter(
    std::shared_ptr<trust_region_optimizer> inner);

}  // namespace corvane
