// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/tanh_step_block.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "common/vector_dispatch.h"
#include "common/vector_math.h"

namespace corvane::model::tanh_warper_detail {

namespace {

// Writes the terms of row i into as many neighbouring columns, less those at the anchor.
// The constant stride lets compilers see that the columns do not overlap.
template <std::size_t Count>
void store(double* first_column, index_t i, const std::array<double, Count>& terms,
           const std::array<double, Count>& anchor) {
  for (std::size_t j = 0; j < Count; ++j)
    first_column[static_cast<index_t>(j) * step_block::max_rows + i] = terms[j] - anchor[j];
}

template <std::size_t Count>
void store_scaled(double* first_column, index_t i, const std::array<double, Count>& terms,
                  double factor) {
  for (std::size_t j = 0; j < Count; ++j)
    first_column[static_cast<index_t>(j) * step_block::max_rows + i] = terms[j] * factor;
}

}  // namespace

step_block::step_block(scoped_allocator& scope, const_vector_view theta, double anchor)
    : anchor_{anchor},
      num_steps_{theta.size() / parameters_per_step},
      steps_{scope.take<step_coefficients>(num_steps_)},
      curvatures_{scope.take<step_curvatures>(num_steps_)},
      at_anchor_{scope.take<anchored_terms>(num_steps_)},
      arguments_{scope.vector(max_rows)},
      slopes_{scope.vector(max_rows)},
      inverse_slopes_{scope.vector(max_rows)},
      tangents_{scope.matrix(max_rows, num_steps_)},
      complements_{scope.matrix(max_rows, num_steps_)},
      tangent_differences_{scope.vector(max_rows)},
      latent_columns_{scope.matrix(max_rows, 1 + 2 * parameters_per_step * num_steps_)},
      slope_columns_{
          scope.matrix(max_rows, (parameters_per_step + pairs_per_step) * num_steps_)} {
  fill_step_coefficients(theta, steps_);
  for (index_t k = 0; k < num_steps_; ++k)
    curvatures_[k] =
        make_step_curvatures(theta.part(k * parameters_per_step, parameters_per_step));
  for (index_t k = 0; k < num_steps_; ++k) steps_[k].position += anchor;
  fill_anchor();
}

// With the same functions as for the targets: a target at the anchor gives exactly zero.
void step_block::fill_anchor() {
  constexpr double at = 0.0;
  y_ = {&at, 1};
  for (index_t k = 0; k < num_steps_; ++k) {
    fill_tangents(k);
    const step_point p =
        make_step_point(at, steps_[k].position, tangents_(0, k), complements_(0, k));
    at_anchor_[k] = {p, raw_gradient(p), raw_curvature(curvatures_[k], p)};
  }
  y_ = {};
}

void step_block::fill(const_vector_view y) {
  y_ = y;
  for (index_t i = 0; i < y.size(); ++i) latent_columns_(i, 0) = y[i] + anchor_;
  std::fill(slopes_.begin(), slopes_.end(), 1.0);
  for (index_t k = 0; k < num_steps_; ++k) {
    fill_tangents(k);
    add_latents_and_slopes(k);
    fill_raw_columns(k);
  }
}

void step_block::fill_tangents(index_t k) {
  const double position = steps_[k].position;
  const double steepness = steps_[k].steepness;
  for (index_t i = 0; i < y_.size(); ++i) arguments_[i] = (y_[i] + position) * steepness;
  compute_tanh(arguments_.part(0, y_.size()), tangents_.column(k).part(0, y_.size()),
               complements_.column(k).part(0, y_.size()));
}

void step_block::add_latents_and_slopes(index_t k) {
  const index_t count = y_.size();
  const step_coefficients step = steps_[k];
  const step_point anchor = at_anchor_[k].point;
  const double* const t = tangents_.column(k).data();
  const double* const s = complements_.column(k).data();
  double* const difference = tangent_differences_.data();
  double* const z = latent_columns_.data();
  double* const d = slopes_.data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      difference[i] = tangent_difference({0.0, t[i], s[i]}, anchor);
      z[i] += difference[i] * step.height;
      d[i] += s[i] * step.slope;
    }
  });
}

void step_block::fill_raw_columns(index_t k) {
  const index_t count = y_.size();
  const double position = steps_[k].position;
  const step_curvatures factors = curvatures_[k];
  const anchored_terms anchor = at_anchor_[k];
  const double* const y = y_.data();
  const double* const t = tangents_.column(k).data();
  const double* const s = complements_.column(k).data();
  const double* const difference = tangent_differences_.data();
  double* const gradient = latent_columns_.column(1 + parameters_per_step * k).data();
  double* const curvature = gradient + max_rows * parameters_per_step * num_steps_;
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      const step_point p = make_step_point(y[i], position, t[i], s[i]);
      store(gradient, i, raw_gradient(p), anchor.gradient);
      gradient[i] = difference[i];
    }
    for (index_t i = 0; i < count; ++i) {
      const step_point p = make_step_point(y[i], position, t[i], s[i]);
      store(curvature, i, raw_curvature(factors, p), anchor.curvature);
    }
  });
}

void step_block::fill_slope_terms() {
  const index_t count = y_.size();
  const double* const d = slopes_.data();
  double* const inverse = inverse_slopes_.data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) inverse[i] = 1.0 / d[i];
  });
  for (index_t k = 0; k < num_steps_; ++k) fill_slope_columns(k);
}

void step_block::fill_slope_columns(index_t k) {
  const index_t count = y_.size();
  const step_coefficients step = steps_[k];
  const step_curvatures factors = curvatures_[k];
  const double* const y = y_.data();
  const double* const t = tangents_.column(k).data();
  const double* const s = complements_.column(k).data();
  const double* const inverse = inverse_slopes_.data();
  double* const gradient = slope_columns_.column(parameters_per_step * k).data();
  double* const hessian =
      slope_columns_.column(parameters_per_step * num_steps_ + pairs_per_step * k).data();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      const step_point p = make_step_point(y[i], step.position, t[i], s[i]);
      store_scaled(gradient, i, slope_gradient(step, p), inverse[i]);
    }
    for (index_t i = 0; i < count; ++i) {
      const step_point p = make_step_point(y[i], step.position, t[i], s[i]);
      store_scaled(hessian, i, slope_hessian(factors, p), inverse[i]);
    }
  });
}

}  // namespace corvane::model::tanh_warper_detail
