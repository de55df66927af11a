// SPDX-License-Identifier: BSD-3-Clause
//
// The abscissas of the sums over the targets in the likelihood of a sum of tanh steps: at
// the nodes of the largest cells on which all of its terms are polynomials of low degree up
// to rounding, and at the targets themselves where no cell is small enough.
//
// The terms contain tanh(b (y + c)), with poles pi / (2 b) away from the real axis, of
// log d and of 1 / d, d = 1 + sum of a b / cosh^2(b (y + c)). At a distance v from the real
// axis each term of d has an argument of at most 2 b v. All lie in one half plane, so that
// d is not zero, as long as 2 v times the sum of the two largest b is below pi.
#pragma once

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/likelihood/target_cells.h"
#include "model/warped_linear_regression/map/tanh_step_coefficients.h"
#include "n_array/n_array_view.h"

namespace corvane::model::tanh_warper_detail {

// Determines where the terms of these steps are smooth. Steps that are saturated on all of
// an interval are constant there and do not count.
class step_resolution {
 public:
  step_resolution(const step_coefficients* steps, index_t num_steps)
      : steps_{steps}, num_steps_{num_steps} {}

  bool is_smooth(double lower, double upper) const;

 private:
  const step_coefficients* steps_;
  index_t num_steps_;
};

// Abscissas, each with its row.
struct summation_block {
  const_vector_view y;
  const_matrix_block rows;
};

// Iterates over blocks of abscissas that together replace all targets of the cells.
class summation_blocks {
 public:
  // `max_rows` is at least 145, the most rows of a cell or of a leaf.
  summation_blocks(const target_cells& cells, const step_resolution& resolution,
                   index_t max_rows);

  // Moves on to the next block; false when there is none.
  bool next();
  // Lasts until the next call of `next`.
  summation_block block() const;

 private:
  bool has_room(index_t count) const { return size_ + count <= y_.size(); }
  bool nodes_suffice(index_t c) const;
  void add_nodes();
  void add_targets(index_t first, index_t count);
  void add_rows(const_matrix_block rows);
  void pass_cell();

  scoped_allocator scope_;
  const target_cells& cells_;
  step_resolution resolution_;
  index_t cell_ = target_cells::root;  // the next one to look at, 0 at the end
  index_t size_ = 0;                   // of the block
  vector_view y_;
  matrix_view rows_;
};

}  // namespace corvane::model::tanh_warper_detail
