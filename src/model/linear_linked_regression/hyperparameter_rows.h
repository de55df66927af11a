// SPDX-License-Identifier: BSD-3-Clause
//
// The sparse matrices of derivatives in the hyperparameters, one construction for all
// penalties. Theta holds `num_kinds` hyperparameters per group of weights, kind by kind:
// hyperparameter a is of kind a div G and of group a mod G, G the number of groups. So a
// row stores nothing outside of one group, and a pair of different groups stores nothing.
//
// A row's columns stand in the order of the group's list. Exact zeros are not stored; a NaN
// is.
#pragma once

#include <vector>

#include "model/linear_linked_regression/regularizer.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

// Gathers a matrix row by row.
class sparse_row_builder {
 public:
  sparse_row_builder(index_t num_rows, std::size_t expected_entries);

  void begin_row() { row_pointers_.push_back(count()); }
  void append(index_t column, double value);

  // Writes the matrix, unless nothing was stored.
  regularizer_status finish(index_t num_columns, sparse_matrix& out);

 private:
  index_t count() const { return static_cast<index_t>(values_.size()); }

  std::vector<double> values_;
  std::vector<index_t> column_indices_;
  std::vector<index_t> row_pointers_;
};

// The entries of a row when each of `num_kinds` kinds fills every group once.
std::size_t entries_of_all_groups(const variable_mapping& mapping, index_t num_kinds);

// A row per hyperparameter; entry(kind, group, k) is its derivative for weight k.
template <class Entry>
regularizer_status build_hyperparameter_rows(const variable_mapping& mapping,
                                             index_t num_kinds, Entry entry,
                                             sparse_matrix& out) {
  const auto num_groups = static_cast<index_t>(mapping.groups().size());
  const index_t num_rows = num_kinds * num_groups;
  sparse_row_builder rows{num_rows, entries_of_all_groups(mapping, num_kinds)};
  for (index_t a = 0; a < num_rows; ++a) {
    const index_t group = a % num_groups;
    rows.begin_row();
    for (const index_t k : mapping.groups()[static_cast<std::size_t>(group)])
      rows.append(k, entry(a / num_groups, group, k));
  }
  return rows.finish(mapping.size(), out);
}

// A row per pair of hyperparameters; entry(kind_a, kind_b, group, k), kind_a <= kind_b, is
// the second derivative for weight k.
template <class Entry>
regularizer_status build_hyperparameter_pair_rows(const variable_mapping& mapping,
                                                  index_t num_kinds, Entry entry,
                                                  sparse_matrix& out) {
  const auto num_groups = static_cast<index_t>(mapping.groups().size());
  const index_t Q = num_kinds * num_groups;
  sparse_row_builder rows{num_pairs(Q), entries_of_all_groups(mapping, num_kinds)};
  for (index_t a = 0; a < Q; ++a) {
    for (index_t b = a; b < Q; ++b) {
      const index_t group = a % num_groups;
      rows.begin_row();
      if (b % num_groups != group) continue;
      for (const index_t k : mapping.groups()[static_cast<std::size_t>(group)])
        rows.append(k, entry(a / num_groups, b / num_groups, group, k));
    }
  }
  return rows.finish(mapping.size(), out);
}

}  // namespace corvane::model
