// SPDX-License-Identifier: BSD-3-Clause
//
// What a fit of a warped linear regression leaves behind: all that prediction and reporting
// need.
#pragma once

#include <memory>

#include "model/ridge_regression/data_normalizer.h"
#include "model/warped_linear_regression/target_warper.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct warped_fit {
  data_normalizer normalizer;  // of new rows
  trust_region_result result;  // holds the final parameters and value
  std::shared_ptr<model::target_warper> target_warper;
  dense_vector regressors;  // beta, p entries: normalized features to normalized latents
  double noise_variance = 0.0;  // in the same units
  dense_matrix r_transposed;    // R', p by p: its lower triangle is meaningful
};

}  // namespace corvane::model
