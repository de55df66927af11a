// SPDX-License-Identifier: BSD-3-Clause
//
// The value of the outer objective against dense algebra in numpy, on data that are sines.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>

#include "loo_loss_table.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "polished_optimizer.h"

namespace corvane::model {

namespace {

using corvane::testing::loo_loss_row;
using corvane::testing::loo_loss_table;
using linear_linked_regression_detail::aloocv_objective;

// The features and targets of make_loo_loss_table.py.
dense_matrix sines(const loo_loss_row& row) {
  dense_matrix X{row.n, row.p};
  for (index_t i = 0; i < row.n; ++i)
    for (index_t j = 0; j < row.p; ++j) {
      const auto number = static_cast<double>(i) + 1.0;
      X(i, j) = std::sin(0.7 * (number * number) * (static_cast<double>(j) + 2.0));
    }
  return X;
}

dense_vector signs(const dense_matrix& X) {
  dense_vector y{X.rows()};
  for (index_t i = 0; i < y.size(); ++i) {
    const double wave = std::sin(5.0 * static_cast<double>(i) + 2.0);
    y[i] = wave + X(i, 0) - 0.8 * X(i, 1) < 0.0 ? -1.0 : 1.0;
  }
  return y;
}

TEST(aloocv_value, is_that_of_dense_algebra_in_numpy) {
  for (const loo_loss_row& row : loo_loss_table) {
    dense_matrix X = sines(row);
    dense_vector y = signs(X);
    if (row.with_intercept)
      for (double& entry : X.view().column(row.p - 1))
        entry = 1.0 / std::sqrt(static_cast<double>(row.n));
    const auto penalty =
        penalty_of(row.kind, cyclic_groups(row.p, row.num_groups, row.with_intercept));
    aloocv_objective objective{
        std::make_shared<polished_optimizer>(),
        std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(), penalty,
        std::move(X), std::move(y)};
    double value = 0.0;
    ASSERT_TRUE(
        objective.compute_value({row.theta.data(), penalty->num_hyperparameters()}, value));
    EXPECT_NEAR(value, row.value, 1e-9 * row.value)
        << "penalty " << static_cast<int>(row.kind) << ", theta " << row.theta[0];
  }
}

}  // namespace

}  // namespace corvane::model
