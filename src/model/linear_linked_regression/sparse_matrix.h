// SPDX-License-Identifier: BSD-3-Clause
//
// sparse_matrix: a compressed-sparse-row matrix. A regularizer writes the derivatives in
// its hyperparameters as such matrices: one row per hyperparameter or per pair of them, one
// column per weight.
#pragma once

#include <vector>

#include "n_array/n_array_view.h"

namespace corvane::model {

struct sparse_matrix {
  index_t num_rows = 0;
  index_t num_columns = 0;
  std::vector<double> values;
  std::vector<index_t> column_indices;
  std::vector<index_t> row_pointers;  // num_rows + 1 offsets into the two arrays above

  // A matrix that nobody has written, or one without a stored entry.
  bool empty() const { return values.empty(); }

  // The stored entries of one row: their values, and the columns that they stand in.
  const_vector_view row_values(index_t row) const {
    return {values.data() + first(row), first(row + 1) - first(row)};
  }
  const_index_view row_columns(index_t row) const {
    return {column_indices.data() + first(row), first(row + 1) - first(row)};
  }

 private:
  index_t first(index_t row) const { return row_pointers[static_cast<std::size_t>(row)]; }
};

}  // namespace corvane::model
