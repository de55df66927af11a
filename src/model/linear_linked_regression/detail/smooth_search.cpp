// SPDX-License-Identifier: BSD-3-Clause
//
// The search over the hyperparameters of a penalty that has derivatives. The score may have
// several minima: unless there is only one strength of l2, a coarse scan over a common
// strength, and over the exponents of a bridge, finds where the run begins.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "common/blas_threads.h"
#include "model/linear_linked_regression/detail/hyperparameter_search.h"
#include "model/linear_linked_regression/detail/search_recorder.h"
#include "model/linear_linked_regression/detail/smooth_problem.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// What the scan uses of the data, which are moved into the objective.
struct data_size {
  double square_length;  // the mean of the penalized columns
  index_t num_rows;
};

data_size measure(const_matrix_view design, const_index_view groups) {
  double sum = 0.0;
  double count = 0.0;
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) continue;
    for (const double x : design.column(j)) sum += x * x;
    count += 1.0;
  }
  return {sum > 0.0 ? sum / count : 1.0, design.rows()};
}

// A path of falling strengths for each exponent, with warm starts. A strength s of |w|^2
// corresponds to s size^(2 - q) of |w|^q, where size is that of a typical weight.
class coarse_scan {
 public:
  coarse_scan(smooth_problem& posed, penalty_mode mode, const data_size& size)
      : posed_{posed},
        has_exponents_{mode == penalty_mode::bridge},
        square_length_{size.square_length},
        weight_size_{0.5 *
                     std::sqrt(static_cast<double>(size.num_rows) / size.square_length)} {}

  // Empty where the score is defined nowhere.
  dense_vector find_start() {
    // Near 1 and not at it, where the score is even in the root of the exponent less 1.
    constexpr std::array exponents{2.0, 1.5, 1.25, 1.02};
    for (const double exponent : exponents) {
      follow_path(exponent);
      if (!has_exponents_) break;
    }
    posed_.objective.restart();
    return best_;
  }

 private:
  void follow_path(double exponent) {
    constexpr int most_points = 20;
    constexpr int most_past_best = 3;
    const double step = std::sqrt(10.0);
    // The curvature of the loss is at most p / 4 times that of one column.
    double strength = square_length_ * static_cast<double>(posed_.groups.size()) *
                      std::pow(weight_size_, 2.0 - exponent);
    double best_of_path = infinity;
    int past_best = 0;
    for (int k = 0; k < most_points && past_best < most_past_best; ++k) {
      const double value = evaluate(strength, exponent);
      past_best = value < best_of_path ? 0 : past_best + 1;
      best_of_path = std::min(best_of_path, value);
      strength /= step;
    }
  }

  double evaluate(double strength, double exponent) {
    dense_vector theta{posed_.penalty->num_hyperparameters()};
    std::fill(theta.begin(), theta.end(), std::sqrt(strength));
    if (has_exponents_)
      std::fill(theta.begin() + theta.size() / 2, theta.end(), std::sqrt(exponent - 1.0));
    double value = infinity;
    const dense_vector weights{posed_.objective.weights()};
    if (!posed_.objective.settle_at(theta, weights, value)) return infinity;
    if (value < best_value_) {
      best_value_ = value;
      best_ = theta;
    }
    return value;
  }

  smooth_problem& posed_;
  bool has_exponents_;
  double square_length_;
  double weight_size_;
  dense_vector best_;
  double best_value_ = infinity;
};

// From `start` in the units of the data. Where there is none, from the best point of the
// scan or, should the score have no derivatives there, from the penalty's own start.
optimized search(smooth_problem& posed, const logistic_options& options,
                 const normalized_data& data, const data_size& size,
                 const_matrix_view start, trust_region_optimizer& optimizer) {
  if (start.size() > 0)
    return optimize_hyperparameters(
        optimizer, posed.objective,
        average_over_groups(
            hyperparameters_of_columns(options.penalty, data.units, posed.groups, start),
            posed.groups));
  dense_vector theta{posed.penalty->num_hyperparameters()};
  posed.penalty->initialize_hyperparameters(theta);
  if (theta.size() > 1) {
    const dense_vector best = coarse_scan{posed, options.penalty, size}.find_start();
    try {
      if (best.size() > 0)
        return optimize_hyperparameters(optimizer, posed.objective, best);
    } catch (const optimizer_undefined_error&) {
      posed.objective.restart();
    }
  }
  return optimize_hyperparameters(optimizer, posed.objective, theta);
}

}  // namespace

logistic_report search_smooth(logistic_data&& data, const logistic_options& options,
                              const_matrix_view start) {
  const index_vector groups = std::move(data.groups);
  normalized_data normalized = normalize(std::move(data), options);
  const single_blas_thread one_thread{normalized.design.cols() <= few_features};
  const data_size size = measure(normalized.design, groups);
  quiet_observer inner{options.observer};
  constexpr int inner_iterations = 10000;
  smooth_problem posed{
      normalized, options, groups,
      make_optimizer(options.tolerance, options.tolerance, inner_iterations, &inner)};
  search_recorder recorder{options.observer, posed.penalty->num_hyperparameters()};
  const auto optimizer = make_optimizer(options.tolerance, options.tolerance,
                                        options.max_iterations, &recorder);
  const optimized best = search(posed, options, normalized, size, start, *optimizer);
  double criterion = 0.0;
  if (!posed.objective.settle_at(best.result.x, best.weights, criterion))
    throw optimizer_undefined_error{};

  logistic_report report = describe_solution(normalized, groups, posed);
  report.criterion = criterion;
  set_run(best.result, report);
  report.history = recorder.history_of_run_to(best.result.value);
  report.hyperparameters = best.result.x;
  report.strengths = strengths_of_columns(options.penalty, normalized.units, groups,
                                          report.hyperparameters);
  return report;
}

}  // namespace corvane::model::linear_linked_regression_detail
