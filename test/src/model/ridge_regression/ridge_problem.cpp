// SPDX-License-Identifier: BSD-3-Clause
#include "src/model/ridge_regression/ridge_problem.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace corvane::model::ridge_regression_detail {

namespace {

std::size_t at(index_t i) { return static_cast<std::size_t>(i); }

}  // namespace

dense_matrix ridge_problem::design() const {
  dense_matrix design{X.rows, X.cols};
  for (index_t i = 0; i < X.rows; ++i)
    for (index_t j = 0; j < X.cols; ++j) design(i, j) = static_cast<double>(X(i, j));
  return design;
}

dense_vector ridge_problem::target() const {
  dense_vector target{X.rows};
  for (index_t i = 0; i < X.rows; ++i) target[i] = static_cast<double>(y[at(i)]);
  return target;
}

ridge_problem make_problem(index_t n, index_t p, unsigned seed) {
  std::mt19937 generator{seed};
  std::normal_distribution<double> normal;
  ridge_problem problem{real_matrix{n, p}, real_vector(at(n))};
  const double root = std::sqrt(static_cast<double>(n));
  for (index_t i = 0; i < n; ++i) {
    const double shared = normal(generator);
    double y = 0.3 * normal(generator);
    for (index_t j = 0; j < p; ++j) {
      const double length = 1.0 + 0.1 * static_cast<double>(j);
      const double x = length * (normal(generator) + 0.5 * shared) / root;
      problem.X(i, j) = widened(x);
      y += x / (1.0 + static_cast<double>(j));
    }
    problem.y[at(i)] = widened(y + 0.2);
  }
  return problem;
}

// The entries are doubles, so that the code under test gets the same problem.
ridge_problem make_problem_with_bias(index_t n, index_t features, unsigned seed) {
  const ridge_problem plain = make_problem(n, features, seed);
  ridge_problem problem{real_matrix{n, features + 1}, plain.y};
  for (index_t i = 0; i < n; ++i) {
    for (index_t j = 0; j < features; ++j) problem.X(i, j) = plain.X(i, j);
    problem.X(i, features) = widened(1.0 / std::sqrt(static_cast<double>(n)));
  }
  return problem;
}

std::vector<double> make_point(index_t q) {
  std::vector<double> t;
  for (index_t j = 0; j < q; ++j) t.push_back(0.25 + 0.15 * static_cast<double>(j % 7));
  return t;
}

// Gauss-Jordan with partial pivoting.
real_matrix inverse(real_matrix a) {
  const index_t n = a.rows;
  real_matrix b{n, n};
  for (index_t i = 0; i < n; ++i) b(i, i) = 1.0L;
  for (index_t j = 0; j < n; ++j) {
    index_t pivot = j;
    for (index_t i = j + 1; i < n; ++i)
      if (std::abs(a(i, j)) > std::abs(a(pivot, j))) pivot = i;
    for (index_t k = 0; k < n; ++k) {
      std::swap(a(j, k), a(pivot, k));
      std::swap(b(j, k), b(pivot, k));
    }
    const real scale = a(j, j);
    for (index_t k = 0; k < n; ++k) {
      a(j, k) /= scale;
      b(j, k) /= scale;
    }
    for (index_t i = 0; i < n; ++i) {
      if (i == j) continue;
      const real factor = a(i, j);
      for (index_t k = 0; k < n; ++k) {
        a(i, k) -= factor * a(j, k);
        b(i, k) -= factor * b(j, k);
      }
    }
  }
  return b;
}

real_matrix gram(const real_matrix& X) {
  real_matrix g{X.cols, X.cols};
  for (index_t i = 0; i < X.rows; ++i)
    for (index_t j = 0; j < X.cols; ++j)
      for (index_t k = 0; k < X.cols; ++k) g(j, k) += X(i, j) * X(i, k);
  return g;
}

real_vector correlation(const real_matrix& X, const real_vector& y) {
  real_vector b(at(X.cols));
  for (index_t i = 0; i < X.rows; ++i)
    for (index_t j = 0; j < X.cols; ++j) b[at(j)] += X(i, j) * y[at(i)];
  return b;
}

real_vector product(const real_matrix& a, const real_vector& x) {
  real_vector y(at(a.rows));
  for (index_t i = 0; i < a.rows; ++i)
    for (index_t j = 0; j < a.cols; ++j) y[at(i)] += a(i, j) * x[at(j)];
  return y;
}

real_matrix product(const real_matrix& a, const real_matrix& b) {
  real_matrix c{a.rows, b.cols};
  for (index_t i = 0; i < a.rows; ++i)
    for (index_t k = 0; k < a.cols; ++k)
      for (index_t j = 0; j < b.cols; ++j) c(i, j) += a(i, k) * b(k, j);
  return c;
}

real_matrix normal_matrix(const real_matrix& X, const std::vector<double>& t) {
  real_matrix a = gram(X);
  for (std::size_t j = 0; j < t.size(); ++j) {
    const auto i = static_cast<index_t>(j);
    a(i, i) += widened(t[j]) * widened(t[j]);
  }
  return a;
}

real_vector ridge_weights(const ridge_problem& problem, const std::vector<double>& t) {
  return product(inverse(normal_matrix(problem.X, t)), correlation(problem.X, problem.y));
}

ridge_problem without_row(const ridge_problem& problem, index_t row) {
  ridge_problem rest{real_matrix{problem.X.rows - 1, problem.X.cols}, {}};
  for (index_t i = 0, k = 0; i < problem.X.rows; ++i) {
    if (i == row) continue;
    for (index_t j = 0; j < problem.X.cols; ++j) rest.X(k, j) = problem.X(i, j);
    rest.y.push_back(problem.y[at(i)]);
    ++k;
  }
  return rest;
}

}  // namespace corvane::model::ridge_regression_detail
