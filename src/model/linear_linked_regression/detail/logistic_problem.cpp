// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/logistic_problem.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "common/finite.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

bool is_zero(const_vector_view column) {
  return std::all_of(column.begin(), column.end(), [](double x) { return x == 0.0; });
}

// An infinite scale makes zeros of a normalized column, and of its coefficient.
void ignore_denormal_lengths(const std::vector<int>& exponents, vector_view scales) {
  constexpr double smallest = std::numeric_limits<double>::min();
  for (std::size_t j = 0; j < exponents.size(); ++j) {
    double& scale = scales[static_cast<index_t>(j)];
    if (exponents[j] < 0 && std::ldexp(scale, exponents[j]) < smallest) scale = infinity;
  }
}

// A constant column keeps its unit.
column_unit unit_of(double scale, int exponent, const_vector_view normalized) {
  if (exponent == 0) return {scale, 0};
  return is_zero(normalized) ? column_unit{} : column_unit{scale, exponent};
}

}  // namespace

normalized_data normalize(logistic_data&& data, const logistic_options& options) {
  dense_matrix X = std::move(data.X);
  normalized_data result;
  result.exponents = options.normalize
                         ? bring_into_range(X, options.observer)
                         : std::vector<int>(static_cast<std::size_t>(X.cols()), 0);
  constexpr index_t num_classes = 2;
  result.normalizer = classification_data_normalizer{
      {options.fit_intercept, options.normalize, options.fit_intercept, num_classes},
      data.y,
      X,
      options.observer};
  ignore_denormal_lengths(result.exponents, result.normalizer.feature_scales);
  result.design = result.normalizer.normalized_features(X, options.observer);
  result.target = result.normalizer.coded_target(data.y);
  for (index_t j = 0; j < X.cols(); ++j)
    result.units.push_back(unit_of(result.normalizer.feature_scales[j],
                                   result.exponents[static_cast<std::size_t>(j)],
                                   const_matrix_view{result.design}.column(j)));
  return result;
}

raw_solution in_units_of_data(const normalized_data& data, const_vector_view weights) {
  const dense_vector raw = data.normalizer.raw_weights(weights);
  raw_solution solution{dense_vector{data.normalizer.num_features()},
                        data.normalizer.raw_bias(raw)};
  for (index_t j = 0; j < solution.coefficients.size(); ++j)
    solution.coefficients[j] =
        std::ldexp(raw[j], -data.exponents[static_cast<std::size_t>(j)]);
  if (!all_finite(solution.coefficients) || !is_finite(solution.intercept))
    throw std::range_error{"a coefficient is beyond the range of doubles"};
  return solution;
}

dense_matrix hyperparameters_of_columns(penalty_mode mode,
                                        const std::vector<column_unit>& units,
                                        const_index_view groups,
                                        const_matrix_view strengths) {
  dense_matrix theta{groups.size(), num_kinds(mode)};
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) continue;
    const column_unit& unit = units[static_cast<std::size_t>(j)];
    const double first = strengths(j, 0);
    const double last = strengths(j, num_kinds(mode) - 1);
    if (mode == penalty_mode::l2 || mode == penalty_mode::elasticnet)
      theta(j, 0) = unit.times_power(std::sqrt(first), -1.0);
    if (mode == penalty_mode::l1 || mode == penalty_mode::elasticnet)
      theta(j, num_kinds(mode) - 1) = std::sqrt(unit.times_power(last, -1.0));
    if (mode == penalty_mode::bridge) {
      theta(j, 0) = std::sqrt(unit.times_power(first, -last));
      theta(j, 1) = std::sqrt(last - 1.0);
    }
  }
  return theta;
}

void absorb_strengths_in_scales(normalized_data& data, const_index_view groups,
                                matrix_view theta) {
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) continue;
    for (double& x : data.design.view().column(j)) x /= theta(j, 0);
    data.normalizer.feature_scales[j] *= theta(j, 0);
    data.units[static_cast<std::size_t>(j)].mantissa *= theta(j, 0);
    theta(j, 0) = 1.0;
  }
}

