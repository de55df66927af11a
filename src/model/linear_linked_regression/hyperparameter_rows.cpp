// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/hyperparameter_rows.h"

#include <utility>

namespace corvane::model {

sparse_row_builder::sparse_row_builder(index_t num_rows, std::size_t expected_entries) {
  values_.reserve(expected_entries);
  column_indices_.reserve(expected_entries);
  row_pointers_.reserve(static_cast<std::size_t>(num_rows) + 1);
}

void sparse_row_builder::append(index_t column, double value) {
  // A NaN is unequal to zero and stays, so that it is seen further up.
  if (value == 0.0) return;
  values_.push_back(value);
  column_indices_.push_back(column);
}

regularizer_status sparse_row_builder::finish(index_t num_columns, sparse_matrix& out) {
  if (values_.empty()) return regularizer_status::identically_zero;
  const auto num_rows = static_cast<index_t>(row_pointers_.size());
  row_pointers_.push_back(count());
  values_.shrink_to_fit();
  column_indices_.shrink_to_fit();
  out = sparse_matrix{num_rows, num_columns, std::move(values_), std::move(column_indices_),
                      std::move(row_pointers_)};
  return regularizer_status::written;
}

std::size_t entries_of_all_groups(const variable_mapping& mapping, index_t num_kinds) {
  std::size_t num_variables = 0;
  for (const auto& group : mapping.groups()) num_variables += group.size();
  return static_cast<std::size_t>(num_kinds) * num_variables;
}

}  // namespace corvane::model
