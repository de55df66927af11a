// SPDX-License-Identifier: BSD-3-Clause
//
// The residual moments of a sum of tanh steps, in one pass over the nodes that stand for
// the targets. z and its derivatives are combinations of seven columns per step and target,
// so that it is their inner products that are summed, by blocks of rows that stay in cache:
// no column is ever kept at full length. With C the columns without their means and W =
// Q'C,
//
//   C'(I - QQ')C = C'C - W'W
//
// which loses the digits that C has in common with Q. Where that is more than two of them,
// a second pass, over the targets, sums the inner products of the residuals C - QW.
#pragma once

#include "model/warped_linear_regression/likelihood/residual_moments.h"

namespace corvane::model::tanh_warper_detail {

void sum_residual_moments(const_vector_view theta, const projected_targets& targets,
                          residual_moments& moments);

}  // namespace corvane::model::tanh_warper_detail
