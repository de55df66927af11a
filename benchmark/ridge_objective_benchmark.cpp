// SPDX-License-Identifier: BSD-3-Clause
//
// The time of one evaluation of each ridge score, to be compared with one X'X of the same
// design, the unit of the costs of a fit. Medians of one run:
//   trevalon_ridge_benchmark --benchmark_repetitions=9 --benchmark_report_aggregates_only
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <utility>

#include "common/linear_algebra.h"
#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "model/ridge_regression/scores/range_risk_objective.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

namespace {

struct problem {
  dense_matrix design;
  dense_vector target;
};

// Independent columns of length near 1, and noise as the target.
problem make_problem(index_t n, index_t p) {
  std::mt19937_64 generator{0};
  std::normal_distribution<double> normal{0.0, 1.0 / std::sqrt(static_cast<double>(n))};
  problem made{dense_matrix{n, p}, dense_vector{n}};
  for (double& entry : made.design) entry = normal(generator);
  for (double& entry : made.target) entry = normal(generator);
  return made;
}

void shapes(::benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1000, 20})->Args({10000, 100})->Args({2000, 400});
  benchmark->Unit(::benchmark::kMillisecond)->UseRealTime();
}

void gram_matrix(::benchmark::State& state) {
  const problem made = make_problem(state.range(0), state.range(1));
  dense_matrix gram{state.range(1), state.range(1)};
  for (auto _ : state) {
    syrk(1.0, transposed, made.design, 0.0, gram);
    ::benchmark::DoNotOptimize(gram.data());
  }
}
BENCHMARK(gram_matrix)->Apply(shapes);

// Alternates between two points, because an objective caches its results at the last one.
class moving_point {
 public:
  explicit moving_point(index_t size) : here_{size}, there_{size} {
    for (double& entry : here_) entry = 0.1;
    for (double& entry : there_) entry = 0.11;
  }
  const_vector_view next() {
    std::swap(here_, there_);
    return here_;
  }

 private:
  dense_vector here_;
  dense_vector there_;
};

void run_value(::benchmark::State& state, ridge_regression_objective& objective) {
  moving_point t{state.range(1)};
  double value = 0.0;
  for (auto _ : state)
    if (!objective.compute_value(t.next(), value)) state.SkipWithError("undefined");
}

void run_all_derivatives(::benchmark::State& state, ridge_regression_objective& objective) {
  const index_t q = state.range(1);
  moving_point t{q};
  double value = 0.0;
  dense_vector gradient{q};
  symmetric_matrix hessian{q, q};
  for (auto _ : state)
    if (!objective.compute_value_gradient_hessian(t.next(), value, gradient, hessian))
      state.SkipWithError("undefined");
}

void loocv_value(::benchmark::State& state) {
  problem made = make_problem(state.range(0), state.range(1));
  loocv_objective objective{std::move(made.design), std::move(made.target)};
  run_value(state, objective);
}
BENCHMARK(loocv_value)->Apply(shapes);

void loocv_value_gradient_hessian(::benchmark::State& state) {
  problem made = make_problem(state.range(0), state.range(1));
  loocv_objective objective{std::move(made.design), std::move(made.target)};
  run_all_derivatives(state, objective);
}
BENCHMARK(loocv_value_gradient_hessian)->Apply(shapes);

void gcv_value_gradient_hessian(::benchmark::State& state) {
  const problem made = make_problem(state.range(0), state.range(1));
  gcv_objective objective{made.target, made.design};
  run_all_derivatives(state, objective);
}
BENCHMARK(gcv_value_gradient_hessian)->Apply(shapes);

void gcv_construction(::benchmark::State& state) {
  const problem made = make_problem(state.range(0), state.range(1));
  for (auto _ : state) {
    const gcv_objective objective{made.target, made.design};
    ::benchmark::DoNotOptimize(&objective);
  }
}
BENCHMARK(gcv_construction)->Apply(shapes);

void range_risk_value_gradient_hessian(::benchmark::State& state) {
  const problem made = make_problem(state.range(0), state.range(1));
  range_risk_objective objective{made.target, made.design};
  run_all_derivatives(state, objective);
}
BENCHMARK(range_risk_value_gradient_hessian)->Apply(shapes);

}  // namespace

}  // namespace corvane::model::ridge_regression_detail
