// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/step_summation.h"

#include <algorithm>
#include <cmath>

namespace corvane::model::tanh_warper_detail {

namespace {

// With 24 points on an interval of half width h and singularities at a distance of at least
// pi / 2 in units of 1 / b, the error of each term is below its rounding up to b h = 0.5:
// measured against 40 digits, below 1e-17 of its size.
constexpr double widest_half_width = 0.5;
static_assert(target_cells::num_nodes == 24, "the limit above is that of 24 points");

// From this distance on, in units of 1 / b, the change of a step of slope a b is below
// 1e-17, factors (b (y + c))^2 of its derivatives included.
double saturation_distance(double slope) { return 24.0 + 0.5 * std::log1p(slope); }

}  // namespace

bool step_resolution::is_smooth(double lower, double upper) const {
  double steepest = 0.0;
  double second = 0.0;
  for (index_t k = 0; k < num_steps_; ++k) {
    const step_coefficients& step = steps_[k];
    const double center = -step.position;
    const double distance = std::max({lower - center, center - upper, 0.0});
    if (distance * step.steepness >= saturation_distance(step.slope)) continue;
    second = std::max(second, std::min(steepest, step.steepness));
    steepest = std::max(steepest, step.steepness);
  }
  return (steepest + second) * (0.5 * (upper - lower)) <= widest_half_width;
}

summation_blocks::summation_blocks(const target_cells& cells,
                                   const step_resolution& resolution, index_t max_rows)
    : cells_{cells},
      resolution_{resolution},
      y_{scope_.vector(max_rows)},
      rows_{scope_.matrix(max_rows, cells.rows().cols())} {}

bool summation_blocks::next() {
  size_ = 0;
  while (cell_ != 0) {
    if (nodes_suffice(cell_)) {
      if (!has_room(target_cells::num_nodes)) return true;
      add_nodes();
      pass_cell();
    } else if (cells_.is_leaf(cell_)) {
      const index_t first = cells_.first_target(cell_);
      const index_t count = cells_.first_target(cell_ + 1) - first;
      if (!has_room(count)) return true;
      add_targets(first, count);
      pass_cell();
    } else {
      cell_ *= 2;
    }
  }
  return size_ > 0;
}

bool summation_blocks::nodes_suffice(index_t c) const {
  return cells_.is_filled(c) && resolution_.is_smooth(cells_.lower(c), cells_.upper(c));
}

summation_block summation_blocks::block() const {
  return {y_.part(0, size_), const_matrix_block{rows_}.part_rows(0, size_)};
}

void summation_blocks::add_nodes() {
  for (index_t j = 0; j < target_cells::num_nodes; ++j)
    y_[size_ + j] = cells_.node(cell_, j);
  add_rows(cells_.node_rows(cell_));
}

void summation_blocks::add_targets(index_t first, index_t count) {
  const const_vector_view y = cells_.y().part(first, count);
  std::copy(y.begin(), y.end(), y_.part(size_, count).begin());
  add_rows(cells_.rows().part_rows(first, count));
}

void summation_blocks::add_rows(const_matrix_block rows) {
  copy(rows, matrix_block{rows_}.part_rows(size_, rows.rows()));
  size_ += rows.rows();
}

// To the next cell at the right: the right half of the nearest ancestor whose right half
// does not contain this cell.
void summation_blocks::pass_cell() {
  while (cell_ % 2 != 0) cell_ /= 2;
  if (cell_ != 0) ++cell_;
}

}  // namespace corvane::model::tanh_warper_detail
