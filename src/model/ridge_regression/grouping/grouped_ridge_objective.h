// SPDX-License-Identifier: BSD-3-Clause
//
// grouped_ridge_objective: a ridge score as a function of one root per group of columns.
// The score itself sums within a group, before the products over the observations: tables
// have a column per group where the derivatives by all t_j would need one per column.
#pragma once

#include <memory>

#include "model/ridge_regression/scores/ridge_score_objective.h"

namespace corvane::model::ridge_regression_detail {

class grouped_ridge_objective final : public ridge_evaluation {
 public:
  // groups[j] is the group of column j. Groups are numbered from 0; one without a column
  // has no influence.
  grouped_ridge_objective(index_vector&& groups,
                          std::shared_ptr<ridge_score_objective> score);

  // t_j = u_g of its group g
  void expand(const_vector_view u, vector_view t) const;
  bool compute_weights(const_vector_view u, vector_view weights) override;

 private:
  bool evaluate(const_vector_view u, const ridge_outputs& wanted) override;

  index_vector groups_;
  std::shared_ptr<ridge_score_objective> score_;
};

}  // namespace corvane::model::ridge_regression_detail
