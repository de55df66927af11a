// SPDX-License-Identifier: BSD-3-Clause
//
// A decorator that keeps a full copy of each iteration of the runs of an optimizer, and of
// each attempt within it.
#pragma once

#include <memory>
#include <vector>

#include "optimization/trust_region_optimizer.h"

namespace corvane {

// The arrays of the state are copies. The views, in the state and in the attempts, point to
// scratch memory that is gone: they must not be read.
struct trust_region_iteration_record {
  trust_region_state state;
  std::vector<trust_region_step> attempts;  // an attempt that threw stays zero
};

class trust_region_log_filter : public trust_region_optimizer {
 public:
  virtual std::vector<trust_region_iteration_record>& log() = 0;
  virtual void clear() = 0;
};

// `inner` may be a filter itself. The log goes on from run to run until it is cleared.
std::unique_ptr<trust_region_log_filter> make_trust_region_log_filter(
    std::shared_ptr<trust_region_optimizer> inner);

}  // namespace corvane
