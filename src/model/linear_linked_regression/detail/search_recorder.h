// SPDX-License-Identifier: BSD-3-Clause
//
// search_recorder: the iterations of a search over hyperparameters, which may take several
// runs. Those over a part of the hyperparameters alone are not recorded.
#pragma once

#include <vector>

#include "model/linear_linked_regression/logistic_report.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_state.h"

namespace corvane::model::linear_linked_regression_detail {

class search_recorder final : public run_observer {
 public:
  // `watcher` may be null; it sees what is recorded.
  search_recorder(run_observer* watcher, index_t num_hyperparameters)
      : watcher_{watcher}, num_hyperparameters_{num_hyperparameters} {}

  // Throws optimizer_iteration_limit_error once the watcher has ended a run by throwing it,
  // so that the remaining runs of the search end, too.
  void check() override;
  void observe_iteration(const iteration_record& record) override;

  // Of the last run that ended at this value.
  iteration_history history_of_run_to(double value) const;

 private:
  struct recorded_run {
    std::vector<double> values;
    std::vector<double> gradient_maxima;
    std::vector<double> radii;
    std::vector<double> points;  // row by row
  };

  run_observer* watcher_;
  index_t num_hyperparameters_;
  std::vector<recorded_run> runs_;
  bool is_stopped_ = false;
};

// Passes checks for an interruption on to `observer`, but no iterations.
class quiet_observer final : public run_observer {
 public:
  explicit quiet_observer(run_observer* observer) : observer_{observer} {}
  void check() override { corvane::check(observer_); }
  void observe_iteration(const iteration_record& /*record*/) override {}

 private:
  run_observer* observer_;
};

}  // namespace corvane::model::linear_linked_regression_detail
