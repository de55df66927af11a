// SPDX-License-Identifier: BSD-3-Clause
//
// Ridge fits and criteria at given strengths. A column divided by the root of its strength
// has a strength of 1: positive strengths make a problem with one common penalty, which is
// solved in the dual form where there are more columns than rows.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/linear_algebra.h"
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "model/ridge_regression/report/ridge_report.h"
#include "model/ridge_regression/report/ridge_report_parts.h"
#include "model/ridge_regression/scores/make_ridge_score.h"
#include "optimization/optimizer_error.h"

namespace corvane::model {

namespace ridge_regression_detail {

namespace {

// Its square is finite.
constexpr double largest_root = 1e150;

dense_vector normalized_roots(const prepared_data& data, const_vector_view alpha) {
  dense_vector t(alpha.size());
  for (index_t j = 0; j < t.size(); ++j)
    t[j] = std::min(data.root_to_normalized(j, std::sqrt(alpha[j])), largest_root);
  return t;
}

// Columns divided by these roots, and their squares, stay within the range of doubles.
bool are_divisors(const_vector_view t) {
  return std::all_of(t.begin(), t.end(),
                     [](double root) { return root > 1e-100 && root < 1e100; });
}

data_normalizer divide_by_roots(const data_normalizer& normalizer, const_vector_view t) {
  data_normalizer divided = normalizer;
  for (index_t j = 0; j < t.size(); ++j) divided.feature_scales[j] *= t[j];
  return divided;
}

// At one common penalty t, of normalized data.
struct solution {
  dense_vector weights;  // those of X1, then that of N
  ridge_influence rows;
  dense_vector column_dof;
  double noise_variance = 0.0;  // NaN where it cannot be estimated
};

// With n <= p, at a penalty of 1.
solution solve_dual(const common_penalty_design& design) {
  const auto factors = factor_common_penalty(design);
  solution found{dense_vector(design.penalized() + (design.has_free_bias() ? 1 : 0)),
                 measure_influence(factors->rows(), factors->spectrum(), 1.0),
                 dense_vector(design.penalized()),
                 std::numeric_limits<double>::quiet_NaN()};
  factors->solve(1.0, found.weights);
  factors->column_dof(1.0, found.column_dof);
  return found;
}

// NaN without degrees of freedom.
double estimate_noise(const_matrix_block R, index_t observations) {
  const index_t last = R.cols() - 1;
  if (observations <= last) return std::numeric_limits<double>::quiet_NaN();
  return R(last, last) * R(last, last) / static_cast<double>(observations - last);
}

// [N X1 y] = Q [r_0 r' v; 0 B c; 0 0 d]: weights = inverse(A) B'c = G (B G)'c.
solution solve_primal(const common_penalty_design& design, const_vector_view t) {
  const index_t p = design.penalized();
  const index_t free = design.has_free_bias() ? 1 : 0;
  const dense_matrix triangle = factor_rows(design);
  const const_matrix_block R{triangle};
  const const_matrix_block B = R.part(free, free, p, p);
  const inverse_root root = invert_root(B, t);

  dense_matrix product{p, root.columns.cols()};
  gemm(1.0, plain, B, plain, root.columns, 0.0, product);
  dense_vector rotated(root.columns.cols());
  gemv(1.0, transposed, product, R.column(free + p).part(free, p), 0.0, rotated);
  dense_vector weights(p + free);
  gemv(1.0, plain, root.columns, rotated, 0.0, weights.view().part(0, p));
  if (free == 1) {
    double rest = R(0, free + p);
    for (index_t j = 0; j < p; ++j) rest -= R(0, free + j) * weights[j];
    weights[p] = rest / R(0, 0);
  }
  ridge_influence rows = measure_influence(design, root, weights);
  return {std::move(weights), std::move(rows), column_dof(root, t),
          estimate_noise(R, design.observations())};
}

bool are_equal(const_vector_view t) {
  const auto [least, most] = std::minmax_element(t.begin(), t.end());
  return *most - *least <= 1e-12 * *most;
}

// The gcv with several penalties: leave-one-out residuals in rotated coordinates, which
// depend on how columns are normalized.
double rotated_criterion(const prepared_data& data, dense_vector t,
                         interruption* interrupt) {
  // Continuous at 0, where the score is not defined.
  for (double& root : t) root = std::max(root, 1e-8);
  double value = 0.0;
  const auto score =
      make_score(ridge_objective_mode::gcv, data.normalizer, data.y, data.X, interrupt);
  if (!score->compute_value(t, value)) throw optimizer_undefined_error{};
  return value;
}

double sum_of_squared_loo_residuals(const ridge_influence& rows) {
  compensated_sum sum;
  for (index_t i = 0; i < rows.residuals.size(); ++i) {
    const double residual = rows.residuals[i] / rows.one_minus_leverage[i];
    sum.add(residual * residual);
  }
  return sum.total();
}

// By the definition of the criterion, in normalized units.
double criterion_of(const ridge_request& request, const prepared_data& data,
                    const dense_vector& t, const solution& at) {
  const auto& [residuals, one_minus_leverage] = at.rows;
  const auto n = static_cast<double>(residuals.size());
  const double mean_one_minus_leverage = mean_of(one_minus_leverage);
  switch (request.criterion) {
    case ridge_objective_mode::gcv:
      return are_equal(t) ? sum_of_squares(residuals) / mean_one_minus_leverage /
                                mean_one_minus_leverage
                          : rotated_criterion(data, t, request.observer);
    case ridge_objective_mode::range_risk:
      return sum_of_squares(residuals) +
             2.0 * at.noise_variance * n * (1.0 - mean_one_minus_leverage);
    case ridge_objective_mode::loocv:
      return sum_of_squared_loo_residuals(at.rows);
  }
  throw std::logic_error{"criterion_of: a criterion is missing"};
}

}  // namespace

}  // namespace ridge_regression_detail

ridge_report solve_ridge(dense_matrix&& X, dense_vector&& y, const ridge_request& request,
                         const_vector_view alpha) {
  namespace detail = ridge_regression_detail;
  const detail::prepared_data data{std::move(X), std::move(y), request};
  const index_t p = data.X.cols();
  const dense_vector t = detail::normalized_roots(data, alpha);
  const bool is_dual =
      data.X.rows() <= p + (request.fit_intercept ? 1 : 0) && detail::are_divisors(t);
  const data_normalizer normalizer =
      is_dual ? detail::divide_by_roots(data.normalizer, t) : data.normalizer;
  const detail::common_penalty_design design{normalizer, data.y, data.X,
                                             !request.fit_intercept, request.observer};
  const detail::solution found =
      is_dual ? detail::solve_dual(design) : detail::solve_primal(design, t);
  if (request.criterion == ridge_objective_mode::range_risk)
    detail::require_independent_columns(data, request.observer);

  ridge_report report;
  report.groups = request.groups.size() == 0 ? detail::each_alone(p) : request.groups;
  const dense_vector raw = normalizer.raw_weights(found.weights);
  report.coef = dense_vector(p);
  for (index_t j = 0; j < p; ++j) report.coef[j] = data.rescaled.coefficient(j, raw[j]);
  report.intercept = data.rescaled.target(normalizer.raw_intercept(raw));
  report.alpha = alpha;
  report.criterion_value = data.criterion(detail::criterion_of(request, data, t, found));
  detail::set_influence(found.rows, found.column_dof, data, report);
  detail::require_finite(report);
  return report;
}

ridge_criterion_value evaluate_ridge_criterion(dense_matrix&& X, dense_vector&& y,
                                               const ridge_request& request,
                                               const_vector_view alpha) {
  namespace detail = ridge_regression_detail;
  const detail::prepared_data data{std::move(X), std::move(y), request};
  const index_t p = data.X.cols();
  const index_vector groups =
      request.groups.size() == 0 ? detail::each_alone(p) : request.groups;
  dense_vector t = detail::normalized_roots(data, alpha);
  const data_normalizer divided = detail::divide_by_roots(data.normalizer, t);
  const detail::common_penalty_design design{divided, data.y, data.X,
                                             !request.fit_intercept, request.observer};
  // With one group all roots move together, and are multiples of a common one. The gcv has
  // the short form where they are equal.
  std::unique_ptr<second_order_objective> score;
  if (detail::count_groups(groups) == 1 && detail::are_divisors(t) &&
      (request.criterion == ridge_objective_mode::loocv || detail::are_equal(t)))
    score =
        detail::make_common_penalty_score(request.criterion, request.fit_intercept, design);
  if (score == nullptr) {
    score = detail::make_score(request.criterion, data.normalizer, data.y, data.X,
                               request.observer);
  } else {
    t = dense_vector(1);
    t[0] = 1.0;
  }

  ridge_criterion_value result;
  dense_vector by_root(t.size());
  double value = 0.0;
  if (!score->compute_value_gradient(t, value, by_root)) throw optimizer_undefined_error{};
  if (request.criterion == ridge_objective_mode::range_risk)
    value += detail::sum_of_squares(data.normalizer.normalized_target(data.y));
  result.value = data.criterion(value);
  result.gradient = dense_vector(detail::count_groups(groups));
  std::fill(result.gradient.begin(), result.gradient.end(), 0.0);
  // d t / d log alpha = t / 2
  for (index_t j = 0; j < t.size(); ++j)
    result.gradient[groups[j]] += data.criterion(0.5 * t[j] * by_root[j]);
  return result;
}

}  // namespace corvane::model
