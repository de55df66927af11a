// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regression_model_descriptor: turns options and raw data into a fitted ridge model.
// It normalizes the data, builds the chosen score, groups the hyperparameters, runs the
// optimizer, solves for the weights and undoes the normalization.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "model/ridge_regression/data_normalizer.h"
#include "model/ridge_regression/ridge_regression_model.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"
#include "n_array/n_array.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

enum class ridge_grouping_mode : std::int32_t { none = 0, all = 1, feature_bias = 2 };

struct ridge_regression_model_options {
  ridge_objective_mode objective_mode = ridge_objective_mode::loocv;
  ridge_grouping_mode grouping_mode = ridge_grouping_mode::none;
  bool center_target = true;
  bool center_features = true;
  bool with_bias = false;
  bool rescale_target = true;
  bool rescale_features = true;
  bool regularize_bias = false;
  std::unique_ptr<trust_region_optimizer> optimizer;  // null means one with 1e-4 and 1e-3
  std::function<void(vector_view)> initializer;       // empty means 0.1 everywhere
  bool with_influence =
      false;  // measure leverages and degrees of freedom; needs centered features
  run_observer* observer = nullptr;  // the one that the optimizer was made with
};

// The group of each of `count` hyperparameters, and of one more with the flag, which
// feature_bias puts into a group of its own; empty where each one is its own group.
index_vector make_variable_groups(ridge_grouping_mode mode, index_t count, bool with_flag);

class ridge_regression_model_descriptor {
 public:
  struct inspected_objective {
    std::unique_ptr<second_order_objective> objective;
    index_t num_hyperparameters;
  };

  explicit ridge_regression_model_descriptor(ridge_regression_model_options&& options);

  const ridge_regression_model_options& options() const { return options_; }

  // `groups` holds one group number, from 0 on, per hyperparameter (the features, and the
  // bias where it is penalized), or is empty for those of the grouping mode. Throws
  // std::invalid_argument, whose text says why, on data that
  // data_normalizer rejects, on groups of another length or out of range and on a start
  // point that is not finite; std::runtime_error on dependent columns in the range-risk
  // score; optimizer_undefined_error on a start point outside the score's domain; and what
  // the initializer throws.
  ridge_regression_model fit(const_vector_view y, const_matrix_view X,
                             index_vector groups) const;
  // The same with what `normalize` made of y and X.
  ridge_regression_model fit(const_vector_view y, const_matrix_view X, index_vector groups,
                             const data_normalizer& normalizer) const;
  data_normalizer normalize(const_vector_view y, const_matrix_view X) const;
  // At most `num_groups` groups, found by clustering the squared weights of a first fit
  // with one hyperparameter for all. At least as many groups as hyperparameters leave each
  // alone.
  ridge_regression_model fit_with_num_groups(const_vector_view y, const_matrix_view X,
                                             std::uint64_t num_groups) const;
  // Those groups alone; empty where each hyperparameter is its own group.
  index_vector cluster_coefficients(const_vector_view y, const_matrix_view X,
                                    std::uint64_t num_groups,
                                    const data_normalizer& normalizer) const;
  // The objective as `fit` would build it, with the length of its point, for inspection.
  // Here groups, given or by mode, include the bias column, penalized or not: p
  // entries.
  inspected_objective make_objective(const_vector_view y, const_matrix_view X,
                                     index_vector groups) const;

 private:
  ridge_regression_model_options options_;
};

}  // namespace corvane::model
