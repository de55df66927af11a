// SPDX-License-Identifier: BSD-3-Clause
//
// The approximate leave-one-out loss of a logistic model with its derivatives in theta, by
// plain loops over the formulas: every second derivative of the optimum is formed, for
// every pair of hyperparameters and every sample. It shares with the product what a penalty
// says of itself and nothing else.
#pragma once

#include <vector>

#include "classification_problem.h"
#include "model/linear_linked_regression/regularizer.h"

namespace corvane::model {

struct plain_loo_loss {
  double value = 0.0;
  std::vector<double> gradient;
  std::vector<std::vector<double>> hessian;
};

// `w` solves the inner problem at theta.
plain_loo_loss compute_plain_loo_loss(const classification_problem& problem,
                                      const regularizer& penalty, const_vector_view theta,
                                      const_vector_view w);

}  // namespace corvane::model
