// SPDX-License-Identifier: BSD-3-Clause
//
// The targets in ascending order, each with a row of numbers q_i, and the nodes that
// replace them in sums of smooth functions. A binary tree of cells halves the targets down
// to about a hundred. On a cell where f is a polynomial of low degree up to rounding, m
// nodes replace all of its targets:
//
//   sum over i of q_i f(y_i) = sum over j of V_j f(x_j),   V_j = sum over i of q_i l_j(y_i)
//
// with x_j the Chebyshev points of the cell and l_j the cardinal polynomials there. The V_j
// of a cell come from those of its halves. After L. Greengard, V. Rokhlin, "A fast
// algorithm for particle simulations", J. Comput. Phys. 73 (1987).
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "common/interruption.h"
#include "common/matrix_block.h"
#include "n_array/n_array.h"

namespace corvane::model {

// Interpolation by polynomials of degree m - 1 at the m Chebyshev points of [-1, 1],
//
//   x_j = cos((2 j + 1) pi / (2 m)),   T_k(x) = cos(k arccos x)
//   l_j(x) = (1 / m) (T_0(x) + 2 sum over k >= 1 of T_k(x_j) T_k(x))
//
// with l_j 1 at x_j and 0 at the other points. The error is that of the best polynomial but
// for a factor below 4, and falls like rho^-m for a function that is analytic inside of the
// ellipse with foci -1 and 1 and semiaxes of sum rho. L. N. Trefethen, "Approximation
// Theory and Approximation Practice", SIAM (2013), chapters 4, 8 and 15.
class chebyshev_basis {
 public:
  static constexpr index_t num_points = 24;

  chebyshev_basis();

  double point(index_t j) const { return points_[static_cast<std::size_t>(j)]; }

  // T_k(x_i) in column k, of x in [-1, 1].
  static void fill_polynomials(const_vector_view x, matrix_block polynomials);

  // l_j = sum over k of this (j, k) times T_k.
  const_matrix_view cardinal_coefficients() const { return cardinal_coefficients_; }

 private:
  std::array<double, num_points> points_{};
  dense_matrix cardinal_coefficients_;
};

class target_cells {
 public:
  static constexpr index_t num_nodes = chebyshev_basis::num_points;
  static constexpr index_t root = 1;

  target_cells() = default;
  // Row i of `rows` belongs to y_i; all are finite.
  // `interrupt`, not owned, is checked between columns and between cells.
  target_cells(const_vector_view y, dense_matrix&& rows, interruption* interrupt = nullptr);

  const_vector_view y() const { return y_; }         // ascending
  const_matrix_block rows() const { return rows_; }  // in the same order

  // Cells are numbered from the root; the halves of c are 2 c and 2 c + 1. Few targets make
  // no cells.
  bool has_cells() const { return num_leaves_ > 0; }
  bool is_leaf(index_t c) const { return c >= num_leaves_; }
  double lower(index_t c) const { return lower_[c]; }
  double upper(index_t c) const { return upper_[c]; }
  double half_width(index_t c) const { return 0.5 * (upper(c) - lower(c)); }

  // False where most targets of a cell are in a small part of it. The terms at its nodes,
  // which are spread over the cell, may be larger than those at the targets, and with them
  // the rounding errors.
  bool is_filled(index_t c) const { return filled_[static_cast<std::size_t>(c)]; }

  // The targets of a leaf are those from its first one to that of the next leaf.
  index_t first_target(index_t leaf) const {
    return (leaf - num_leaves_) * y_.size() / num_leaves_;
  }

  // x_j and V_j of a cell.
  double node(index_t c, index_t j) const;
  const_matrix_block node_rows(index_t c) const {
    return {node_rows_.data() + c * block_size(), num_nodes, rows_.cols(), num_nodes};
  }

 private:
  class node_sums;
  struct spread;

  index_t block_size() const { return num_nodes * rows_.cols(); }
  double middle(index_t c) const;
  void sort(const_vector_view y, interruption* interrupt);
  void build_cells(interruption* interrupt);

  dense_vector y_;
  dense_matrix rows_;
  chebyshev_basis basis_;
  index_t num_leaves_ = 0;  // a power of 2; leaves are the cells from here to twice this
  dense_vector lower_;      // the first and the last target of each cell
  dense_vector upper_;
  std::vector<bool> filled_;
  dense_vector node_rows_;  // V, a column-major block for each cell
};

}  // namespace corvane::model
