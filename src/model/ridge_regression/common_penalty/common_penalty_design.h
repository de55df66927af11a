// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_design: the normalized design and target of a fit with one common penalty,
// read by blocks, so that no normalized copy of X is ever made. The columns are X1, those
// with the penalty: the features, and the bias where it is penalized; and N, the bias where
// it is not: a constant column of length 1, an orthonormal basis of the columns without
// penalty.
#pragma once

#include "common/interruption.h"
#include "common/matrix_block.h"
#include "model/ridge_regression/data_normalizer.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

class common_penalty_design {
 public:
  // The normalizer, y and X stay with the caller and must outlive the design. So must the
  // interruption, which is checked before each block that is read.
  common_penalty_design(const data_normalizer& normalizer, const_vector_view y,
                        const_matrix_view X, bool bias_penalized,
                        interruption* interruption = nullptr);

  index_t observations() const { return X_.rows(); }  // n
  index_t penalized() const { return penalized_; }    // columns of X1
  bool has_free_bias() const { return has_free_bias_; }
  double bias_entry() const;  // 1 / sqrt(n)

  // The rows from `first` on of [N X1 y], or of [X1 y] without N.
  void read_rows(index_t first, matrix_block block) const;
  // The columns from `first` on of X1, all n rows of them.
  void read_columns(index_t first, matrix_block block) const;
  // y
  void read_target(vector_view target) const;

 private:
  void read_column(index_t column, index_t first, vector_view entries) const;
  void read_target_part(index_t first, vector_view entries) const;

  const data_normalizer* normalizer_;
  const_vector_view y_;
  const_matrix_view X_;
  index_t penalized_;
  interruption* interruption_;
  bool has_free_bias_;
};

}  // namespace corvane::model::ridge_regression_detail
