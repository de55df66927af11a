// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_design.h"

#include <algorithm>
#include <cmath>

namespace corvane::model::ridge_regression_detail {

common_penalty_design::common_penalty_design(const data_normalizer& normalizer,
                                             const_vector_view y, const_matrix_view X,
                                             bool bias_penalized,
                                             interruption* interruption)
    : normalizer_{&normalizer},
      y_{y},
      X_{X},
      penalized_{X.cols() + (normalizer.with_bias && bias_penalized ? 1 : 0)},
      interruption_{interruption},
      has_free_bias_{normalizer.with_bias && !bias_penalized} {}

double common_penalty_design::bias_entry() const {
  return 1.0 / std::sqrt(static_cast<double>(observations()));
}

void common_penalty_design::read_rows(index_t first, matrix_block block) const {
  check(interruption_);
  const index_t free = has_free_bias_ ? 1 : 0;
  if (has_free_bias_) fill(block.part_columns(0, free), bias_entry());
  for (index_t j = 0; j < penalized_; ++j) read_column(j, first, block.column(free + j));
  read_target_part(first, block.column(free + penalized_));
}

void common_penalty_design::read_columns(index_t first, matrix_block block) const {
  check(interruption_);
  for (index_t j = 0; j < block.cols(); ++j) read_column(first + j, 0, block.column(j));
}

void common_penalty_design::read_target(vector_view target) const {
  read_target_part(0, target);
}

void common_penalty_design::read_column(index_t column, index_t first,
                                        vector_view entries) const {
  if (column == X_.cols()) {
    std::fill(entries.begin(), entries.end(), bias_entry());
    return;
  }
  normalize(X_.column(column).part(first, entries.size()),
            normalizer_->feature_means[column], normalizer_->feature_scales[column],
            entries);
}

void common_penalty_design::read_target_part(index_t first, vector_view entries) const {
  normalize(y_.part(first, entries.size()), normalizer_->target_mean,
            normalizer_->target_scale, entries);
}

}  // namespace corvane::model::ridge_regression_detail
