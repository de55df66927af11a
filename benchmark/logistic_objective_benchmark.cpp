// SPDX-License-Identifier: BSD-3-Clause
//
// The time of gradient and Hessian of the outer objective of the logistic model, to be
// compared with one product X' diag(d) X by BLAS. The design is 10000 by 100, the penalty a
// ridge with one hyperparameter; the inner problem is solved beforehand.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "common/linear_algebra.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "model/linear_linked_regression/detail/observation_products.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::aloocv_objective;

constexpr index_t n = 10000;
constexpr index_t p = 100;

struct design {
  dense_matrix X{n, p};
  dense_vector y{n};
};

// Columns of length about 1, as a fit normalizes them.
design drawn_design() {
  std::mt19937 generator{1};
  std::normal_distribution<double> normal;
  design drawn;
  for (double& x : drawn.X) x = normal(generator) / std::sqrt(static_cast<double>(n));
  for (index_t i = 0; i < n; ++i)
    drawn.y[i] = normal(generator) + 50.0 * drawn.X(i, 0) < 0.0 ? -1.0 : 1.0;
  return drawn;
}

std::unique_ptr<aloocv_objective> solved_objective(const_vector_view theta) {
  trust_region_optimizer_options options;
  options.tolerance = options.tolerance2 = 1e-4;
  design drawn = drawn_design();
  auto objective = std::make_unique<aloocv_objective>(
      make_trust_region_optimizer(options),
      std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(),
      std::make_shared<ridge_regularizer>(
          variable_mapping{std::vector<variable_mapping::entry>(p, index_t{0})}),
      std::move(drawn.X), std::move(drawn.y));
  double value = 0.0;
  objective->compute_value(theta, value);
  return objective;
}

void weighted_gram_product_through_gemm(benchmark::State& state) {
  const design drawn = drawn_design();
  dense_matrix scaled{n, p};
  dense_matrix gram{p, p};
  for (auto _ : state) {
    for (index_t j = 0; j < p; ++j)
      for (index_t i = 0; i < n; ++i) scaled(i, j) = std::abs(drawn.y[i]) * drawn.X(i, j);
    gemm(1.0, transposed, scaled, plain, drawn.X, 0.0, gram);
    benchmark::DoNotOptimize(gram.data());
  }
}
BENCHMARK(weighted_gram_product_through_gemm)->UseRealTime();

void weighted_gram_product_in_blocks(benchmark::State& state) {
  const design drawn = drawn_design();
  symmetric_matrix gram{p, p};
  for (auto _ : state) {
    linear_linked_regression_detail::weighted_gram(drawn.X, drawn.y, gram);
    benchmark::DoNotOptimize(gram.data());
  }
}
BENCHMARK(weighted_gram_product_in_blocks)->UseRealTime();

void gradient_and_hessian_of_the_outer_objective(benchmark::State& state) {
  const double strength = 0.5;
  const const_vector_view theta{&strength, 1};
  const auto objective = solved_objective(theta);
  dense_vector gradient{1};
  symmetric_matrix hessian{1, 1};
  for (auto _ : state) {
    objective->compute_gradient_hessian(theta, gradient, hessian);
    benchmark::DoNotOptimize(hessian.data());
  }
}
BENCHMARK(gradient_and_hessian_of_the_outer_objective)->UseRealTime();

// The inner problem, its leverages and the loss, each time at another theta.
void value_of_the_outer_objective(benchmark::State& state) {
  double strength = 0.5;
  const const_vector_view theta{&strength, 1};
  const auto objective = solved_objective(theta);
  double value = 0.0;
  for (auto _ : state) {
    strength = strength == 0.5 ? 0.6 : 0.5;
    objective->compute_value(theta, value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(value_of_the_outer_objective)->UseRealTime();

}  // namespace

}  // namespace corvane::model
