// SPDX-License-Identifier: BSD-3-Clause
//
// What the ridge scores are held against: their formulas and definitions in plain loops
// over extended precision, with a Gaussian elimination of its own. Nothing of the code
// under test is used here.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "n_array/n_array.h"
#include "optimization/objective.h"

namespace corvane::model::ridge_regression_detail {

using real = long double;
using real_vector = std::vector<real>;

inline real widened(double x) { return static_cast<real>(x); }

struct real_matrix {
  index_t rows = 0;
  index_t cols = 0;
  real_vector entries;

  real_matrix() = default;
  real_matrix(index_t num_rows, index_t num_cols)
      : rows{num_rows},
        cols{num_cols},
        entries(static_cast<std::size_t>(num_rows * num_cols)) {}
  real& operator()(index_t i, index_t j) {
    return entries[static_cast<std::size_t>(i * cols + j)];
  }
  real operator()(index_t i, index_t j) const {
    return entries[static_cast<std::size_t>(i * cols + j)];
  }
};

struct ridge_problem {
  real_matrix X;
  real_vector y;

  dense_matrix design() const;
  dense_vector target() const;
  void append_bias_column();  // the constant 1 / sqrt(n)
};

// Correlated columns of different lengths and a target that depends on them, with noise.
ridge_problem make_problem(index_t n, index_t p, unsigned seed);

// `q` roots of penalties, different from each other.
std::vector<double> make_point(index_t q);

real_matrix inverse(real_matrix a);
real_matrix gram(const real_matrix& X);                               // X'X
real_vector correlation(const real_matrix& X, const real_vector& y);  // X'y
real_vector product(const real_matrix& a, const real_vector& x);
real_matrix product(const real_matrix& a, const real_matrix& b);

// X'X + diag(t)^2, with no penalty behind the last entry of t.
real_matrix normal_matrix(const real_matrix& X, const std::vector<double>& t);
real_vector ridge_weights(const ridge_problem& problem, const std::vector<double>& t);

// One row more or less; the rest is as it was.
ridge_problem without_row(const ridge_problem& problem, index_t row);

struct score_derivatives {
  real value = 0.0L;
  real_vector gradient;
  real_matrix hessian;  // the lower triangle
};

// The leave-one-out sum over the rows of `rotated`, of which row r * count + k is part r of
// observation k, with the fit of `problem`; each observation counts once.
score_derivatives leave_one_out_by_loops(const ridge_problem& problem,
                                         const ridge_problem& rotated, index_t parts,
                                         const std::vector<double>& t);

score_derivatives range_risk_by_loops(const ridge_problem& problem,
                                      const std::vector<double>& t);

// Value, gradient and Hessian of the objective, to `tolerance` relative to the largest
// entry of each.
::testing::AssertionResult agrees(second_order_objective& objective,
                                  const std::vector<double>& t,
                                  const score_derivatives& expected,
                                  double tolerance = 1e-11);

// The combined evaluations give bit for bit what the separate ones give.
::testing::AssertionResult combined_calls_repeat_separate_calls(
    second_order_objective& objective, const std::vector<double>& t);

inline const_vector_view view_of(const std::vector<double>& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

}  // namespace corvane::model::ridge_regression_detail
