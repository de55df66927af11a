// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/report/ridge_report.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/finite.h"
#include "model/ridge_regression/report/ridge_report_parts.h"
#include "model/ridge_regression/ridge_regression_model_descriptor.h"
#include "optimization/run_end.h"
#include "optimization/run_observer.h"

namespace corvane::model {

using ridge_regression_detail::count_groups;
using ridge_regression_detail::each_alone;
using ridge_regression_detail::prepared_data;

namespace {

// Forwards each record with the value in squared units of the target.
class rescaling_observer final : public run_observer {
 public:
  rescaling_observer(run_observer* inner, double factor, double constant)
      : inner_{inner}, factor_{factor}, constant_{constant} {}
  void check() override { corvane::check(inner_); }
  void observe_iteration(const iteration_record& record) override {
    if (inner_ == nullptr) return;
    iteration_record rescaled = record;
    rescaled.value = record.value * factor_ + constant_;
    inner_->observe_iteration(rescaled);
  }

 private:
  run_observer* inner_;
  double factor_;
  double constant_;
};

// Forwards the checks for an interruption, and no iteration.
class silent_observer final : public run_observer {
 public:
  explicit silent_observer(run_observer* inner) : inner_{inner} {}
  void check() override { corvane::check(inner_); }
  void observe_iteration(const iteration_record& /*record*/) override {}

 private:
  run_observer* inner_;
};

dense_vector constant_point(index_t size, double root) {
  dense_vector point(size);
  std::fill(point.begin(), point.end(), root);
  return point;
}

// One root for each group, for columns of length 1: the geometric mean of those of its
// columns.
dense_vector given_start(const ridge_request& request, const_index_view groups,
                         const prepared_data& data) {
  dense_vector point(count_groups(groups));
  dense_vector counts(point.size());
  std::fill(point.begin(), point.end(), 0.0);
  std::fill(counts.begin(), counts.end(), 0.0);
  for (index_t j = 0; j < groups.size(); ++j) {
    const double root = data.root_to_normalized(j, std::sqrt(request.start[j]));
    point[groups[j]] += std::log(root);
    counts[groups[j]] += 1.0;
  }
  for (index_t g = 0; g < point.size(); ++g) point[g] = std::exp(point[g] / counts[g]);
  return point;
}

ridge_regression_model_descriptor make_descriptor(const ridge_request& request,
                                                  run_observer* observer,
                                                  dense_vector&& start,
                                                  bool with_influence) {
  ridge_regression_model_options options;
  options.objective_mode = request.criterion;
  options.center_target = false;
  options.center_features = request.fit_intercept;
  options.with_bias = request.fit_intercept;
  options.rescale_target = request.normalize;
  options.rescale_features = request.normalize;
  options.with_influence = with_influence;
  options.observer = observer;
  options.optimizer = make_trust_region_optimizer({.tolerance = request.tolerance,
                                                   .tolerance2 = request.tolerance,
                                                   .max_iterations = request.max_iterations,
                                                   .observer = observer});
  options.initializer = [start = std::move(start)](vector_view point) {
    std::copy(start.begin(), start.end(), point.begin());
  };
  return ridge_regression_model_descriptor{std::move(options)};
}

// The optimizer's range risk leaves out the sum of squares of the target, a constant.
double left_out(const ridge_request& request, const prepared_data& data) {
  if (request.criterion != ridge_objective_mode::range_risk) return 0.0;
  return ridge_regression_detail::sum_of_squares(data.normalizer.normalized_target(data.y));
}

// Names the columns where the score found that some of them depend on others.
ridge_regression_model run_fit(const ridge_regression_model_descriptor& descriptor,
                               const ridge_request& request, const_index_view groups,
                               const prepared_data& data) {
  try {
    return descriptor.fit(data.y, data.X, index_vector{groups}, data.normalizer);
  } catch (const std::runtime_error&) {
    if (request.criterion == ridge_objective_mode::range_risk)
      ridge_regression_detail::require_independent_columns(data, request.observer);
    throw;
  }
}

constexpr double default_root = 0.1;

// The search where no start is given. With several groups it begins at the optimum of one
// penalty common to all, within bounds: that optimum may lie at zero or at infinity, where
// the criterion has no slope. Where the search ends above it, another one begins at the
// optimum itself, from which it descends, unless the iterations were limited.
ridge_regression_model search(const ridge_request& request, const_index_view groups,
                              const prepared_data& data, run_observer& observer) {
  // At a root of 1 an orthogonal column of length 1 keeps half of its coefficient.
  constexpr double largest_root = 1.0;
  // With fewer rows than columns the normal matrix of several penalties has no precision
  // left below.
  constexpr double least_precise_root = 1e-4;
  const index_t count = count_groups(groups);
  const auto search_from = [&](double root) {
    return run_fit(make_descriptor(request, &observer, constant_point(count, root), true),
                   request, request.groups, data);
  };
  if (count == 1) return search_from(default_root);
  silent_observer silent{request.observer};
  index_vector one_group(groups.size());
  std::fill(one_group.begin(), one_group.end(), 0);
  const auto common =
      run_fit(make_descriptor(request, &silent, constant_point(1, default_root), false),
              request, one_group, data);
  const double root = std::abs(common.regularization[0]);
  auto found = search_from(std::clamp(root, default_root, largest_root));
  if (found.score <= common.score || found.result.end == run_end::iteration_limit)
    return found;
  return search_from(std::max(root, least_precise_root));
}

}  // namespace

ridge_report fit_ridge(dense_matrix&& X, dense_vector&& y, const ridge_request& request) {
  const prepared_data data{std::move(X), std::move(y), request};
  ridge_report report;
  report.groups = request.groups.size() == 0 ? each_alone(data.X.cols()) : request.groups;
  const double constant = left_out(request, data);
  rescaling_observer observer{request.observer, data.criterion(1.0),
                              data.criterion(constant)};
  auto model =
      request.start.size() > 0
          ? run_fit(make_descriptor(request, &observer,
                                    given_start(request, report.groups, data), true),
                    request, request.groups, data)
          : search(request, report.groups, data, observer);

  report.coef = dense_vector(data.X.cols());
  report.alpha = dense_vector(data.X.cols());
  for (index_t j = 0; j < data.X.cols(); ++j) {
    const double root = data.root_to_data(j, model.regularization[report.groups[j]]);
    report.coef[j] = data.rescaled.coefficient(j, model.weights[j]);
    report.alpha[j] = std::min(root * root, largest_double);
  }
  report.intercept = data.rescaled.target(model.intercept);
  report.criterion_value = data.criterion(model.score + constant);
  set_influence(model.influence->rows, model.influence->column_dof, data, report);
  report.run = std::move(model.result);
  ridge_regression_detail::require_finite(report);
  return report;
}

index_vector cluster_ridge_columns(dense_matrix&& X, dense_vector&& y,
                                   const ridge_request& request, index_t num_groups) {
  const prepared_data data{std::move(X), std::move(y), request};
  const auto descriptor =
      make_descriptor(request, request.observer, constant_point(1, default_root), false);
  index_vector groups = descriptor.cluster_coefficients(
      data.y, data.X, static_cast<std::uint64_t>(num_groups), data.normalizer);
  return groups.size() == 0 ? each_alone(data.X.cols()) : groups;
}

}  // namespace corvane::model
