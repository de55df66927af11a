// SPDX-License-Identifier: BSD-3-Clause
//
// Small two-class problems as named data: features with some correlation and classes drawn
// from a logistic model, from a fixed seed.
#pragma once

#include <cmath>
#include <random>

#include "n_array/n_array.h"

namespace corvane::model {

struct classification_problem {
  dense_matrix X;
  dense_vector y;  // -1 or +1
};

// Correlated normal features, each of the scale given, and a weight of alternating sign and
// falling size behind the classes.
inline classification_problem drawn_problem(index_t n, index_t p, unsigned seed,
                                            double scale = 1.0) {
  std::mt19937 generator{seed};
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  classification_problem problem{dense_matrix{n, p}, dense_vector{n}};
  for (index_t i = 0; i < n; ++i) {
    const double shared = normal(generator);
    double z = 0.2;
    for (index_t j = 0; j < p; ++j) {
      const double x = normal(generator) + 0.4 * shared;
      problem.X(i, j) = scale * x;
      z += (j % 2 == 0 ? 1.5 : -1.0) * x / (1.0 + static_cast<double>(j));
    }
    problem.y[i] = uniform(generator) < 1.0 / (1.0 + std::exp(-z)) ? 1.0 : -1.0;
  }
  return problem;
}

// The last column becomes the constant 1 / sqrt(n).
inline classification_problem with_intercept_column(classification_problem problem) {
  const index_t n = problem.X.rows();
  for (index_t i = 0; i < n; ++i)
    problem.X(i, problem.X.cols() - 1) = 1.0 / std::sqrt(static_cast<double>(n));
  return problem;
}

}  // namespace corvane::model
