// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/step_inverse_batch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "common/vector_dispatch.h"

namespace corvane::model::tanh_warper_detail {

namespace {

constexpr index_t chunk_size = step_sum_array::max_points;

// The most points at which f is evaluated for an entry.
constexpr int max_rounds = 5;

// The relative error of an inverse after its last step.
constexpr double accuracy = 1e-13;

double largest_steepness(std::span<const step_coefficients> steps) {
  double largest = 0.0;
  for (const step_coefficients& step : steps) largest = std::max(largest, step.steepness);
  return largest;
}

template <class Visit>
void for_each_chunk(index_t count, const Visit& visit) {
  for (index_t first = 0; first < count; first += chunk_size)
    visit(first, std::min(chunk_size, count - first));
}

}  // namespace

step_inverse_batch::step_inverse_batch(scoped_allocator& scope,
                                       std::span<const step_coefficients> steps,
                                       const_vector_view step_means,
                                       const root_bracket& bracket)
    : scope_{scope},
      function_{scope, steps, step_means},
      smallest_{std::min(bracket.lower, bracket.upper)},
      largest_{std::max(bracket.lower, bracket.upper)},
      steepness_{largest_steepness(steps)},
      indices_{scope.take<index_t>(chunk_size)},
      latents_{scope.vector(chunk_size)},
      points_{scope.vector(chunk_size)},
      next_points_{scope.vector(chunk_size)},
      residuals_{scope.vector(chunk_size)},
      errors_{scope.vector(chunk_size)} {}

void step_inverse_batch::fill_table(step_inverse_table& table, const_vector_view x) {
  const vector_view slopes = scope_.vector(x.size());
  for_each_chunk(x.size(), [&](index_t first, index_t count) {
    function_.evaluate(x.part(first, count));
    std::copy_n(function_.slopes().begin(), count, slopes.part(first, count).begin());
  });
  table.fill(x, slopes);
}

void step_inverse_batch::fill_table(step_inverse_table& table,
                                    const step_inverse_table& coarser) {
  constexpr int rounds = 2;
  const vector_view x = scope_.vector(table.num_knots());
  for_each_chunk(x.size(), [&](index_t first, index_t count) {
    const vector_view latents = latents_.part(0, count);
    for (index_t i = 0; i < count; ++i) latents[i] = table.knot(first + i);
    const vector_view points = x.part(first, count);
    coarser.interpolate(latents, points);
    for (int round = 0; round < rounds; ++round) {
      take_halley_steps(latents, points);
      std::copy_n(next_points_.begin(), count, points.begin());
    }
  });
  fill_table(table, x);
}

void step_inverse_batch::solve(const_vector_view latent, double tolerance, vector_view x) {
  for_each_chunk(latent.size(), [&](index_t first, index_t count) {
    solve_chunk(latent.part(first, count), tolerance, x.part(first, count));
  });
}

void step_inverse_batch::solve_chunk(const_vector_view latent, double tolerance,
                                     vector_view x) {
  index_t pending = latent.size();
  std::iota(indices_, indices_ + pending, index_t{0});
  std::copy(latent.begin(), latent.end(), latents_.begin());
  std::copy(x.begin(), x.end(), points_.begin());
  for (int round = 0; round < max_rounds && pending > 0; ++round) {
    take_halley_steps(latents_.part(0, pending), points_.part(0, pending));
    pending = keep_unsolved(pending, tolerance, x);
  }
  for (index_t i = 0; i < pending; ++i)
    x[indices_[i]] = std::numeric_limits<double>::quiet_NaN();
}

// The relative residuals at the points, the points after one more step and bounds of their
// errors.
void step_inverse_batch::take_halley_steps(const_vector_view latent, const_vector_view x) {
  function_.evaluate(x);
  const index_t count = x.size();
  const double smallest = smallest_;
  const double largest = largest_;
  const double* const from = x.data();
  const double* const target = latent.data();
  const double* const value = function_.values().data();
  const double* const slope = function_.slopes().data();
  const double* const curvature = function_.curvatures().data();
  double* const next = next_points_.data();
  double* const residual = residuals_.data();
  double* const error = errors_.data();
  const double b = steepness_;
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      const double r = value[i] - target[i];
      residual[i] = root_solver_detail::relative_residual(r, target[i]);
      const double step = root_solver_detail::halley_step(r, slope[i], curvature[i]);
      const double to = from[i] - step;
      const double not_below = to < smallest ? smallest : to;
      next[i] = not_below > largest ? largest : not_below;
      error[i] = 2.0 * (b * step) * (b * step) * std::abs(step);
    }
  });
}

// Writes the points after one more step of the first `count` pending entries, and moves the
// entries that are not solved to the front. Returns their number.
index_t step_inverse_batch::keep_unsolved(index_t count, double tolerance, vector_view x) {
  index_t kept = 0;
  for (index_t i = 0; i < count; ++i) {
    x[indices_[i]] = next_points_[i];
    if (tolerance > residuals_[i] && errors_[i] <= accuracy * std::abs(next_points_[i]))
      continue;
    indices_[kept] = indices_[i];
    latents_[kept] = latents_[i];
    points_[kept] = next_points_[i];
    ++kept;
  }
  return kept;
}

}  // namespace corvane::model::tanh_warper_detail
