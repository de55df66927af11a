// SPDX-License-Identifier: BSD-3-Clause
//
// What the functions of ridge_report.h share.
#pragma once

#include "common/interruption.h"
#include "model/ridge_regression/common_penalty/common_penalty_design.h"
#include "model/ridge_regression/data_normalizer.h"
#include "model/ridge_regression/grouping/penalty_groups.h"
#include "model/ridge_regression/report/ridge_influence.h"
#include "model/ridge_regression/report/ridge_report.h"
#include "model/ridge_regression/report/small_numbers.h"

namespace corvane::model::ridge_regression_detail {

// The data of a request after scaling of small numbers, with their normalizer.
struct prepared_data {
  dense_matrix X;
  dense_vector y;
  small_numbers rescaled;
  data_normalizer normalizer;

  prepared_data(dense_matrix&& X, dense_vector&& y, const ridge_request& request);

  // Normalized quantities in units of the data.
  double target(double value) const;
  double criterion(double value) const;
  // sqrt(alpha_j) for a column of length 1, and back.
  double root_to_normalized(index_t j, double root) const;
  double root_to_data(index_t j, double root) const;
};

// Code j for column j.
index_vector each_alone(index_t count);

// Compensated.
double sum_of_squares(const_vector_view values);

// Leverages, leave-one-out residuals and degrees of freedom of the report, whose groups are
// set. `column_dof` is empty where there is one group.
void set_influence(const ridge_influence& rows, const_vector_view column_dof,
                   const prepared_data& data, ridge_report& report);

// R of [N X1 y], with zeros in the rows that it does not have.
dense_matrix factor_rows(const common_penalty_design& design);

// Throws std::runtime_error, with the numbers of the columns that depend on those before
// them.
void require_independent_columns(const prepared_data& data, interruption* interruption);

// Throws std::overflow_error.
void require_finite(const ridge_report& report);

}  // namespace corvane::model::ridge_regression_detail
