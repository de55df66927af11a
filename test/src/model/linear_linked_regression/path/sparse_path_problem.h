// SPDX-License-Identifier: BSD-3-Clause
//
// Drawn problems with an l1 and an l2 penalty, and a solver that shares nothing with the
// product: accelerated proximal gradient steps with restarts (A. Beck, M. Teboulle, "A fast
// iterative shrinkage-thresholding algorithm", SIAM J. Imaging Sci. 2, 2009; B. O'Donoghue,
// E. Candes, "Adaptive restart for accelerated gradient schemes", 2015).
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "model/linear_linked_regression/path/sparse_fit.h"

namespace corvane::model::sparse_path {

// Columns of length 1 and mean 0, of which every third one carries something.
struct drawn_sparse_problem {
  drawn_sparse_problem(index_t n, index_t p, unsigned seed) : X{n, p}, s{n} {
    std::mt19937 generator{seed};
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform;
    std::vector<double> odds(static_cast<std::size_t>(n), 0.3);
    std::vector<double> shared(static_cast<std::size_t>(n));
    for (double& x : shared) x = normal(generator);
    for (index_t j = 0; j < p; ++j) {
      for (index_t i = 0; i < n; ++i) {
        X(i, j) = normal(generator) + 0.5 * shared[static_cast<std::size_t>(i)];
        if (j % 3 == 0 && j < 9) odds[static_cast<std::size_t>(i)] += 0.8 * X(i, j);
      }
      normalize(j);
    }
    for (index_t i = 0; i < n; ++i) {
      const double probability = 1.0 / (1.0 + std::exp(-odds[static_cast<std::size_t>(i)]));
      s[i] = uniform(generator) < probability ? 1.0 : -1.0;
    }
  }

  void normalize(index_t j) {
    double mean = 0.0;
    double squares = 0.0;
    const vector_view x = X.view().column(j);
    for (const double value : x) mean += value / static_cast<double>(x.size());
    for (double& value : x) value -= mean;
    for (const double value : x) squares += value * value;
    for (double& value : x) value /= std::sqrt(squares);
  }

  dense_matrix X;
  dense_vector s;
};

inline column_strengths equal_strengths(index_t p, double l1, double l2) {
  column_strengths strengths{dense_vector{p}, dense_vector{p}};
  std::fill(strengths.l1.begin(), strengths.l1.end(), l1);
  std::fill(strengths.l2.begin(), strengths.l2.end(), l2);
  return strengths;
}

struct plain_solution {
  std::vector<double> weights;
  double intercept = 0.0;
};

// Without row `left_out`, which may be -1 for none; from `x`.
class plain_solver {
 public:
  plain_solver(const drawn_sparse_problem& problem, const column_strengths& strengths,
               bool with_intercept, index_t left_out)
      : problem_{problem},
        strengths_{strengths},
        with_intercept_{with_intercept},
        left_out_{left_out} {}

  plain_solution solve(const plain_solution& x) const {
    const index_t p = problem_.X.cols();
    // The curvature of the loss is at most X'X / 4, and of the intercept n / 4; its column
    // is taken in units of the root of n.
    double bound = with_intercept_ ? 1.0 : 0.0;
    for (const double value : problem_.X) bound += value * value;
    const double rate = 4.0 / bound;
    plain_solution previous = x;
    plain_solution ahead = x;
    double momentum = 1.0;
    for (int step = 0; step < 400000; ++step) {
      plain_solution slope = gradient(ahead);
      plain_solution next = ahead;
      double change = 0.0;
      double turn = 0.0;
      for (index_t j = 0; j < p; ++j) {
        const auto k = static_cast<std::size_t>(j);
        const double limit = rate * strengths_.l1[j];
        const double free = ahead.weights[k] - rate * slope.weights[k];
        next.weights[k] = std::copysign(std::max(std::abs(free) - limit, 0.0), free) /
                          (1.0 + rate * strengths_.l2[j]);
        const double moved = next.weights[k] - ahead.weights[k];
        change = std::max(change, std::abs(moved));
        turn -= moved * (next.weights[k] - previous.weights[k]);
      }
      if (with_intercept_) {
        const double moved =
            -rate * slope.intercept / static_cast<double>(problem_.X.rows());
        next.intercept += moved;
        change = std::max(change, std::abs(moved));
      }
      if (change < 1e-13) return next;
      const double next_momentum =
          turn > 0.0 ? 1.0 : 0.5 * (1.0 + std::sqrt(1.0 + 4.0 * momentum * momentum));
      const double factor = turn > 0.0 ? 0.0 : (momentum - 1.0) / next_momentum;
      ahead = next;
      for (std::size_t k = 0; k < next.weights.size(); ++k)
        ahead.weights[k] += factor * (next.weights[k] - previous.weights[k]);
      ahead.intercept += factor * (next.intercept - previous.intercept);
      previous = std::move(next);
      momentum = next_momentum;
    }
    return previous;
  }

  double predict(const plain_solution& x, index_t row) const {
    double z = x.intercept;
    for (index_t j = 0; j < problem_.X.cols(); ++j)
      z += problem_.X(row, j) * x.weights[static_cast<std::size_t>(j)];
    return z;
  }

 private:
  plain_solution gradient(const plain_solution& x) const {
    plain_solution slope{std::vector<double>(x.weights.size(), 0.0), 0.0};
    for (index_t i = 0; i < problem_.X.rows(); ++i) {
      if (i == left_out_) continue;
      const double s = problem_.s[i];
      const double first = -s / (1.0 + std::exp(s * predict(x, i)));
      slope.intercept += first;
      for (index_t j = 0; j < problem_.X.cols(); ++j)
        slope.weights[static_cast<std::size_t>(j)] += first * problem_.X(i, j);
    }
    return slope;
  }

  const drawn_sparse_problem& problem_;
  const column_strengths& strengths_;
  bool with_intercept_;
  index_t left_out_;
};

inline plain_solution zero_solution(index_t p) {
  return {std::vector<double>(static_cast<std::size_t>(p), 0.0), 0.0};
}

}  // namespace corvane::model::sparse_path
