// SPDX-License-Identifier: BSD-3-Clause
//
// Free-set leave-one-out against exact refits, and against the solution of the quadratic
// model that it stands for.
#include "model/linear_linked_regression/path/free_set_leave_one_out.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "sparse_path_problem.h"

namespace corvane::model::sparse_path {

namespace {

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double loss_of(double s, double z) { return std::log1p(std::exp(-s * z)); }

// The relative error of the sum of losses.
double error_of_loss(const drawn_sparse_problem& drawn, const column_strengths& strengths,
                     bool with_intercept) {
  const sparse_problem problem{drawn.X, drawn.s, with_intercept};
  const sparse_fit found = fit(problem, strengths);
  const leave_one_out approximate = leave_each_row_out(problem, found);
  plain_solution start = zero_solution(drawn.X.cols());
  for (index_t j = 0; j < drawn.X.cols(); ++j)
    start.weights[static_cast<std::size_t>(j)] = found.weights[j];
  start.intercept = found.intercept;
  double exact = 0.0;
  for (index_t i = 0; i < drawn.X.rows(); ++i) {
    const plain_solver solver{drawn, strengths, with_intercept, i};
    exact += loss_of(drawn.s[i], solver.predict(solver.solve(start), i));
  }
  return std::abs(approximate.loss / exact - 1.0);
}

TEST(free_set_leave_one_out, is_within_1_percent_of_exact_refits_in_the_median) {
  std::vector<double> tall;
  std::vector<double> wide;
  for (unsigned seed = 0; seed < 5; ++seed) {
    const drawn_sparse_problem drawn_tall{60, 8, seed};
    const drawn_sparse_problem drawn_wide{25, 40, seed};
    for (const double l1 : {0.6, 0.25, 0.1}) {
      for (const double l2 : {0.0, 0.1}) {
        tall.push_back(error_of_loss(drawn_tall, equal_strengths(8, l1, l2), true));
        wide.push_back(error_of_loss(drawn_wide, equal_strengths(40, 2.0 * l1, l2), true));
      }
    }
  }
  EXPECT_LT(median(tall), 0.01);
  EXPECT_LT(median(wide), 0.01);
  RecordProperty("median_tall", std::to_string(median(tall)));
  RecordProperty("median_wide", std::to_string(median(wide)));
}

// The model of the header: sum_k (v_k dz_k^2 / 2 - r_k dz_k) over k != i, and the penalty,
// by proximal gradient steps over c and w together.
double model_without_row(const sparse_problem& problem, const sparse_fit& fit, index_t i) {
  const index_t n = problem.X.rows();
  const index_t p = problem.X.cols();
  const double rate = 1.0 / 8.0;  // for v <= 1/4, columns of length 1, p < 30
  const double unit = 1.0 / std::sqrt(static_cast<double>(n));
  dense_vector w = fit.weights;
  double c = 0.0;  // in units of the root of n
  dense_vector dz{n};
  for (int step = 0; step < 60000; ++step) {
    dense_vector slope{n};
    double own = 0.0;
    for (index_t k = 0; k < n; ++k) {
      dz[k] = problem.with_intercept ? unit * c : 0.0;
      for (index_t j = 0; j < p; ++j) dz[k] += problem.X(k, j) * (w[j] - fit.weights[j]);
      slope[k] = k == i ? 0.0 : fit.curvature[k] * dz[k] - fit.residuals[k];
      own += unit * slope[k];
    }
    double change = rate * std::abs(own);
    c -= rate * own;
    for (index_t j = 0; j < p; ++j) {
      double gradient = 0.0;
      for (index_t k = 0; k < n; ++k) gradient += problem.X(k, j) * slope[k];
      const double moved = w[j] - rate * gradient;
      const double next =
          std::copysign(std::max(std::abs(moved) - rate * fit.strengths.l1[j], 0.0),
                        moved) /
          (1.0 + rate * fit.strengths.l2[j]);
      change = std::max(change, std::abs(next - w[j]));
      w[j] = next;
    }
    if (change < 1e-12) break;
  }
  return fit.z[i] + dz[i];
}

TEST(free_set_leave_one_out, solves_the_quadratic_model_without_the_row) {
  const drawn_sparse_problem drawn{20, 12, 4};
  for (const bool with_intercept : {true, false}) {
    const sparse_problem problem{drawn.X, drawn.s, with_intercept};
    for (const double l2 : {0.0, 0.05}) {
      column_strengths strengths = equal_strengths(12, 0.4, l2);
      strengths.l1[3] = strengths.l2[3] = 0.0;
      const sparse_fit found = fit(problem, strengths);
      const leave_one_out result = leave_each_row_out(problem, found);
      for (index_t i = 0; i < 20; ++i)
        EXPECT_NEAR(result.predictors[i], model_without_row(problem, found, i), 2e-6);
    }
  }
}

TEST(free_set_leave_one_out, effective_dof_count_the_weights_that_are_not_0) {
  const drawn_sparse_problem drawn{60, 12, 8};
  const sparse_problem problem{drawn.X, drawn.s, true};
  const sparse_fit lasso = fit(problem, equal_strengths(12, 0.4, 0.0));
  const leave_one_out result = leave_each_row_out(problem, lasso);
  for (index_t j = 0; j < 12; ++j)
    EXPECT_EQ(result.effective_dof[j], lasso.weights[j] == 0.0 ? 0.0 : 1.0);
  const sparse_fit net = fit(problem, equal_strengths(12, 0.4, 0.2));
  const leave_one_out shrunk = leave_each_row_out(problem, net);
  for (index_t j = 0; j < 12; ++j) EXPECT_LT(shrunk.effective_dof[j], 1.0);
}

// Both lie in row 0 alone: without that row neither has any curvature.
TEST(free_set_leave_one_out, equal_columns_of_one_row_leave_with_it) {
  drawn_sparse_problem drawn{40, 6, 3};
  drawn.s[0] = -drawn.s[0];  // against its columns
  for (const index_t j : {4, 5}) {
    for (index_t i = 0; i < 40; ++i) drawn.X(i, j) = i == 0 ? 1.0 : 0.0;
    drawn.normalize(j);
  }
  const sparse_problem problem{drawn.X, drawn.s, true};
  const sparse_fit found = fit(problem, equal_strengths(6, 0.3, 0.0));
  ASSERT_NE(found.weights[4] + found.weights[5], 0.0);
  const leave_one_out result = leave_each_row_out(problem, found);
  for (index_t i = 0; i < 40; ++i) {
    EXPECT_NEAR(result.predictors[i], model_without_row(problem, found, i), 1e-5);
  }
}

// Of neighbours on a ladder of strengths: a jump of the loss would stand out.
double largest_change(const drawn_sparse_problem& drawn, double share) {
  const sparse_problem problem{drawn.X, drawn.s, true};
  const index_t p = drawn.X.cols();
  sparse_fit at = null_fit(problem, equal_strengths(p, 1.0, 0.0));
  const double largest_l1 = at.strengths.l1[0];
  double previous = 0.0;
  double largest = 0.0;
  for (int rung = 0; rung < 900; ++rung) {
    const double l1 = largest_l1 * std::exp(-0.005 * rung);
    at = refit(problem, at, equal_strengths(p, share * l1, (1.0 - share) * l1));
    const double loss = leave_each_row_out(problem, at).loss;
    if (previous > 0.0) largest = std::max(largest, std::abs(loss / previous - 1.0));
    previous = loss;
  }
  return largest;
}

TEST(free_set_leave_one_out, loss_has_no_jumps_along_the_strengths) {
  for (unsigned seed = 0; seed < 6; ++seed) {
    for (const double share : {1.0, 0.5}) {
      EXPECT_LT(largest_change(drawn_sparse_problem{60, 4, seed}, share), 0.004);
      EXPECT_LT(largest_change(drawn_sparse_problem{40, 12, seed}, share), 0.01);
      EXPECT_LT(largest_change(drawn_sparse_problem{40, 60, seed}, share), 0.02);
    }
  }
}

}  // namespace

}  // namespace corvane::model::sparse_path
