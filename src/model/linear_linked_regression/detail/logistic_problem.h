// SPDX-License-Identifier: BSD-3-Clause
//
// From the data of a logistic fit to a normalized problem and back: columns of any size,
// strengths in units of the data and hyperparameters of normalized columns. A weight
// w = b length of a column of length 1 stands for the coefficient b, so that
//   strength |b|^q = strength length^-q |w|^q = theta^2 |w|^q.
#pragma once

#include <memory>
#include <vector>

#include "model/linear_linked_regression/classification_data_normalizer.h"
#include "model/linear_linked_regression/detail/column_units.h"
#include "model/linear_linked_regression/logistic_report.h"

namespace corvane::model::linear_linked_regression_detail {

inline constexpr index_t no_group = -1;

struct normalized_data {
  classification_data_normalizer normalizer;  // of the columns divided by 2^exponent
  std::vector<int> exponents;
  std::vector<column_unit> units;  // the lengths of the columns, 1 for those left alone
  dense_matrix design;             // the bias last where there is one
  dense_vector target;             // -1 and +1
};

// Columns whose length is not a normal number count as constant. Throws what the normalizer
// throws.
normalized_data normalize(logistic_data&& data, const logistic_options& options);

// What weights of normalized columns are in units of the data. Throws std::range_error
// where a coefficient is beyond the range of doubles.
struct raw_solution {
  dense_vector coefficients;
  double intercept;
};
raw_solution in_units_of_data(const normalized_data& data, const_vector_view weights);

// m by kinds: the hyperparameters of columns that have these strengths. Rows of columns
// without a group are not read, nor set.
dense_matrix hyperparameters_of_columns(penalty_mode mode,
                                        const std::vector<column_unit>& units,
                                        const_index_view groups,
                                        const_matrix_view strengths);
// And back, from the hyperparameters of all groups, kind by kind.
dense_matrix strengths_of_columns(penalty_mode mode, const std::vector<column_unit>& units,
                                  const_index_view groups, const_vector_view theta);

// Scales columns so that each one's l2 hyperparameter becomes 1: w' = theta w, for theta
// above 0. Theta is set to 1.
void absorb_strengths_in_scales(normalized_data& data, const_index_view groups,
                                matrix_view theta);

// Each penalized column becomes a group.
index_vector separate_groups(const_index_view groups);
index_t count_groups(const_index_view groups);
// Whether the columns of each group have the same hyperparameters, up to rounding.
bool agree_within_groups(const_matrix_view of_columns, const_index_view groups);
// The geometric means over each group, kind by kind.
dense_vector average_over_groups(const_matrix_view of_columns, const_index_view groups);

// Over the groups of the features; a bias has no penalty.
std::shared_ptr<const regularizer> penalty_over(penalty_mode mode, const_index_view groups,
                                                bool with_bias);

}  // namespace corvane::model::linear_linked_regression_detail
