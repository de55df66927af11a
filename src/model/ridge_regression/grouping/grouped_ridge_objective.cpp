// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/grouping/grouped_ridge_objective.h"

#include <utility>

#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

grouped_ridge_objective::grouped_ridge_objective(
    index_vector&& groups, std::shared_ptr<ridge_score_objective> score)
    : groups_{std::move(groups)}, score_{std::move(score)} {}

void grouped_ridge_objective::expand(const_vector_view u, vector_view t) const {
  for (index_t j = 0; j < groups_.size(); ++j) t[j] = u[groups_[j]];
}

bool grouped_ridge_objective::compute_weights(const_vector_view u, vector_view weights) {
  scoped_allocator scope;
  const vector_view t = scope.vector(groups_.size());
  expand(u, t);
  return score_->compute_weights(t, weights);
}

bool grouped_ridge_objective::evaluate(const_vector_view u, const ridge_outputs& wanted) {
  scoped_allocator scope;
  const vector_view t = scope.vector(groups_.size());
  expand(u, t);
  return score_->evaluate_groups(t, {groups_, u.size()}, wanted);
}

}  // namespace corvane::model::ridge_regression_detail
