// SPDX-License-Identifier: BSD-3-Clause
//
// The time of a warped fit compared with one QR factorization of its design, and of a
// prediction compared with as many hyperbolic tangents as it solves inverses. Medians of
// one run:
//   trevalon_warped_benchmark --benchmark_repetitions=5 --benchmark_report_aggregates_only
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/linear_algebra.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"
#include "n_array/n_array.h"

namespace corvane::model {

namespace {

constexpr index_t num_rows = 100000;
constexpr index_t num_features = 20;
constexpr index_t solves_per_row = 21;

struct problem {
  dense_matrix X;
  dense_vector y;
};

// Targets whose latents, under a map with as many steps as asked for, are linear in X with
// normal noise.
problem make_problem(index_t num_steps) {
  std::mt19937_64 generator{0};
  std::normal_distribution<double> normal;
  problem made{dense_matrix{num_rows, num_features}, dense_vector{num_rows}};
  for (double& entry : made.X) entry = normal(generator);
  dense_vector latent{num_rows};
  for (index_t i = 0; i < num_rows; ++i) {
    latent[i] = 0.5 * normal(generator);
    for (index_t j = 0; j < num_features; ++j)
      latent[i] += made.X(i, j) / std::sqrt(static_cast<double>(num_features));
  }
  const std::vector<double> theta{1.2, 1.4, 0.3, 1.0, 1.9, -1.1, 0.9, 1.7, 1.5};
  dense_vector grid{201};
  for (index_t k = 0; k < grid.size(); ++k) grid[k] = 0.02 * static_cast<double>(k) - 2.0;
  const auto map = make_tanh_target_warper_descriptor(num_steps)->make_warper(
      dense_vector{const_vector_view{theta.data(), 3 * num_steps}}, grid);
  map->invert(latent, made.y, 1e-12);
  return made;
}

warped_linear_regression_model_descriptor make_model(index_t num_steps) {
  warped_linear_regression_model_options options;
  options.num_restarts = 25;
  options.optimizer = make_trust_region_optimizer({.tolerance = 1e-4, .tolerance2 = 1e-4});
  options.warper = make_tanh_target_warper_descriptor(num_steps);
  return warped_linear_regression_model_descriptor{std::move(options)};
}

void qr_of_design(::benchmark::State& state) {
  const problem made = make_problem(1);
  dense_vector tau{num_features};
  for (auto _ : state) {
    state.PauseTiming();
    dense_matrix factor{made.X};
    state.ResumeTiming();
    geqrf(factor, tau);
    ::benchmark::DoNotOptimize(factor.data());
  }
}
BENCHMARK(qr_of_design)->Unit(::benchmark::kMillisecond)->UseRealTime();

void fit(::benchmark::State& state) {
  const problem made = make_problem(state.range(0));
  const auto model = make_model(state.range(0));
  for (auto _ : state) ::benchmark::DoNotOptimize(model.fit(made.y, made.X).result.value);
}
BENCHMARK(fit)->Arg(1)->Arg(3)->Unit(::benchmark::kMillisecond)->UseRealTime();

// One evaluation of the objective at a new point, the main part of an iteration. The
// derivatives come from the same sums as the value.
void evaluation(::benchmark::State& state) {
  const index_t num_steps = state.range(0);
  const problem made = make_problem(num_steps);
  const auto objective = make_model(num_steps).make_objective(made.y, made.X);
  dense_vector theta{3 * num_steps};
  for (double& entry : theta) entry = 0.7;
  dense_vector gradient{theta.size()};
  symmetric_matrix hessian{theta.size(), theta.size()};
  double value = 0.0;
  for (auto _ : state) {
    theta[0] = -theta[0];
    objective->compute_value(theta, value);
    if (state.range(1) == 1) objective->compute_gradient_hessian(theta, gradient, hessian);
    ::benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(evaluation)
    ->ArgNames({"steps", "with_derivatives"})
    ->ArgsProduct({{1, 3}, {0, 1}})
    ->Unit(::benchmark::kMillisecond)
    ->UseRealTime();

void predict(::benchmark::State& state) {
  const problem made = make_problem(1);
  const auto model = make_model(1);
  const warped_fit fitted = model.fit(made.y, made.X);
  dense_vector out{num_rows};
  for (auto _ : state) {
    model.predict(fitted, made.X, solves_per_row, 1e-5, out);
    ::benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(predict)->Unit(::benchmark::kMillisecond)->UseRealTime();

// One tangent for each solve of `predict`, at arguments of its size.
void tangents(::benchmark::State& state) {
  std::mt19937_64 generator{0};
  std::normal_distribution<double> normal;
  std::vector<double> x(static_cast<std::size_t>(num_rows * solves_per_row));
  for (double& entry : x) entry = normal(generator);
  for (auto _ : state) {
    double sum = 0.0;
    for (const double entry : x) sum += std::tanh(entry);
    ::benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(tangents)->Unit(::benchmark::kMillisecond)->UseRealTime();

}  // namespace

}  // namespace corvane::model
