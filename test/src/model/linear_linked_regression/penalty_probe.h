// SPDX-License-Identifier: BSD-3-Clause
//
// What the tests of the penalties share: their operations as functions from vectors to
// vectors, and one of each penalty over the same groups of weights.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/linear_linked_regression/bridge_regularizer.h"
#include "model/linear_linked_regression/regularizer.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"

namespace corvane::model {

using numbers = std::vector<double>;

inline const_vector_view view_of(const numbers& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}
inline vector_view view_of(numbers& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

using vector_operation = regularizer_status (regularizer::*)(const_vector_view,
                                                             const_vector_view,
                                                             vector_view) const;
using sparse_operation = regularizer_status (regularizer::*)(const_vector_view,
                                                             const_vector_view,
                                                             sparse_matrix&) const;

inline constexpr vector_operation gradient = &regularizer::compute_gradient;
inline constexpr vector_operation second_derivative =
    &regularizer::compute_second_derivative;
inline constexpr vector_operation third_derivative = &regularizer::compute_third_derivative;
inline constexpr vector_operation fourth_derivative =
    &regularizer::compute_fourth_derivative;
inline constexpr sparse_operation gradient_in_theta =
    &regularizer::compute_gradient_hyperparameter_derivative;
inline constexpr sparse_operation gradient_in_theta_twice =
    &regularizer::compute_gradient_hyperparameter_hessian;
inline constexpr sparse_operation second_derivative_in_theta =
    &regularizer::compute_second_derivative_hyperparameter_derivative;
inline constexpr sparse_operation second_derivative_in_theta_twice =
    &regularizer::compute_second_derivative_hyperparameter_hessian;
inline constexpr sparse_operation third_derivative_in_theta =
    &regularizer::compute_third_derivative_hyperparameter_derivative;

struct evaluated {
  regularizer_status status;
  numbers values;
};

// Every entry is overwritten by the operation: the buffer starts as `untouched`.
inline constexpr double untouched = -7777.0;
inline evaluated evaluate(const regularizer& penalty, vector_operation compute,
                          const numbers& theta, const numbers& w) {
  evaluated result{regularizer_status::written, numbers(w.size(), untouched)};
  result.status = (penalty.*compute)(view_of(theta), view_of(w), view_of(result.values));
  return result;
}

inline double value_of(const regularizer& penalty, const numbers& theta, const numbers& w) {
  double value = untouched;
  penalty.compute_value(view_of(theta), view_of(w), value);
  return value;
}

// As a caller reads it: zeros where the status says so.
inline numbers derivative_of(const regularizer& penalty, vector_operation compute,
                             const numbers& theta, const numbers& w) {
  evaluated result = evaluate(penalty, compute, theta, w);
  if (result.status == regularizer_status::identically_zero)
    result.values.assign(w.size(), 0.0);
  return result.values;
}

// The rows of a sparse result one after the other, `num_rows` times p numbers.
inline numbers rows_of(const regularizer& penalty, sparse_operation compute,
                       index_t num_rows, const numbers& theta, const numbers& w) {
  numbers dense(static_cast<std::size_t>(num_rows) * w.size(), 0.0);
  sparse_matrix out;
  if ((penalty.*compute)(view_of(theta), view_of(w), out) ==
      regularizer_status::identically_zero)
    return dense;
  for (index_t row = 0; row < num_rows; ++row)
    for (index_t k = 0; k < out.row_values(row).size(); ++k)
      dense[static_cast<std::size_t>(row) * w.size() +
            static_cast<std::size_t>(out.row_columns(row)[k])] = out.row_values(row)[k];
  return dense;
}

struct named_penalty {
  std::string name;
  std::unique_ptr<regularizer> penalty;
  numbers theta;  // of both signs, no two alike
};

// Three groups that interleave, an unpenalized weight and one whose lambda is held.
inline variable_mapping interleaved_groups() {
  using entry = variable_mapping::entry;
  const auto group = [](index_t g) { return entry{std::in_place_type<index_t>, g}; };
  return variable_mapping{{group(0), group(1), entry{0.0}, group(2), group(1), group(0),
                           entry{0.75}, group(2), group(0)}};
}

inline std::vector<named_penalty> all_penalties(double s) {
  std::vector<named_penalty> all;
  const numbers strengths{1.25, -0.75, 0.5};
  const numbers twice{1.25, -0.75, 0.5, 0.625, -1.125, 1.5};
  all.push_back(
      {"ridge", std::make_unique<ridge_regularizer>(interleaved_groups()), strengths});
  all.push_back(
      {"lasso", std::make_unique<lasso_regularizer>(interleaved_groups(), s), strengths});
  all.push_back(
      {"elastic", std::make_unique<elastic_regularizer>(interleaved_groups(), s), twice});
  all.push_back(
      {"bridge", std::make_unique<bridge_regularizer>(interleaved_groups(), s), twice});
  return all;
}

}  // namespace corvane::model
