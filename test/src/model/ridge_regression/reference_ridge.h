// SPDX-License-Identifier: BSD-3-Clause
//
// A plain ridge regression in extended precision, as an oracle: definitions written out, no
// factorization updates, no BLAS. Feature j of a problem is columns[j].
#pragma once

#include <vector>

#include "model/ridge_regression/data_normalizer.h"
#include "n_array/n_array.h"

namespace corvane::model {

using long_vector = std::vector<long double>;

struct sample_data {
  dense_matrix X;
  dense_vector y;
};

// Normal features of different means and spreads, a target that is linear in them with
// coefficients of two sizes, and noise.
sample_data make_sample(index_t rows, index_t cols, unsigned seed);

struct reference_problem {
  reference_problem(const data_normalizer_options& options, const sample_data& data);

  index_t num_columns() const { return static_cast<index_t>(columns.size()); }

  std::vector<long_vector> columns;  // normalized, with the bias column last
  long_vector target;
  long_vector means;
  long_vector scales;
  long double target_mean = 0.0L;
  long double target_scale = 1.0L;
};

// (X'X + diag(penalties))^-1 X'y by Gaussian elimination. Penalties that are missing at the
// end are 0.
long_vector solve_ridge(const std::vector<long_vector>& columns, const long_vector& target,
                        const long_vector& penalties);

// The sum of the squared residuals of every observation, each predicted by the fit to the
// others: n fits.
long double leave_one_out_error(const reference_problem& problem,
                                const long_vector& penalties);

}  // namespace corvane::model
