// SPDX-License-Identifier: BSD-3-Clause
//
// Ridge problems in extended precision, with the dense algebra that solves them directly: a
// Gaussian elimination and plain products. Nothing of the code under test is used here.
#pragma once

#include <vector>

#include "n_array/n_array.h"

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
};

// Correlated columns of different lengths and a target that depends on them, with noise.
ridge_problem make_problem(index_t n, index_t p, unsigned seed);

// The same with a bias column, the constant 1 / sqrt(n), behind the features.
ridge_problem make_problem_with_bias(index_t n, index_t features, unsigned seed);

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

// The problem that is left when one row is left out.
ridge_problem without_row(const ridge_problem& problem, index_t row);

inline const_vector_view view_of(const std::vector<double>& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

}  // namespace corvane::model::ridge_regression_detail
