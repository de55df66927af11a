// SPDX-License-Identifier: BSD-3-Clause
//
// What the tests of the ridge descriptor share: options from flags, and the check of a
// fitted record against a ridge fit from the definition.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "model/ridge_regression/ridge_regression_model_descriptor.h"
#include "src/model/ridge_regression/reference_ridge.h"

namespace corvane::model {

inline constexpr std::array all_scores = {ridge_objective_mode::loocv,
                                          ridge_objective_mode::gcv,
                                          ridge_objective_mode::range_risk};

ridge_regression_model_options make_options(
    ridge_objective_mode score, ridge_grouping_mode grouping,
    const data_normalizer_options& normalization = {}, bool regularize_bias = false);

ridge_regression_model fit_ridge(ridge_regression_model_options options,
                                 const sample_data& data,
                                 const std::vector<index_t>& groups = {});

index_vector groups_of(const std::vector<index_t>& values);
std::vector<double> entries(const_vector_view values);
std::vector<index_t> entries(const index_vector& values);

// The t of every penalized coefficient, through the groups where there are any.
long_vector expanded_point(const ridge_regression_model& model);

// Weights, intercept, scaled regularization and predictions are those of the penalties
// found, with the normalization undone.
void expect_consistent(const data_normalizer_options& normalization,
                       const sample_data& data, const ridge_regression_model& model);

// Largest difference of two lists of one length, relative to the larger entry or to 1.
double largest_difference(const std::vector<double>& a, const std::vector<double>& b);

}  // namespace corvane::model
