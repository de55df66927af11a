// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/step_sum.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/vector_dispatch.h"
#include "common/vector_math.h"

namespace corvane::model::tanh_warper_detail {

step_sum::step_sum(scoped_allocator& scope, std::span<const step_coefficients> steps,
                   const_vector_view step_means)
    : steps_{steps},
      step_means_{step_means.data()},
      terms_{scope.take<terms>(static_cast<index_t>(steps.size()))} {}

double step_sum::value(double x) {
  double sum = x;
  for (std::size_t k = 0; k < steps_.size(); ++k) {
    terms& term = terms_[k];
    term.t = std::tanh(steps_[k].steepness * (x + steps_[k].position));
    term.s = 1.0 - term.t * term.t;
    term.ts = term.t * term.s;
    sum += (term.t - step_means_[k]) * steps_[k].height;
  }
  return sum;
}

double step_sum::derivative(double /*x*/) const {
  double sum = 1.0;
  for (std::size_t k = 0; k < steps_.size(); ++k) sum += steps_[k].slope * terms_[k].s;
  return sum;
}

double step_sum::second_derivative(double /*x*/) const {
  double sum = 0.0;
  for (std::size_t k = 0; k < steps_.size(); ++k)
    sum += steps_[k].slope_by_gamma * terms_[k].ts;
  return sum;
}

step_sum_array::step_sum_array(scoped_allocator& scope,
                               std::span<const step_coefficients> steps,
                               const_vector_view step_means)
    : steps_{steps},
      step_means_{step_means.data()},
      arguments_{scope.vector(max_points)},
      tangents_{scope.vector(max_points)},
      complements_{scope.vector(max_points)},
      values_{scope.vector(max_points)},
      slopes_{scope.vector(max_points)},
      curvatures_{scope.vector(max_points)} {}

void step_sum_array::evaluate(const_vector_view x) {
  std::copy(x.begin(), x.end(), values_.begin());
  std::fill_n(slopes_.begin(), x.size(), 1.0);
  std::fill_n(curvatures_.begin(), x.size(), 0.0);
  for (std::size_t k = 0; k < steps_.size(); ++k) add_step(x, k);
}

void step_sum_array::add_step(const_vector_view x, std::size_t k) {
  const step_coefficients step = steps_[k];
  const double mean = step_means_[k];
  const index_t count = x.size();
  for (index_t i = 0; i < count; ++i)
    arguments_[i] = step.steepness * (x[i] + step.position);
  compute_tanh(arguments_.part(0, count), tangents_.part(0, count),
               complements_.part(0, count));
  const double* const t = tangents_.data();
  const double* const s = complements_.data();
  double* const value = values_.data();
  double* const slope = slopes_.data();
  double* const curvature = curvatures_.data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      // t - h from 1 - |t| = s / (1 + |t|): both may be near 1, and a_k large.
      const double limit = std::copysign(1.0, t[i]);
      value[i] += ((limit - mean) - s[i] / (limit + t[i])) * step.height;
      slope[i] += step.slope * s[i];
      curvature[i] += step.slope_by_gamma * (t[i] * s[i]);
    }
  });
}

}  // namespace corvane::model::tanh_warper_detail
