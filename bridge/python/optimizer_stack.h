// SPDX-License-Identifier: BSD-3-Clause
//
// optimizer_stack: where the parts of a decorated optimizer are. A model owns the outermost
// one through its options; the recorded series are reached through these pointers.
#pragma once

#include <memory>

#include "optimization/trust_region_log_filter.h"
#include "optimization/trust_region_optimizer.h"
#include "optimization/trust_region_stats_filter.h"

namespace corvane::python_bridge {

// Non-owning; null where absent.
struct optimizer_stack {
  trust_region_optimizer* optimizer = nullptr;
  trust_region_stats_filter* stats = nullptr;
  trust_region_log_filter* log = nullptr;
};

struct stacked_optimizer {
  std::unique_ptr<trust_region_optimizer> outermost;
  optimizer_stack stack;
};

// An optimizer with the two tolerances, wrapped in the statistics filter and then in the
// log filter where asked for.
inline stacked_optimizer make_stacked_optimizer(double tolerance, double tolerance2,
                                                bool record_stats = false,
                                                bool log = false) {
  trust_region_optimizer_options options;
  options.tolerance = tolerance;
  options.tolerance2 = tolerance2;
  stacked_optimizer result;
  result.outermost = make_trust_region_optimizer(options);
  result.stack.optimizer = result.outermost.get();
  if (record_stats) {
    auto filter = make_trust_region_stats_filter(std::move(result.outermost));
    result.stack.stats = filter.get();
    result.outermost = std::move(filter);
  }
  if (log) {
    auto filter = make_trust_region_log_filter(std::move(result.outermost));
    result.stack.log = filter.get();
    result.outermost = std::move(filter);
  }
  return result;
}

}  // namespace corvane::python_bridge
