// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/penalized_model.h"

#include <algorithm>
#include <cmath>

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// The model along one coordinate: slope(w) = offset + a w + r1(w).
struct coordinate {
  const weight_penalty& penalty;
  index_t k;
  double a;
  double offset;

  slope_and_curvature at(double w) const {
    const slope_and_curvature of_penalty = penalty.at(k, w);
    return {offset + a * w + of_penalty.slope, a + of_penalty.curvature};
  }
};

// One step downhill from w, of at most an eighth of the zone within it, and none across its
// border: the pieces of the penalty are taken one at a time.
double step_downhill(const slope_and_curvature& here, double w, double zone) {
  const double downhill = here.slope > 0.0 ? -1.0 : 1.0;
  const double newton =
      here.curvature > 0.0 ? -here.slope / here.curvature : downhill * zone;
  const double size = std::abs(w);
  const bool moves_inward = w * downhill < 0.0;
  if (size < zone || (size == zone && moves_inward)) {
    const double limit = 0.125 * zone;
    const double next = w + std::clamp(newton, -limit, limit);
    return std::clamp(next, -zone, zone);
  }
  const double next = w + newton;
  if (moves_inward && (std::abs(next) < zone || next * w < 0.0))
    return std::copysign(zone, w);
  return next;
}

// A local minimum along the coordinate, downhill from w. A minimum within the zone that is
// about to vanish is left once, for what lies outside.
double minimize(const coordinate& along, double w) {
  constexpr int most_steps = 60;
  constexpr double precision = 1e-10;
  const double zone = along.penalty.zone();
  bool may_leave = true;
  for (int step = 0; step < most_steps; ++step) {
    const slope_and_curvature here = along.at(w);
    const double next = here.slope == 0.0 ? w : step_downhill(here, w, zone);
    if (std::abs(next - w) > precision * (std::abs(w) + zone)) {
      w = next;
    } else if (may_leave && is_about_to_leave_zone(along.penalty, along.k, w, along.a)) {
      w = std::copysign(zone, w);
      may_leave = false;
    } else {
      return next;
    }
  }
  return w;
}

matrix_view full_symmetric(scoped_allocator& scratch, const_symmetric_view lower) {
  const matrix_view full = scratch.matrix(lower.rows(), lower.cols());
  for (index_t j = 0; j < full.cols(); ++j)
    for (index_t i = j; i < full.rows(); ++i) full(i, j) = full(j, i) = lower(i, j);
  return full;
}

}  // namespace

bool is_about_to_leave_zone(const weight_penalty& penalty, index_t k, double w,
                            double curvature) {
  const double zone = penalty.zone();
  if (!(std::abs(w) < zone)) return false;
  // The polynomial for |w| turns down to -0.15 times its curvature at zero, which the
  // losses may outweigh: then there is but one minimum, and nothing to leave.
  const double at_zero = penalty.at(k, 0.0).curvature;
  return curvature < 0.15 * at_zero &&
         curvature + penalty.at(k, w).curvature < 0.15 * at_zero;
}

model_move descend(const penalized_model& model, vector_view weights) {
  constexpr int most_sweeps = 100;
  constexpr double precision = 1e-3;
  scoped_allocator scratch;
  const index_t p = weights.size();
  const matrix_view A = full_symmetric(scratch, model.curvature);
  const vector_view slope = scratch.vector(p);  // g + A d
  std::copy(model.slope.begin(), model.slope.end(), slope.begin());
  const double zone = model.penalty.zone();

  double longest = 1.0;
  for (int sweep = 0; sweep < most_sweeps && longest > precision; ++sweep) {
    longest = 0.0;
    for (index_t k = 0; k < p; ++k) {
      const double a = A(k, k);
      const double from = weights[k];
      const double to = minimize({model.penalty, k, a, slope[k] - a * from}, from);
      const double step = to - from;
      if (!(std::abs(step) > 0.0)) continue;
      weights[k] = to;
      const const_vector_view column = A.column(k);
      for (index_t i = 0; i < p; ++i) slope[i] += step * column[i];
      longest = std::max(longest, std::abs(step) * std::sqrt(a));
    }
  }

  model_move move;
  for (index_t k = 0; k < p; ++k) {
    const double before = model.weights[k];
    const double curvature = A(k, k) + model.penalty.at(k, before).curvature;
    move.length = std::max(move.length,
                           std::abs(weights[k] - before) * std::sqrt(std::abs(curvature)));
    if ((std::abs(before) < zone) != (std::abs(weights[k]) < zone))
      move.crosses_a_border = true;
  }
  return move;
}

}  // namespace corvane::model::linear_linked_regression_detail
