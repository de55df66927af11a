// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/make_ridge_score.h"

#include <utility>

#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "model/ridge_regression/scores/range_risk_objective.h"

namespace corvane::model::ridge_regression_detail {

// The switches have no default: the compiler warns of an enumerator without a case.

std::unique_ptr<ridge_regression_objective> make_score(ridge_objective_mode mode,
                                                       const data_normalizer& normalizer,
                                                       const_vector_view y,
                                                       const_matrix_view X,
                                                       interruption* interruption) {
  dense_matrix design = normalizer.normalized_features(X, interruption);
  dense_vector target = normalizer.normalized_target(y);
  switch (mode) {
    case ridge_objective_mode::gcv:
      return std::make_unique<gcv_objective>(target, std::move(design), interruption);
    case ridge_objective_mode::range_risk:
      return std::make_unique<range_risk_objective>(target, std::move(design),
                                                    interruption);
    case ridge_objective_mode::loocv:
      break;  // also for a value outside of the enumeration
  }
  return std::make_unique<loocv_objective>(std::move(design), std::move(target),
                                           interruption);
}

std::unique_ptr<common_penalty_objective> make_common_penalty_score(
    ridge_objective_mode mode, bool center_features, const common_penalty_design& design) {
  switch (mode) {
    case ridge_objective_mode::gcv:
      // Its short form needs the unpenalized column orthogonal to the others.
      if (design.has_free_bias() && !center_features) return nullptr;
      return std::make_unique<common_penalty_objective>(common_penalty_score::generalized,
                                                        design);
    case ridge_objective_mode::range_risk:
      return nullptr;
    case ridge_objective_mode::loocv:
      break;  // also for a value outside of the enumeration
  }
  return std::make_unique<common_penalty_objective>(common_penalty_score::leave_one_out,
                                                    design);
}

}  // namespace corvane::model::ridge_regression_detail
