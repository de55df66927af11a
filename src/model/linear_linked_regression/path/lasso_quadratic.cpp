// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/lasso_quadratic.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/linear_algebra.h"

namespace corvane::model::sparse_path {

namespace {

void add_multiple(double factor, const_vector_view x, vector_view y) {
  for (index_t i = 0; i < y.size(); ++i) y[i] += factor * x[i];
}

double soft_threshold(double x, double limit) {
  if (x > limit) return x - limit;
  return x < -limit ? x + limit : 0.0;
}

class minimizer {
 public:
  minimizer(const lasso_quadratic& problem, vector_view w, vector_view slopes)
      : H_{problem.H},
        l1_{problem.l1},
        l2_{problem.l2},
        interrupt_{problem.interrupt},
        w_{w},
        slopes_{slopes} {
    for (index_t j = 0; j < w.size(); ++j)
      tolerance_ = std::max(tolerance_, 1e-13 * std::abs(slopes[j]));
  }

  void run() {
    constexpr int max_rounds = 2000;
    for (int round = 0; round < max_rounds; ++round) {
      check(interrupt_);
      descend();
      const double change = descend();
      if (step_to_optimum_of_signs() && is_optimal()) return;
      // Columns that depend on each other have no Cholesky factor.
      if (change <= tolerance_) return;
    }
  }

 private:
  // One pass over the coordinates; the largest change of a slope that it made.
  double descend() {
    double largest = 0.0;
    for (index_t j = 0; j < w_.size(); ++j) {
      const double curvature = H_(j, j);
      if (!(curvature + l2_[j] > 0.0)) continue;
      const double target =
          soft_threshold(slopes_[j] + curvature * w_[j], l1_[j]) / (curvature + l2_[j]);
      const double change = target - w_[j];
      if (change == 0.0) continue;
      w_[j] = target;
      add_multiple(-change, H_.column(j), slopes_);
      largest = std::max(largest, std::abs(change) * (curvature + l2_[j]));
    }
    return largest;
  }

  // The minimum of q over the weights that are not 0 now, or the first point on the way
  // there where one of them becomes 0. True where it is the minimum.
  bool step_to_optimum_of_signs() {
    std::vector<index_t> active;
    for (index_t j = 0; j < w_.size(); ++j)
      if (w_[j] != 0.0) active.push_back(j);
    const auto count = static_cast<index_t>(active.size());
    if (count == 0) return true;
    dense_matrix factor{count, count};
    dense_vector step{count};
    for (index_t b = 0; b < count; ++b) {
      const index_t j = active[static_cast<std::size_t>(b)];
      for (index_t a = b; a < count; ++a)
        factor(a, b) = H_(active[static_cast<std::size_t>(a)], j);
      factor(b, b) += l2_[j];
      step[b] = imbalance(slopes_[j], w_[j], l1_[j], l2_[j]);
    }
    if (potrf(factor) != 0) return false;
    trsv(triangle::lower, plain, factor, step);
    trsv(triangle::lower, transposed, factor, step);
    return take_step(active, step);
  }

  bool take_step(const std::vector<index_t>& active, const_vector_view step) {
    double length = 1.0;
    index_t blocking = -1;
    for (std::size_t a = 0; a < active.size(); ++a) {
      const index_t j = active[a];
      const double change = step[static_cast<index_t>(a)];
      if (l1_[j] == 0.0 || w_[j] * (w_[j] + change) > 0.0) continue;
      const double limit = -w_[j] / change;
      if (limit > length) continue;
      length = limit;
      blocking = j;
    }
    for (std::size_t a = 0; a < active.size(); ++a) {
      const index_t j = active[a];
      const double change = j == blocking ? -w_[j] : length * step[static_cast<index_t>(a)];
      w_[j] = j == blocking ? 0.0 : w_[j] + change;
      add_multiple(-change, H_.column(j), slopes_);
    }
    return blocking < 0;
  }

  bool is_optimal() const {
    for (index_t j = 0; j < w_.size(); ++j)
      if (w_[j] == 0.0 && std::abs(slopes_[j]) > l1_[j] + tolerance_) return false;
    return true;
  }

  const_matrix_view H_;
  const_vector_view l1_;
  const_vector_view l2_;
  interruption* interrupt_;
  vector_view w_;
  vector_view slopes_;
  double tolerance_ = 0.0;  // of slopes
};

}  // namespace

double imbalance(double slope, double weight, double l1, double l2) {
  if (weight == 0.0) return soft_threshold(slope, l1);
  return slope - l2 * weight - std::copysign(l1, weight);
}

void minimize(const lasso_quadratic& problem, vector_view w, vector_view slopes) {
  minimizer{problem, w, slopes}.run();
}

}  // namespace corvane::model::sparse_path
