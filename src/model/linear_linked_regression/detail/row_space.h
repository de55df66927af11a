// SPDX-License-Identifier: BSD-3-Clause
//
// row_space: the same ridge problem in fewer weights. A group g with one strength and more
// columns than observations has X_g' = Q_g R_g with R_g n by n. Its optimal weights lie in
// the span of Q_g, w_g = Q_g u_g, and
//   X_g w_g = R_g' u_g,   ||w_g|| = ||u_g||
// so that R_g' takes the place of X_g: the same solution and the same score, from n
// columns.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"

namespace corvane::model::linear_linked_regression_detail {

class row_space {
 public:
  // Nothing where no group has more columns than observations, or the penalty is not that
  // of ridge: others change under a rotation of the weights.
  static std::optional<row_space> find(const_matrix_view X, const regularizer& penalty);

  // The columns of all groups, and those that are held fixed behind them.
  dense_matrix design;
  std::shared_ptr<const regularizer> penalty;

  // w, given u
  dense_vector expand(const_vector_view u) const;

 private:
  struct part {
    std::vector<index_t> columns;  // of X
    index_t first;                 // column of the design
    dense_matrix factor;           // of X_g', as geqrf packed it; empty for columns kept
    dense_vector tau;
  };

  row_space() = default;
  void append(const_matrix_view X, const std::vector<index_t>& columns, bool may_rotate);
  void fill_design(const_matrix_view X);

  index_t num_weights_ = 0;
  index_t num_reduced_ = 0;
  std::vector<part> parts_;
};

}  // namespace corvane::model::linear_linked_regression_detail
