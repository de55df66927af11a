// SPDX-License-Identifier: BSD-3-Clause
//
// The inverse of a sum of tanh steps, in standardized units. One bracket, computed from the
// extremes of the latents, is used for every entry. The root solver's Halley iteration
// starts from the latent value itself, which is close where the map is near the identity;
// many latents at once start from a table. Either way the last steps are taken on arrays,
// until the error is at most 1e-13 |x|, apart from the rounding of the sum. By no more than
// that does a result depend on the other latents.
#pragma once

#include <span>

#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

// Writes x with x + sum over k of a_k (tanh(b_k (x + c_k)) - h_k) = v for each latent v, to
// within `tolerance` times |v| and to nearly all its digits. Where no double comes as
// close, as on a step whose slope times the spacing of doubles exceeds that, x is the
// closest one. Throws std::runtime_error when a latent is not finite, and
// solver_max_iterations_exceeded_error if the tolerance is not above 0. `latent` and `x`
// are apart.
void invert_steps(std::span<const step_coefficients> steps, const_vector_view step_means,
                  const_vector_view latent, double tolerance, vector_view x);

}  // namespace corvane::model::tanh_warper_detail
