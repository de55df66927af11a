// SPDX-License-Identifier: BSD-3-Clause
//
// linear_linked_regression_model_descriptor: turns options and raw data into a fitted
// classifier. It normalizes the features and codes the classes, lets the outer optimizer
// choose the hyperparameters, each trial of which runs the inner one, and folds the
// normalization back into the weights.
#pragma once

#include <functional>
#include <memory>

#include "model/linear_linked_regression/linear_linked_regression_model.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

// What is null is filled at construction of the descriptor: the logistic link, and
// optimizers with the tolerances 1e-4 and 0.1 over theta, 1e-4 and 1e-4 over w.
struct linear_linked_regression_model_options {
  bool center_features = true;
  bool rescale_features = true;
  bool with_bias = true;
  index_t num_classes = 2;
  bool regularize_bias = false;  // of the default penalty alone
  std::shared_ptr<const linear_loss_link> loss_link;
  std::shared_ptr<trust_region_optimizer> outer_optimizer;  // over theta
  std::shared_ptr<trust_region_optimizer> inner_optimizer;  // over w
  // Writes the start value of theta. Empty means the start of the penalty.
  std::function<void(vector_view)> initializer;
  interruption* interrupt = nullptr;  // not owned; checked in each loop over observations
};

class linear_linked_regression_model_descriptor {
 public:
  explicit linear_linked_regression_model_descriptor(
      linear_linked_regression_model_options options);

  const linear_linked_regression_model_options& options() const { return options_; }

  // `penalty` has one variable per column of the normalized design, the bias last; null
  // means a ridge over one group. Throws what the normalizer throws, what the initializer
  // throws, and optimizer_undefined_error where the score is undefined at the start value.
  // A tolerance that was not met shows in the result alone.
  linear_linked_regression_model fit(const_vector_view y, const_matrix_view X,
                                     std::shared_ptr<const regularizer> penalty = {}) const;

 private:
  linear_linked_regression_model_options options_;
};

}  // namespace corvane::model
