// SPDX-License-Identifier: BSD-3-Clause
//
// A sum of tanh steps with its first two derivatives in x, at one point and at an array of
// them: one tanh per step and point is used for all three.
//
//   f(x) = x + sum over k of a_k (t_k - h_k),   t_k = tanh(b_k (x + c_k)),  s_k = 1 - t_k^2
//   f'   = 1 + sum of a_k b_k s_k,              f'' = -2 sum of a_k b_k^2 t_k s_k
#pragma once

#include <span>

#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

// The function of the root solver: the derivatives are those at the point of the last
// value.
class step_sum {
 public:
  step_sum(scoped_allocator& scope, std::span<const step_coefficients> steps,
           const_vector_view step_means);

  double value(double x);
  double derivative(double x) const;
  double second_derivative(double x) const;

 private:
  // What is kept of one step at the current point.
  struct terms {
    double t;
    double s;
    double ts;
  };

  std::span<const step_coefficients> steps_;
  const double* step_means_;
  terms* terms_;
};

class step_sum_array {
 public:
  static constexpr index_t max_points = 512;

  step_sum_array(scoped_allocator& scope, std::span<const step_coefficients> steps,
                 const_vector_view step_means);

  // At these points, at most `max_points`.
  void evaluate(const_vector_view x);

  // Of the last `evaluate`; entries behind the last point are unspecified.
  const_vector_view values() const { return values_; }
  const_vector_view slopes() const { return slopes_; }          // f'
  const_vector_view curvatures() const { return curvatures_; }  // f''

 private:
  void add_step(const_vector_view x, std::size_t k);

  std::span<const step_coefficients> steps_;
  const double* step_means_;
  vector_view arguments_;
  vector_view tangents_;
  vector_view complements_;
  vector_view values_;
  vector_view slopes_;
  vector_view curvatures_;
};

}  // namespace corvane::model::tanh_warper_detail
