// SPDX-License-Identifier: BSD-3-Clause
//
// tanh_map: an increasing map from targets to latent values as plain numbers, without the
// targets that it was fitted to. With u = (y - shift) / scale,
//
//   z(y) = u + sum over k of a_k (tanh(b_k (u + c_k)) - h_k)
//
// E. Snelson, C. Rasmussen, Z. Ghahramani, "Warped Gaussian processes", NIPS 16 (2003),
// section 3.
#pragma once

#include "n_array/n_array.h"

namespace corvane::model {

struct tanh_map {
  dense_vector heights;      // a
  dense_vector steepnesses;  // b
  dense_vector positions;    // c, in standardized units of the target
  dense_vector step_means;   // h
  double shift = 0.0;
  double scale = 1.0;
};

// From (alpha, beta, gamma) of each step, a = alpha^2, b = beta^2, c = gamma; h_k is the
// mean of the step over `standardized`, the values of u that the map is for. Throws
// std::invalid_argument as target_warper_descriptor::make_warper does.
tanh_map make_tanh_map(const_vector_view theta, const_vector_view standardized,
                       double shift, double scale);

// Throws std::invalid_argument where the vectors of steps differ in their lengths, or a
// step is not finite.
void check_steps(const tanh_map& map);

// The outputs are as long as the targets, and apart from them.
void compute_latent(const tanh_map& map, const_vector_view target, vector_view latent);
// dz/dy, and its logarithm, which is finite where a slope in small units is not.
void compute_slope(const tanh_map& map, const_vector_view target, vector_view slope);
void compute_log_slope(const tanh_map& map, const_vector_view target,
                       vector_view log_slope);

// u of each latent, to nearly all digits. An infinite latent belongs to an infinite target,
// and NaN to NaN.
void invert_standardized(const tanh_map& map, const_vector_view latent,
                         vector_view standardized);
// The targets themselves.
void invert(const tanh_map& map, const_vector_view latent, vector_view target);

}  // namespace corvane::model
