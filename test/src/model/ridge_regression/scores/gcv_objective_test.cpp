// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/gcv_objective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

#include "common/linear_algebra.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "src/model/ridge_regression/ridge_oracle.h"
#include "support/objective_law.h"

namespace corvane::model::ridge_regression_detail {

namespace {

using corvane::testing::obeys_objective_law;

gcv_objective make_objective(const ridge_problem& problem) {
  return {problem.target(), problem.design()};
}

// Real parts, then imaginary parts, of all n bins of F x, with F the unitary matrix of
// exp(2 pi i j k / n) / sqrt(n).
real_vector all_bins(const real_vector& x) {
  const auto n = static_cast<index_t>(x.size());
  real_vector halves(2 * x.size());
  for (index_t k = 0; k < n; ++k) {
    std::complex<real> sum{};
    for (index_t j = 0; j < n; ++j) {
      const real turns = static_cast<real>(j * k % n) / static_cast<real>(n);
      sum += x[static_cast<std::size_t>(j)] *
             std::polar(1.0L, 2.0L * std::numbers::pi_v<real> * turns);
    }
    const real root = std::sqrt(static_cast<real>(n));
    halves[static_cast<std::size_t>(k)] = sum.real() / root;
    halves[static_cast<std::size_t>(n + k)] = sum.imag() / root;
  }
  return halves;
}

// The factors leave a choice of signs that the score depends on, so that Q, R, U and V are
// those of LAPACK, from the same calls; all that follows from them is computed densely.
struct factors {
  dense_matrix packed;
  dense_vector tau;
  dense_vector s;
  dense_matrix u;
  dense_matrix vt;
};

factors factor(const ridge_problem& problem) {
  const index_t n = problem.X.rows;
  const index_t p = problem.X.cols;
  const index_t k = std::min(n, p);
  factors f{problem.design(), dense_vector{k}, dense_vector{k}, dense_matrix{k, k},
            dense_matrix{k, p}};
  geqrf(f.packed, f.tau);
  dense_matrix r{k, p};
  for (index_t i = 0; i < k; ++i)
    for (index_t j = 0; j < p; ++j) r(i, j) = i <= j ? f.packed(i, j) : 0.0;
  EXPECT_EQ(gesdd(svd_job::thin, r, f.s, f.u, f.vt), 0);
  return f;
}

// All n complex rows of F [U' 0; 0 I] Q' X and of the same times y.
ridge_problem rotated_densely(const ridge_problem& problem) {
  const index_t n = problem.X.rows;
  const index_t p = problem.X.cols;
  const factors f = factor(problem);
  const index_t k = f.s.size();
  ridge_problem rotated{real_matrix{2 * n, p}, {}};
  for (index_t j = 0; j < p; ++j) {
    real_vector column(static_cast<std::size_t>(n));
    for (index_t i = 0; i < k; ++i)
      column[static_cast<std::size_t>(i)] = widened(f.s[i]) * widened(f.vt(i, j));
    const real_vector bins = all_bins(column);
    for (index_t i = 0; i < 2 * n; ++i) rotated.X(i, j) = bins[static_cast<std::size_t>(i)];
  }
  dense_vector y = problem.target();
  ormqr(transposed, f.packed, f.tau, matrix_block{y.data(), n, 1, n});
  real_vector turned(y.begin(), y.end());
  for (index_t i = 0; i < k; ++i) {
    real sum = 0.0L;
    for (index_t row = 0; row < k; ++row) sum += widened(f.u(row, i)) * widened(y[row]);
    turned[static_cast<std::size_t>(i)] = sum;
  }
  rotated.y = all_bins(turned);
  return rotated;
}

// All n rows are summed, each once: bins and their mirror images.
score_derivatives score_of_all_bins(const ridge_problem& problem,
                                    const std::vector<double>& t) {
  return leave_one_out_by_loops(problem, rotated_densely(problem), 2, t);
}

struct shape {
  index_t n;
  index_t p;
};

}  // namespace

TEST(gcv_objective, counts_the_last_bin_once_for_even_n_and_the_other_bins_above_0_twice) {
  for (const auto& [n, p] : std::vector<shape>{{2, 1}, {4, 2}, {12, 4}, {14, 5}}) {
    SCOPED_TRACE(::testing::Message() << n << " by " << p);
    const ridge_problem problem = make_problem(n, p, 1);
    auto objective = make_objective(problem);
    const auto t = make_point(p);
    EXPECT_TRUE(agrees(objective, t, score_of_all_bins(problem, t)));
  }
}

TEST(gcv_objective, counts_all_bins_above_0_twice_for_odd_n) {
  for (const auto& [n, p] : std::vector<shape>{{3, 1}, {5, 2}, {13, 4}, {53, 5}}) {
    SCOPED_TRACE(::testing::Message() << n << " by " << p);
    const ridge_problem problem = make_problem(n, p, 2);
    auto objective = make_objective(problem);
    const auto t = make_point(p);
    EXPECT_TRUE(agrees(objective, t, score_of_all_bins(problem, t)));
  }
}

TEST(gcv_objective, equals_the_sum_over_all_bins_across_several_blocks_of_rows) {
  const ridge_problem problem = make_problem(530, 3, 3);
  auto objective = make_objective(problem);
  const auto t = make_point(3);
  EXPECT_TRUE(agrees(objective, t, score_of_all_bins(problem, t)));
}

TEST(gcv_objective, equals_the_sum_over_all_bins_with_an_unpenalized_bias_column) {
  for (const index_t n : {14, 15}) {
    const ridge_problem problem = make_problem_with_bias(n, 4, 4);
    auto objective = make_objective(problem);
    const auto t = make_point(4);
    EXPECT_TRUE(agrees(objective, t, score_of_all_bins(problem, t))) << n;
  }
}

TEST(gcv_objective, equals_the_sum_over_all_bins_with_fewer_rows_than_columns) {
  for (const index_t n : {5, 6}) {
    const ridge_problem problem = make_problem(n, 8, 5);
    auto objective = make_objective(problem);
    const auto t = make_point(8);
    EXPECT_TRUE(agrees(objective, t, score_of_all_bins(problem, t))) << n;
  }
}

// Under one common penalty the rotated hat matrix is circulant, so that every leverage is
// tr H / n and the score is RSS / (1 - tr H / n)^2. The statistic of Golub, Heath and
// Wahba, (RSS / n) / (1 - tr H / n)^2, is this divided by n.
TEST(gcv_objective, is_n_times_the_classical_statistic_under_one_common_penalty) {
  for (const index_t n : {1, 2, 20, 21, 107}) {
    const index_t p = std::min<index_t>(n, 5);
    const ridge_problem problem = make_problem(n, p, 6);
    const std::vector<double> t(static_cast<std::size_t>(p), 0.6);
    const real_vector fitted = product(problem.X, ridge_weights(problem, t));
    const real_matrix hat = product(inverse(normal_matrix(problem.X, t)), gram(problem.X));
    real trace = 0.0L;
    for (index_t j = 0; j < p; ++j) trace += hat(j, j);
    real rss = 0.0L;
    for (std::size_t i = 0; i < fitted.size(); ++i)
      rss += (problem.y[i] - fitted[i]) * (problem.y[i] - fitted[i]);
    const real observations = static_cast<real>(n);
    const real share = 1.0L - trace / observations;
    const real statistic = rss / observations / (share * share);

    auto objective = make_objective(problem);
    double value = 0.0;
    ASSERT_TRUE(objective.compute_value(view_of(t), value));
    EXPECT_NEAR(value / static_cast<double>(observations * statistic), 1.0, 1e-12) << n;
  }
}

TEST(gcv_objective, one_observation_has_one_bin_that_counts_once) {
  const ridge_problem problem = make_problem(1, 2, 7);
  auto objective = make_objective(problem);
  double value = 0.0;
  ASSERT_TRUE(objective.compute_value(view_of(make_point(2)), value));
  EXPECT_NEAR(value, static_cast<double>(problem.y[0] * problem.y[0]), 1e-13);
}

TEST(gcv_objective, combined_calls_give_the_numbers_of_separate_calls) {
  for (const auto& [n, p] :
       std::vector<shape>{{1, 1}, {12, 4}, {13, 4}, {6, 9}, {530, 3}}) {
    auto objective = make_objective(make_problem(n, p, 11));
    EXPECT_TRUE(combined_calls_repeat_separate_calls(objective, make_point(p))) << n;
  }
}

TEST(gcv_objective, the_weights_are_those_of_the_unrotated_problem) {
  const ridge_problem problem = make_problem_with_bias(19, 5, 12);
  auto objective = make_objective(problem);
  const auto t = make_point(5);
  dense_vector weights{6};
  ASSERT_TRUE(objective.compute_weights(view_of(t), weights));
  const real_vector expected = ridge_weights(problem, t);
  for (index_t j = 0; j < 6; ++j)
    EXPECT_NEAR(weights[j], static_cast<double>(expected[static_cast<std::size_t>(j)]),
                1e-12);
}

TEST(gcv_objective, a_duplicated_column_leaves_gcv_and_loocv_defined) {
  ridge_problem problem = make_problem(14, 4, 13);
  for (index_t i = 0; i < 14; ++i) problem.X(i, 3) = problem.X(i, 1);
  gcv_objective gcv{problem.target(), problem.design()};
  EXPECT_TRUE(obeys_objective_law(gcv, make_point(4)));
  loocv_objective loocv{problem.design(), problem.target()};
  EXPECT_TRUE(obeys_objective_law(loocv, make_point(4)));
}

TEST(gcv_objective, a_point_with_a_zero_entry_is_undefined) {
  auto objective = make_objective(make_problem(9, 3, 14));
  double value = 0.0;
  EXPECT_FALSE(objective.compute_value(view_of({0.5, 0.0, 0.5}), value));
}

TEST(gcv_objective, an_evaluation_that_overflows_is_undefined) {
  ridge_problem problem = make_problem(9, 3, 15);
  for (real& y : problem.y) y *= 1e200L;
  auto objective = make_objective(problem);
  double value = 0.0;
  dense_vector gradient{3};
  symmetric_matrix hessian{3, 3};
  EXPECT_FALSE(objective.compute_value(view_of(make_point(3)), value));
  EXPECT_FALSE(objective.compute_gradient(view_of(make_point(3)), gradient));
  EXPECT_FALSE(objective.compute_hessian(view_of(make_point(3)), hessian));
}

TEST(gcv_objective, the_value_of_no_observations_is_0) {
  const ridge_problem problem{real_matrix{0, 2}, {}};
  auto objective = make_objective(problem);
  double value = 1.0;
  EXPECT_TRUE(objective.compute_value(view_of(make_point(2)), value));
  EXPECT_EQ(value, 0.0);
}

}  // namespace corvane::model::ridge_regression_detail
