// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/smooth_problem.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// Effective degrees of freedom of a solved inner problem. The fitted predictor moves with
// the working response by X H^-1 X' V, V = diag(l''), the trace of which is
//   sum_i h_i l''_i = sum_j (A H^-1)_jj,   A = X' V X.
// This is (A H^-1)_jj of each column j; `loss_curvature` is A.
// T. Hastie, R. Tibshirani, Generalized Additive Models (1990), section 6.8.3.
dense_vector effective_dof_of_columns(const inner_optimum& optimum,
                                      const_symmetric_view loss_curvature) {
  const index_t p = loss_curvature.rows();
  scoped_allocator scratch;
  const symmetric_view inverse = scratch.symmetric(p);
  copy_lower(optimum.hessian_factor, inverse);
  potri(inverse);
  dense_vector dof{p};
  for (index_t j = 0; j < p; ++j) {
    dof[j] = 0.0;
    for (index_t k = 0; k < p; ++k) dof[j] += loss_curvature(j, k) * inverse(k, j);
  }
  return dof;
}

// From the groups of a problem, each of which lies within one of `groups`, to these.
dense_vector gather_groups(const_vector_view of_run_groups, const_index_view run_groups,
                           const_index_view groups) {
  dense_vector sums{count_groups(groups)};
  std::fill(sums.begin(), sums.end(), 0.0);
  std::vector<bool> is_done(static_cast<std::size_t>(of_run_groups.size()), false);
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) continue;
    const auto g = static_cast<std::size_t>(run_groups[j]);
    if (!is_done[g]) sums[groups[j]] += of_run_groups[run_groups[j]];
    is_done[g] = true;
  }
  return sums;
}

}  // namespace

std::shared_ptr<trust_region_optimizer> make_optimizer(double tolerance,
                                                       double gradient_tolerance,
                                                       int max_iterations,
                                                       run_observer* observer) {
  trust_region_optimizer_options options;
  options.tolerance = tolerance;
  options.tolerance2 = gradient_tolerance;
  options.max_iterations = max_iterations;
  options.observer = observer;
  return make_trust_region_optimizer(options);
}

std::shared_ptr<trust_region_optimizer> make_tight_optimizer(int max_iterations,
                                                             run_observer* observer) {
  return make_optimizer(tight_tolerance, tight_gradient_tolerance, max_iterations,
                        observer);
}

smooth_problem::smooth_problem(normalized_data& data, const logistic_options& options,
                               const_index_view groups_of_columns,
                               std::shared_ptr<trust_region_optimizer> inner_optimizer)
    : groups{groups_of_columns},
      penalty{penalty_over(options.penalty, groups, options.fit_intercept)},
      reduced{row_space::find(data.design, *penalty)},
      objective{std::move(inner_optimizer),
                std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
                run_penalty(),
                std::move(reduced ? reduced->design : data.design),
                std::move(data.target),
                options.observer} {}

dense_vector smooth_problem::weights() const {
  const const_vector_view solution = objective.optimum().weights;
  return reduced ? reduced->expand(solution) : dense_vector{solution};
}

dense_vector smooth_problem::sum_by_group(const_vector_view of_weights) const {
  const auto& members = run_penalty()->mapping().groups();
  dense_vector sums(static_cast<index_t>(members.size()));
  for (index_t g = 0; g < sums.size(); ++g) {
    sums[g] = 0.0;
    for (const index_t k : members[static_cast<std::size_t>(g)]) sums[g] += of_weights[k];
  }
  return sums;
}

// The report of the objective's current solution.
logistic_report describe_solution(const normalized_data& data, const_index_view groups,
                                  smooth_problem& posed) {
  const inner_optimum optimum = posed.objective.optimum();
  logistic_report report;
  raw_solution solution = in_units_of_data(data, posed.weights());
  report.coefficients = std::move(solution.coefficients);
  report.intercept = solution.intercept;
  report.loo_predictions = dense_vector{optimum.loo_predictions};

  const dense_vector dof =
      effective_dof_of_columns(optimum, posed.objective.loss_curvature());
  report.effective_dof = std::accumulate(dof.begin(), dof.end(), 0.0);
  report.effective_dof_by_group =
      gather_groups(posed.sum_by_group(dof), posed.groups, groups);
  return report;
}

void set_run(const trust_region_result& run, logistic_report& report) {
  report.end = run.end;
  report.num_iterations = run.num_iterations;
  report.num_evaluations = run.num_evaluations;
}

}  // namespace corvane::model::linear_linked_regression_detail
