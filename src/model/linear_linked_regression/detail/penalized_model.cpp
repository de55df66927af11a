// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/penalized_model.h"

#include <algorithm>
#include <cmath>

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// With less than this part of its curvature at zero left, a minimum in the zone is about to
// vanish.
constexpr double firm_part = 0.03;

// The polynomial for |w| turns down to -0.15 times its curvature at zero. Where the losses
// outweigh that there is but one minimum, and no border to mind.
bool has_two_minima(double curvature_of_losses, double penalty_at_zero) {
  return curvature_of_losses < 0.15 * penalty_at_zero;
}

// The model along one coordinate: slope(w) = offset + a w + r1(w).
struct coordinate {
  const weight_penalty& penalty;
  index_t k;
  double a;
  double offset;
  double penalty_at_zero;  // its curvature there

  slope_and_curvature at(double w) const {
    const slope_and_curvature of_penalty = penalty.at(k, w);
    return {offset + a * w + of_penalty.slope, a + of_penalty.curvature};
  }
};

// Where a weight comes to rest on its side of the border of the zone, and whether it would
// go on across.
struct rest {
  double w;
  bool wants_across;
};

double downhill_of(const slope_and_curvature& here) {
  return here.slope > 0.0 ? -1.0 : 1.0;
}

// One step downhill from w, of at most an eighth of the zone within it, and none across its
// border: the pieces of the penalty are taken one at a time.
double step_downhill(const slope_and_curvature& here, double w, double zone) {
  const double downhill = downhill_of(here);
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

bool wants_across(const coordinate& along, const slope_and_curvature& here, double w) {
  const double zone = along.penalty.zone();
  const bool moves_inward = w * downhill_of(here) < 0.0;
  if (std::abs(w) < zone)
    return !moves_inward && here.curvature < firm_part * along.penalty_at_zero;
  return std::abs(w) == zone && moves_inward;
}

// Downhill from w, to a minimum or to where the border is in the way.
rest minimize(const coordinate& along, double w) {
  constexpr int most_steps = 60;
  constexpr double precision = 1e-10;
  const double zone = along.penalty.zone();
  const bool minds_border = has_two_minima(along.a, along.penalty_at_zero);
  for (int step = 0; step < most_steps; ++step) {
    const slope_and_curvature here = along.at(w);
    if (here.slope == 0.0) break;
    if (minds_border && wants_across(along, here, w)) return {w, true};
    const double next = step_downhill(here, w, zone);
    const bool is_at_rest = std::abs(next - w) <= precision * (std::abs(w) + zone);
    w = next;
    if (is_at_rest) break;
  }
  return {w, false};
}

matrix_view full_symmetric(scoped_allocator& scratch, const_symmetric_view lower) {
  const matrix_view full = scratch.matrix(lower.rows(), lower.cols());
  for (index_t j = 0; j < full.cols(); ++j)
    for (index_t i = j; i < full.rows(); ++i) full(i, j) = full(j, i) = lower(i, j);
  return full;
}

// The descent of all weights. They cross borders together, between descents on their own
// sides.
class joint_descent {
 public:
  joint_descent(scoped_allocator& scratch, const penalized_model& model,
                vector_view weights)
      : model_{model},
        weights_{weights},
        A_{full_symmetric(scratch, model.curvature)},
        slope_{scratch.vector(weights.size())},
        penalty_at_zero_{scratch.vector(weights.size())},
        wants_across_{scratch.take<bool>(weights.size())},
        may_leave_{scratch.take<bool>(weights.size())} {
    std::copy(model.slope.begin(), model.slope.end(), slope_.begin());
    std::fill_n(may_leave_, weights.size(), true);
    for (index_t k = 0; k < weights.size(); ++k)
      penalty_at_zero_[k] = model.penalty.at(k, 0.0).curvature;
  }

  void run() {
    constexpr int most_rounds = 20;
    int round = 0;
    do sweep_until_at_rest();
    while (cross_borders() && ++round < most_rounds);
  }

 private:
  void sweep_until_at_rest() {
    constexpr int most_sweeps = 100;
    constexpr double precision = 1e-6;
    double longest = 1.0;
    for (int sweep = 0; sweep < most_sweeps && longest > precision; ++sweep) {
      longest = 0.0;
      for (index_t k = 0; k < weights_.size(); ++k) {
        const double a = A_(k, k);
        const double from = weights_[k];
        const rest end = minimize(
            {model_.penalty, k, a, slope_[k] - a * from, penalty_at_zero_[k]}, from);
        wants_across_[k] = end.wants_across;
        longest = std::max(longest, std::abs(end.w - from) * std::sqrt(a));
        move(k, end.w);
      }
    }
  }

  // A weight leaves its zone once at most; otherwise it might come and go for ever.
  bool cross_borders() {
    const double zone = model_.penalty.zone();
    bool has_crossed = false;
    for (index_t k = 0; k < weights_.size(); ++k) {
      const bool is_inside = std::abs(weights_[k]) < zone;
      if (!wants_across_[k] || (is_inside && !may_leave_[k])) continue;
      may_leave_[k] = may_leave_[k] && !is_inside;
      move(k, std::copysign(is_inside ? zone : 0.25 * zone, weights_[k]));
      has_crossed = true;
    }
    return has_crossed;
  }

  void move(index_t k, double to) {
    const double step = to - weights_[k];
    if (!(std::abs(step) > 0.0)) return;
    weights_[k] = to;
    const const_vector_view column = const_matrix_view{A_}.column(k);
    for (index_t i = 0; i < slope_.size(); ++i) slope_[i] += step * column[i];
  }

  const penalized_model& model_;
  vector_view weights_;
  matrix_view A_;
  vector_view slope_;  // g + A d
  vector_view penalty_at_zero_;
  bool* wants_across_;
  bool* may_leave_;
};

}  // namespace

bool is_about_to_leave_zone(const weight_penalty& penalty, index_t k, double w,
                            double curvature) {
  const double zone = penalty.zone();
  if (!(std::abs(w) < zone)) return false;
  const double at_zero = penalty.at(k, 0.0).curvature;
  return has_two_minima(curvature, at_zero) &&
         curvature + penalty.at(k, w).curvature < firm_part * at_zero;
}

model_move descend(const penalized_model& model, vector_view weights) {
  scoped_allocator scratch;
  joint_descent{scratch, model, weights}.run();
  const double zone = model.penalty.zone();
  model_move move;
  for (index_t k = 0; k < weights.size(); ++k) {
    const double before = model.weights[k];
    const double curvature = model.curvature(k, k) + model.penalty.at(k, before).curvature;
    move.length = std::max(move.length,
                           std::abs(weights[k] - before) * std::sqrt(std::abs(curvature)));
    if ((std::abs(before) < zone) != (std::abs(weights[k]) < zone))
      move.crosses_a_border = true;
  }
  return move;
}

}  // namespace corvane::model::linear_linked_regression_detail
