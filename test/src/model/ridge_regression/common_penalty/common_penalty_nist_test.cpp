// SPDX-License-Identifier: BSD-3-Clause
//
// Regressions with certified coefficients, solved with next to no penalty: the short form
// keeps the digits that one Householder QR of the same normalized design keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/linear_algebra.h"
#include "common/qr_factorization.h"
#include "problems/nist_regressions.h"
#include "src/model/ridge_regression/common_penalty/common_penalty_case.h"

namespace corvane::model {

namespace {

struct certified_problem {
  std::string name;
  sample_data data;
  std::vector<double> coefficients;  // the intercept first
};

certified_problem make_longley() {
  const auto& rows = corvane::testing::longley_rows;
  const auto n = static_cast<index_t>(rows.size());
  certified_problem problem{"Longley", {dense_matrix(n, 6), dense_vector(n)}, {}};
  for (index_t i = 0; i < n; ++i) {
    const auto& row = rows[static_cast<std::size_t>(i)];
    problem.data.y[i] = row[0];
    for (index_t j = 0; j < 6; ++j)
      problem.data.X(i, j) = row[static_cast<std::size_t>(j) + 1];
  }
  problem.coefficients.assign(corvane::testing::longley_coefficients.begin(),
                              corvane::testing::longley_coefficients.end());
  return problem;
}

// Powers 1 .. degree of x.
void fill_powers(dense_matrix& X, index_t row, double x) {
  double power = 1.0;
  for (index_t j = 0; j < X.cols(); ++j) X(row, j) = power *= x;
}

certified_problem make_filip() {
  const auto& points = corvane::testing::filip_target_and_x;
  const auto n = static_cast<index_t>(points.size());
  certified_problem problem{"Filip", {dense_matrix(n, 10), dense_vector(n)}, {}};
  for (index_t i = 0; i < n; ++i) {
    const auto& point = points[static_cast<std::size_t>(i)];
    problem.data.y[i] = point[0];
    fill_powers(problem.data.X, i, point[1]);
  }
  problem.coefficients.assign(corvane::testing::filip_coefficients.begin(),
                              corvane::testing::filip_coefficients.end());
  return problem;
}

certified_problem make_wampler(const std::string& name, double base, double noise) {
  const auto n = static_cast<index_t>(corvane::testing::wampler_noise.size());
  certified_problem problem{name, {dense_matrix(n, 5), dense_vector(n)}, {1.0}};
  for (index_t j = 1; j <= 5; ++j) problem.coefficients.push_back(std::pow(base, j));
  for (index_t i = 0; i < n; ++i) {
    fill_powers(problem.data.X, i, static_cast<double>(i));
    problem.data.y[i] =
        1.0 + noise * corvane::testing::wampler_noise[static_cast<std::size_t>(i)];
    for (index_t j = 0; j < 5; ++j)
      problem.data.y[i] +=
          problem.coefficients[static_cast<std::size_t>(j) + 1] * problem.data.X(i, j);
  }
  return problem;
}

std::vector<certified_problem> all_problems() {
  return {make_longley(),
          make_filip(),
          make_wampler("Wampler1", 1.0, 0.0),
          make_wampler("Wampler2", 0.1, 0.0),
          make_wampler("Wampler3", 1.0, 1.0),
          make_wampler("Wampler4", 1.0, 100.0),
          make_wampler("Wampler5", 1.0, 10000.0)};
}

// The number of digits that all coefficients share with the certified ones, 15 at most. The
// weights are those of normalized features without a bias.
double correct_digits(const certified_problem& problem, const data_normalizer& normalizer,
                      const std::vector<double>& weights) {
  double digits = 15.0;
  for (std::size_t j = 0; j < weights.size(); ++j) {
    const double found = weights[j] * normalizer.target_scale /
                         normalizer.feature_scales[static_cast<index_t>(j)];
    const double certified = problem.coefficients[j + 1];
    const double error = std::abs(found - certified) / std::abs(certified);
    if (error > 0.0) digits = std::min(digits, -std::log10(error));
  }
  return digits;
}

std::vector<double> solve_by_householder_qr(const data_normalizer& normalizer,
                                            const sample_data& data) {
  dense_matrix X = normalizer.normalized_features(data.X);
  dense_vector y = normalizer.normalized_target(data.y);
  dense_vector tau(X.cols());
  geqrf(X, tau);
  const qr_factorization qr{.factor = X, .tau = tau.data()};
  apply(qr, transposed, y.view());
  solve_r(qr, y.view());
  return {y.begin(), y.begin() + X.cols()};
}

TEST(common_penalty_weights, are_as_exact_as_a_householder_solve_on_certified_problems) {
  for (const certified_problem& problem : all_problems())
    for (const bool leave_one_out : {false, true}) {
      SCOPED_TRACE(problem.name);
      both_forms forms{{problem.name, problem.data, centered}, leave_one_out};
      const double found =
          correct_digits(problem, forms.normalizer(), forms.weights_by_short_form(1e-25));
      const double expected =
          correct_digits(problem, forms.normalizer(),
                         solve_by_householder_qr(forms.normalizer(), problem.data));
      RecordProperty(problem.name + "_digits", std::to_string(found));
      RecordProperty(problem.name + "_householder_digits", std::to_string(expected));
      EXPECT_GE(found, expected - 1.0);
      EXPECT_GE(found, 6.0);
    }
}

}  // namespace

}  // namespace corvane::model
