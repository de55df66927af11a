// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/hyperparameter_search.h"

#include <utility>

namespace corvane::model::linear_linked_regression_detail {

// A run may end with a rejected trial: the theta that it returns is evaluated last, so that
// the weights belong to it. Should that fail, the weights are those of the last accepted
// theta, which is the one returned.
optimized optimize_hyperparameters(trust_region_optimizer& optimizer,
                                   aloocv_objective& objective, const_vector_view start) {
  trust_region_result result = optimize(optimizer, objective, start);
  double value = 0.0;
  objective.compute_value(result.x, value);
  if (!result.within_tolerance && objective.is_near_infimum(result.value))
    result.end = run_end::infimum;
  return {std::move(result), dense_vector{objective.weights()}};
}

}  // namespace corvane::model::linear_linked_regression_detail
