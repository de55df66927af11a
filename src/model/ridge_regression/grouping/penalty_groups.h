// SPDX-License-Identifier: BSD-3-Clause
//
// Which penalized columns share a penalty: column j has the root t_j = u_g of its group g.
// Derivatives by u sum those by t, dt_j/du_g being 1 within the group and 0 elsewhere.
#pragma once

#include <algorithm>
#include <utility>

#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

// Groups are numbered from 0; one without a column has no influence.
inline index_t count_groups(const_index_view of_column) {
  return *std::max_element(of_column.begin(), of_column.end()) + 1;
}

class penalty_groups {
 public:
  // Each column is a group of its own.
  explicit penalty_groups(index_t columns) : count_{columns} {}
  // Column j is in group of_column[j].
  explicit penalty_groups(index_vector&& of_column)
      : of_column_{std::move(of_column)}, count_{count_groups(of_column_)} {}

  index_t count() const { return count_; }
  index_t columns() const { return of_column_.size() == 0 ? count_ : of_column_.size(); }
  index_t operator[](index_t column) const {
    return of_column_.size() == 0 ? column : of_column_[column];
  }

  // t_j = u_g of its group g
  void expand(const_vector_view u, vector_view t) const {
    for (index_t j = 0; j < t.size(); ++j) t[j] = u[(*this)[j]];
  }

  // Adds an entry of the Hessian by t to that by u, lower triangles both. Two columns of
  // one group stand for (j, k) and for (k, j).
  void add_to_hessian(index_t k, index_t j, double entry, symmetric_view hessian) const {
    const index_t row = std::max((*this)[k], (*this)[j]);
    const index_t col = std::min((*this)[k], (*this)[j]);
    hessian(row, col) += k != j && row == col ? 2.0 * entry : entry;
  }

 private:
  index_vector of_column_;
  index_t count_;
};

}  // namespace corvane::model::ridge_regression_detail
