// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/search_recorder.h"

#include <algorithm>

#include "common/matrix_block.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

dense_vector vector_of(const std::vector<double>& numbers) {
  return dense_vector{
      const_vector_view{numbers.data(), static_cast<index_t>(numbers.size())}};
}

}  // namespace

void search_recorder::check() {
  if (is_stopped_) throw optimizer_iteration_limit_error{};
  corvane::check(watcher_);
}

void search_recorder::observe_iteration(const iteration_record& record) {
  if (record.x.size() != num_hyperparameters_) return;
  if (record.iteration == 0 || runs_.empty()) runs_.emplace_back();
  recorded_run& run = runs_.back();
  run.values.push_back(record.value);
  run.gradient_maxima.push_back(record.gradient_max);
  run.radii.push_back(record.radius);
  run.points.insert(run.points.end(), record.x.begin(), record.x.end());
  if (watcher_ == nullptr) return;
  try {
    watcher_->observe_iteration(record);
  } catch (const optimizer_iteration_limit_error&) {
    is_stopped_ = true;
    throw;
  }
}

iteration_history search_recorder::history_of_run_to(double value) const {
  const auto run = std::find_if(
      runs_.rbegin(), runs_.rend(),
      [value](const recorded_run& candidate) { return candidate.values.back() == value; });
  if (run == runs_.rend()) return {};
  const auto count = static_cast<index_t>(run->values.size());
  iteration_history history{vector_of(run->values), vector_of(run->gradient_maxima),
                            vector_of(run->radii),
                            dense_matrix{count, num_hyperparameters_}};
  copy_transposed(const_matrix_view{run->points.data(), num_hyperparameters_, count},
                  matrix_view{history.hyperparameters});
  return history;
}

}  // namespace corvane::model::linear_linked_regression_detail
