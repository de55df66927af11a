// SPDX-License-Identifier: BSD-3-Clause
//
// range_risk_objective: an unbiased estimate of the risk of a ridge fit over the range of
// X, the C_L statistic of C. L. Mallows, "Some comments on C_p", Technometrics 15 (1973),
// less constants:
//   value = RSS - y'y + 2 s2 tr H,   H = X inverse(A) X',
// with the noise variance s2 taken once from the unpenalized fit. The value may be
// negative. An evaluation does not depend on the number of observations.
#pragma once

#include "model/ridge_regression/scores/ridge_regression_objective.h"

namespace corvane::model::ridge_regression_detail {

class range_risk_objective final : public ridge_regression_objective {
 public:
  // Normalized y, n entries, and X, n by p, factored in place if moved in. Throws
  // std::runtime_error when the columns of X are linearly dependent. With n = p the noise
  // variance is NaN, and the score is undefined everywhere.
  range_risk_objective(const_vector_view target, dense_matrix design,
                       interruption* interruption = nullptr);

 private:
  struct measured_data {
    ridge_system system;
    double noise_variance;
  };
  static measured_data measure(const_vector_view target, dense_matrix&& design,
                               interruption* interruption);
  explicit range_risk_objective(measured_data&& measured);
  bool evaluate(const_vector_view t, const penalty_groups& groups,
                const ridge_outputs& wanted) override;

  double noise_variance_;
};

}  // namespace corvane::model::ridge_regression_detail
