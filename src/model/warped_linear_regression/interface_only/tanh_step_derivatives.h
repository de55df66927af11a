// SPDX-License-Identifier: BSD-3-Clause
//
// One pass over the targets that evaluates a sum of tanh steps and those of its derivatives
// in the parameters that are requested. Value and derivatives share one tanh per step and
// target. The rows are processed in blocks that stay in cache.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

// Where the results go. What is left null or empty is not computed, save for the latent;
// the latent Hessian needs the Jacobian beside it.
struct evaluation_outputs {
  vector_view latent{};
  double* log_jacobian = nullptr;
  matrix_view jacobian{};
  vector_view log_jacobian_gradient{};
  matrix_view latent_hessian{};
  symmetric_view log_jacobian_hessian{};
};

void evaluate_steps(const_vector_view theta, const_vector_view y,
                    const evaluation_outputs& outputs);

}  // namespace corvane::model::tanh_warper_detail
