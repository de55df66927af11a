// SPDX-License-Identifier: BSD-3-Clause
//
// Why a run of the optimizer ended.
#pragma once

#include <cstdint>

namespace corvane {

enum class run_end : std::int32_t {
  within_tolerance,        // the stopping test passed
  no_decrease,             // no step is predicted, or seen, to lower the value
  trust_region_collapsed,  // trial points are rejected however short the step
  iteration_limit,
  infimum,     // the value has fallen to its infimum, for every practical purpose
  degenerate,  // gradient and Hessian diagonal vanish
  undefined    // no derivatives at an accepted point
};

constexpr const char* describe(run_end end) {
  switch (end) {
    case run_end::within_tolerance:
      return "tolerance met";
    case run_end::no_decrease:
      return "no further decrease";
    case run_end::trust_region_collapsed:
      return "trust region collapsed";
    case run_end::iteration_limit:
      return "limit reached";
    case run_end::infimum:
      return "score at its infimum";
    case run_end::degenerate:
      return "degenerate";
    case run_end::undefined:
      break;
  }
  return "undefined";
}

}  // namespace corvane
