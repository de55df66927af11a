// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/report/ridge_report_parts.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/compensated_sum.h"
#include "common/finite.h"
#include "common/linear_algebra.h"
#include "model/ridge_regression/factorization/ridge_normal_matrix.h"
#include "model/ridge_regression/factorization/tall_factorization.h"

namespace corvane::model::ridge_regression_detail {

// The target is not centered: the coefficient of the constant column includes its mean.
prepared_data::prepared_data(dense_matrix&& features, dense_vector&& target,
                             const ridge_request& request)
    : X{std::move(features)},
      y{std::move(target)},
      rescaled{rescale_small_numbers(request.fit_intercept, request.normalize, X, y,
                                     request.observer)},
      normalizer{{false, request.fit_intercept, request.fit_intercept, request.normalize,
                  request.normalize},
                 y,
                 X,
                 request.observer} {}

double prepared_data::target(double value) const {
  return rescaled.target(value * normalizer.target_scale);
}

double prepared_data::criterion(double value) const {
  return rescaled.squared_target(value *
                                 (normalizer.target_scale * normalizer.target_scale));
}

double prepared_data::root_to_normalized(index_t j, double root) const {
  return rescaled.root_to_scaled(j, root) / normalizer.feature_scales[j];
}

double prepared_data::root_to_data(index_t j, double root) const {
  return rescaled.root_to_data(j, root * normalizer.feature_scales[j]);
}

index_vector each_alone(index_t count) {
  index_vector groups(count);
  std::iota(groups.begin(), groups.end(), 0);
  return groups;
}

double sum_of_squares(const_vector_view values) {
  compensated_sum sum;
  for (const double value : values) sum.add(value * value);
  return sum.total();
}

void set_influence(const ridge_influence& rows, const_vector_view column_dof,
                   const prepared_data& data, ridge_report& report) {
  const index_t n = rows.residuals.size();
  report.leverage = dense_vector(n);
  report.loo_residuals = dense_vector(n);
  for (index_t i = 0; i < n; ++i) {
    report.leverage[i] = 1.0 - rows.one_minus_leverage[i];
    report.loo_residuals[i] = data.target(rows.residuals[i] / rows.one_minus_leverage[i]);
  }
  report.effective_dof = compensated_total(report.leverage);
  dense_vector& by_group = report.effective_dof_by_group;
  by_group = dense_vector(count_groups(report.groups));
  std::fill(by_group.begin(), by_group.end(), 0.0);
  for (index_t j = 0; j < column_dof.size(); ++j)
    by_group[report.groups[j]] += column_dof[j];
  if (column_dof.size() == 0)
    by_group[0] = report.effective_dof - (data.normalizer.with_bias ? 1.0 : 0.0);
}

dense_matrix factor_rows(const common_penalty_design& design) {
  const index_t n = design.observations();
  const index_t columns = design.penalized() + (design.has_free_bias() ? 1 : 0) + 1;
  if (n >= columns)
    return tall_factorization{
        {n, columns,
         [&](index_t first, matrix_block block) { design.read_rows(first, block); }}}
        .triangle();
  dense_matrix rows{n, columns};
  design.read_rows(0, rows);
  return factor_design(std::move(rows)).triangle();
}

// The diagonal entry of a dependent column is at rounding level.
void require_independent_columns(const prepared_data& data, interruption* interruption) {
  const common_penalty_design design{data.normalizer, data.y, data.X,
                                     !data.normalizer.with_bias, interruption};
  const index_t p = design.penalized();
  const index_t free = design.has_free_bias() ? 1 : 0;
  const dense_matrix triangle = factor_rows(design);
  const const_matrix_block B = const_matrix_block{triangle}.part(free, free, p, p);
  std::string dependent;
  for (index_t j = 0; j < p; ++j) {
    const double threshold =
        10.0 * static_cast<double>(p) * double_epsilon * norm(B.column(j));
    if (std::abs(B(j, j)) > threshold) continue;
    dependent += (dependent.empty() ? "" : ", ") + std::to_string(j);
  }
  if (!dependent.empty())
    throw std::runtime_error{"dependent columns: [" + dependent + "]"};
}

void require_finite(const ridge_report& report) {
  if (!all_finite(report.coef.view()) || !is_finite(report.intercept) ||
      !is_finite(report.criterion_value))
    throw std::overflow_error{"a result is beyond the range of doubles"};
}

}  // namespace corvane::model::ridge_regression_detail