dense_matrix strengths_of_columns(penalty_mode mode, const std::vector<column_unit>& units,
                                  const_index_view groups, const_vector_view theta) {
  const index_t num_groups = count_groups(groups);
  const index_t last_kind = num_kinds(mode) - 1;
  dense_matrix strengths{groups.size(), last_kind + 1};
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) {
      strengths(j, last_kind) = mode == penalty_mode::bridge ? nan : 0.0;
      if (last_kind > 0) strengths(j, 0) = 0.0;
      continue;
    }
    const column_unit& unit = units[static_cast<std::size_t>(j)];
    const double first = theta[groups[j]] * theta[groups[j]];
    const double last = std::pow(theta[last_kind * num_groups + groups[j]], 2);
    if (mode == penalty_mode::l2 || mode == penalty_mode::elasticnet)
      strengths(j, 0) = unit.times_power(first, 2.0);
    if (mode == penalty_mode::l1 || mode == penalty_mode::elasticnet)
      strengths(j, last_kind) = unit.times_power(last, 1.0);
    if (mode == penalty_mode::bridge) {
      strengths(j, 0) = unit.times_power(first, 1.0 + last);
      strengths(j, 1) = 1.0 + last;
    }
  }
  return strengths;
}

index_vector separate_groups(const_index_view groups) {
  index_vector separate(groups.size());
  index_t next = 0;
  std::transform(groups.begin(), groups.end(), separate.begin(),
                 [&next](index_t group) { return group == no_group ? group : next++; });
  return separate;
}

index_t count_groups(const_index_view groups) {
  return groups.size() == 0 ? 0 : *std::max_element(groups.begin(), groups.end()) + 1;
}

dense_vector average_over_groups(const_matrix_view of_columns, const_index_view groups) {
  const index_t num_groups = count_groups(groups);
  dense_vector averages{num_groups * of_columns.cols()};
  for (index_t kind = 0; kind < of_columns.cols(); ++kind) {
    for (index_t g = 0; g < num_groups; ++g) {
      double first = nan;
      double log_sum = 0.0;
      double count = 0.0;
      for (index_t j = 0; j < groups.size(); ++j) {
        if (groups[j] != g) continue;
        if (count == 0.0) first = of_columns(j, kind);
        // Of equal numbers the mean is that number.
        if (of_columns(j, kind) != first) log_sum += std::log(of_columns(j, kind) / first);
        count += 1.0;
      }
      averages[kind * num_groups + g] =
          first == 0.0 ? 0.0 : first * std::exp(log_sum / count);
    }
  }
  return averages;
}

bool agree_within_groups(const_matrix_view of_columns, const_index_view groups) {
  constexpr double rounding = 1e-9;
  const index_t num_groups = count_groups(groups);
  std::vector<index_t> first(static_cast<std::size_t>(num_groups), no_group);
  for (index_t j = 0; j < groups.size(); ++j) {
    if (groups[j] == no_group) continue;
    index_t& leader = first[static_cast<std::size_t>(groups[j])];
    if (leader == no_group) leader = j;
    for (index_t kind = 0; kind < of_columns.cols(); ++kind)
      if (std::abs(of_columns(j, kind) - of_columns(leader, kind)) >
          rounding * of_columns(leader, kind))
        return false;
  }
  return true;
}

std::shared_ptr<const regularizer> penalty_over(penalty_mode mode, const_index_view groups,
                                                bool with_bias) {
  std::vector<variable_mapping::entry> entries;
  for (const index_t group : groups)
    entries.push_back(group == no_group ? variable_mapping::entry{0.0}
                                        : variable_mapping::entry{group});
  if (with_bias) entries.emplace_back(0.0);
  return make_penalty(mode, variable_mapping{entries});
}

}  // namespace corvane::model::linear_linked_regression_detail
