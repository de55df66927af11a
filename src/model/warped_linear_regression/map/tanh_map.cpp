// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/map/tanh_map.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <vector>

#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "common/vector_math.h"
#include "model/warped_linear_regression/inverse/tanh_inverse.h"
#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "model/warped_linear_regression/map/tanh_target_warper.h"

namespace corvane::model {

namespace {

using tanh_warper_detail::step_coefficients;

// The entries whose scratch stays in the cache.
constexpr index_t chunk_size = 1024;

// Of the residual of an inverse, relative to its latent; the steps that follow leave a
// relative 1e-13 of the inverse itself.
constexpr double inversion_tolerance = 1e-5;

// Larger latents are their own inverses: no sum of steps that is finite changes a digit.
constexpr double largest_inverted = 1e280;

step_coefficients step_of(const tanh_map& map, index_t k) {
  const double a = map.heights[k];
  const double b = map.steepnesses[k];
  step_coefficients step{};
  step.height = a;
  step.steepness = b;
  step.position = map.positions[k];
  step.slope = a * b;
  step.slope_by_gamma = -2.0 * a * b * b;
  return step;
}

std::vector<step_coefficients> steps_of(const tanh_map& map) {
  std::vector<step_coefficients> steps;
  for (index_t k = 0; k < map.heights.size(); ++k) steps.push_back(step_of(map, k));
  return steps;
}

void standardize(const tanh_map& map, const_vector_view target, vector_view u) {
  std::transform(target.begin(), target.end(), u.begin(),
                 [&](double y) { return (y - map.shift) / map.scale; });
}

// Calls visit(u, tangents, complements, first) with a chunk of standardized targets and
// scratch of its length, once for all steps.
template <class Visit>
void for_each_chunk(const tanh_map& map, const_vector_view target, const Visit& visit) {
  scoped_allocator scope;
  const vector_view u = scope.vector(chunk_size);
  for (index_t first = 0; first < target.size(); first += chunk_size) {
    const index_t count = std::min(chunk_size, target.size() - first);
    standardize(map, target.part(first, count), u.part(0, count));
    visit(u.part(0, count), first);
  }
}

// t = tanh of a step's argument, and 1 - t^2.
struct step_values {
  vector_view tangents;
  vector_view complements;
};

step_values evaluate_step(scoped_allocator& scope, const tanh_map& map, index_t k,
                          const_vector_view u) {
  const step_values values{scope.vector(u.size()), scope.vector(u.size())};
  std::transform(u.begin(), u.end(), values.tangents.begin(), [&](double entry) {
    return map.steepnesses[k] * (entry + map.positions[k]);
  });
  compute_tanh(values.tangents, values.tangents, values.complements);
  return values;
}

// dz/du = 1 + sum over k of a_k b_k (1 - t_k^2)
void compute_standardized_slope(const tanh_map& map, const_vector_view u,
                                vector_view slope) {
  std::fill(slope.begin(), slope.end(), 1.0);
  for (index_t k = 0; k < map.heights.size(); ++k) {
    scoped_allocator scope;
    const const_vector_view complements = evaluate_step(scope, map, k, u).complements;
    const double factor = map.heights[k] * map.steepnesses[k];
    for (index_t i = 0; i < u.size(); ++i) slope[i] += factor * complements[i];
  }
}

}  // namespace

tanh_map make_tanh_map(const_vector_view theta, const_vector_view standardized,
                       double shift, double scale) {
  const auto num_steps = theta.size() / tanh_warper_detail::parameters_per_step;
  const tanh_warper_detail::tanh_target_warper warper{
      tanh_warper_detail::tanh_target_warper_descriptor{num_steps}, dense_vector{theta},
      standardized, 0.0, 1.0};
  tanh_map map{dense_vector(num_steps),
               dense_vector(num_steps),
               dense_vector(num_steps),
               dense_vector{warper.step_means()},
               shift,
               scale};
  for (index_t k = 0; k < num_steps; ++k) {
    const auto step = tanh_warper_detail::make_step_coefficients(
        theta.part(k * tanh_warper_detail::parameters_per_step,
                   tanh_warper_detail::parameters_per_step));
    map.heights[k] = step.height;
    map.steepnesses[k] = step.steepness;
    map.positions[k] = step.position;
  }
  return map;
}

void check_steps(const tanh_map& map) {
  const index_t num_steps = map.heights.size();
  if (map.steepnesses.size() != num_steps || map.positions.size() != num_steps ||
      map.step_means.size() != num_steps)
    throw std::invalid_argument("the steps of the map differ in number");
  for (index_t k = 0; k < num_steps; ++k) {
    const step_coefficients step = step_of(map, k);
    if (!is_finite(step.height) || !is_finite(step.slope_by_gamma) ||
        !is_finite(step.position) || !is_finite(map.step_means[k]))
      throw std::invalid_argument("a step of the map is not finite");
    if (step.height < 0.0 || step.steepness < 0.0)
      throw std::invalid_argument("a step of the map has a negative height or steepness");
  }
}

void compute_latent(const tanh_map& map, const_vector_view target, vector_view latent) {
  for_each_chunk(map, target, [&](const_vector_view u, index_t first) {
    const vector_view z = latent.part(first, u.size());
    std::copy(u.begin(), u.end(), z.begin());
    for (index_t k = 0; k < map.heights.size(); ++k) {
      scoped_allocator scope;
      const const_vector_view tangents = evaluate_step(scope, map, k, u).tangents;
      for (index_t i = 0; i < u.size(); ++i)
        z[i] += map.heights[k] * (tangents[i] - map.step_means[k]);
    }
  });
}

void compute_slope(const tanh_map& map, const_vector_view target, vector_view slope) {
  for_each_chunk(map, target, [&](const_vector_view u, index_t first) {
    const vector_view part = slope.part(first, u.size());
    compute_standardized_slope(map, u, part);
    for (double& entry : part) entry /= map.scale;
  });
}

void compute_log_slope(const tanh_map& map, const_vector_view target,
                       vector_view log_slope) {
  const double log_scale = std::log(map.scale);
  for_each_chunk(map, target, [&](const_vector_view u, index_t first) {
    const vector_view part = log_slope.part(first, u.size());
    compute_standardized_slope(map, u, part);
    for (double& entry : part) entry = std::log(entry) - log_scale;
  });
}

void invert_standardized(const tanh_map& map, const_vector_view latent,
                         vector_view standardized) {
  const auto is_inverted = [](double z) { return std::abs(z) <= largest_inverted; };
  const std::vector<step_coefficients> steps = steps_of(map);
  if (std::all_of(latent.begin(), latent.end(), is_inverted)) {
    tanh_warper_detail::invert_steps(steps, map.step_means, latent, inversion_tolerance,
                                     standardized);
    return;
  }
  dense_vector inverted{latent};
  std::replace_if(inverted.begin(), inverted.end(), std::not_fn(is_inverted), 0.0);
  tanh_warper_detail::invert_steps(steps, map.step_means, inverted, inversion_tolerance,
                                   standardized);
  for (index_t i = 0; i < latent.size(); ++i)
    if (!is_inverted(latent[i])) standardized[i] = latent[i];
}

void invert(const tanh_map& map, const_vector_view latent, vector_view target) {
  invert_standardized(map, latent, target);
  for (double& entry : target) entry = entry * map.scale + map.shift;
}

}  // namespace corvane::model
