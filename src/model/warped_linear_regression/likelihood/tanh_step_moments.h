// SPDX-License-Identifier: BSD-3-Clause
//
// The residual moments of a sum of tanh steps, in one pass over the nodes that replace the
// targets. z and its derivatives are combinations of seven columns per step and target, so
// that their inner products are summed, by blocks of rows that stay in cache: no column of
// full length is stored. With C the columns without their means and W = Q'C,
//
//   C'(I - QQ')C = C'C - W'W
//
// which loses digits where C is nearly in the span of Q. Where it loses more than two, a
// second pass over the targets sums the inner products of the residuals C - QW.
#pragma once

#include "model/warped_linear_regression/likelihood/residual_moments.h"

namespace corvane::model::tanh_warper_detail {

void sum_residual_moments(const_vector_view theta, const projected_targets& targets,
                          residual_moments& moments);

}  // namespace corvane::model::tanh_warper_detail
