// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/target_cells.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

#include "common/narrow_products.h"
#include "common/scoped_allocator.h"

namespace corvane::model {

chebyshev_basis::chebyshev_basis() : cardinal_coefficients_(num_points, num_points) {
  constexpr auto m = static_cast<double>(num_points);
  for (index_t j = 0; j < num_points; ++j) {
    const double angle =
        (2.0 * static_cast<double>(j) + 1.0) * std::numbers::pi / (2.0 * m);
    points_[static_cast<std::size_t>(j)] = std::cos(angle);
    cardinal_coefficients_(j, 0) = 1.0 / m;
    for (index_t k = 1; k < num_points; ++k)
      cardinal_coefficients_(j, k) = 2.0 / m * std::cos(static_cast<double>(k) * angle);
  }
}

// T_k+1 = 2 x T_k - T_k-1
void chebyshev_basis::fill_polynomials(const_vector_view x, matrix_block polynomials) {
  const vector_view constant = polynomials.column(0);
  std::fill(constant.begin(), constant.end(), 1.0);
  std::copy(x.begin(), x.end(), polynomials.column(1).begin());
  for (index_t k = 2; k < num_points; ++k) {
    const const_vector_view earlier = polynomials.column(k - 2);
    const const_vector_view last = polynomials.column(k - 1);
    const vector_view next = polynomials.column(k);
    for (index_t i = 0; i < x.size(); ++i) next[i] = 2.0 * x[i] * last[i] - earlier[i];
  }
}

namespace {

// The least number of targets per node at which nodes are faster than the targets.
constexpr index_t least_targets_per_node = 3;

// The largest power of 2 at which each leaf has enough targets; 0 if one leaf has too few.
index_t count_leaves(index_t num_targets) {
  const auto leaves = static_cast<std::uint64_t>(
      num_targets / (least_targets_per_node * target_cells::num_nodes));
  return static_cast<index_t>(std::bit_floor(leaves));
}

}  // namespace

// Of targets: their number, their mean and the sum of squares about it. T. Chan, G. Golub,
// R. LeVeque, "Algorithms for computing the sample variance", Amer. Stat. 37 (1983), (2.1).
struct target_cells::spread {
  double count = 0.0;
  double mean = 0.0;
  double squares = 0.0;

  void add(const spread& other) {
    const double both = count + other.count;
    const double apart = other.mean - mean;
    squares += other.squares + apart * apart * (count / both * other.count);
    mean += apart * (other.count / both);
    count = both;
  }

  // Whether the standard deviation is at least an eighth of the half width of the cell.
  bool fills(double half_width) const {
    constexpr double least_part = 0.125;
    return squares >= count * (least_part * half_width) * (least_part * half_width);
  }
};

// V of one cell: A = sum over abscissas of T(x) q', then V = M A with M the cardinal
// coefficients.
class target_cells::node_sums {
 public:
  node_sums(target_cells& cells, index_t most_abscissas)
      : cells_{cells},
        x_{scope_.vector(most_abscissas)},
        polynomials_{scope_.matrix(most_abscissas, num_nodes)},
        sums_{scope_.matrix(num_nodes, cells.rows_.cols())} {}

  void begin(index_t c) {
    cell_ = c;
    fill(sums_, 0.0);
  }

  // Abscissas within the cell, each with its row.
  void add(const_vector_view abscissas, const_matrix_block rows) {
    const double middle = cells_.middle(cell_);
    const double half_width = cells_.half_width(cell_);
    const vector_view x = x_.part(0, abscissas.size());
    for (index_t i = 0; i < x.size(); ++i)
      x[i] = half_width > 0.0 ? (abscissas[i] - middle) / half_width : 0.0;
    const matrix_block polynomials = matrix_block{polynomials_}.part_rows(0, x.size());
    chebyshev_basis::fill_polynomials(x, polynomials);
    add_narrow_products(polynomials, rows, sums_);
  }

  void finish() {
    const matrix_block out{cells_.node_rows_.data() + cell_ * cells_.block_size(),
                           num_nodes, sums_.cols(), num_nodes};
    multiply_narrow(cells_.basis_.cardinal_coefficients(), sums_, out);
  }

 private:
  scoped_allocator scope_;
  target_cells& cells_;
  index_t cell_ = root;
  vector_view x_;
  matrix_view polynomials_;
  matrix_view sums_;
};

target_cells::target_cells(const_vector_view y, dense_matrix&& rows,
                           interruption* interrupt)
    : y_(y.size()), rows_{std::move(rows)}, num_leaves_{count_leaves(y.size())} {
  sort(y, interrupt);
  if (has_cells()) build_cells(interrupt);
}

void target_cells::sort(const_vector_view y, interruption* interrupt) {
  using numbered_target = std::pair<double, index_t>;
  scoped_allocator scope;
  auto* const targets = scope.take<numbered_target>(y.size());
  for (index_t i = 0; i < y.size(); ++i) targets[i] = {y[i], i};
  std::sort(targets, targets + y.size());
  auto* const places = scope.take<index_t>(y.size());
  for (index_t i = 0; i < y.size(); ++i) {
    y_[i] = targets[i].first;
    places[i] = targets[i].second;
  }
  const vector_view sorted = scope.vector(y.size());
  for (index_t j = 0; j < rows_.cols(); ++j) {
    check(interrupt);
    const vector_view column = rows_.view().column(j);
    for (index_t i = 0; i < y.size(); ++i) sorted[i] = column[places[i]];
    std::copy(sorted.begin(), sorted.end(), column.begin());
  }
}

double target_cells::middle(index_t c) const {
  return lower(c) + 0.5 * (upper(c) - lower(c));
}

double target_cells::node(index_t c, index_t j) const {
  return middle(c) + half_width(c) * basis_.point(j);
}

// Leaves are built from their targets, other cells from their halves.
void target_cells::build_cells(interruption* interrupt) {
  const index_t num_cells = 2 * num_leaves_;
  lower_ = dense_vector(num_cells);
  upper_ = dense_vector(num_cells);
  filled_.resize(static_cast<std::size_t>(num_cells));
  node_rows_ = dense_vector(num_cells * block_size());
  std::vector<spread> spreads(static_cast<std::size_t>(num_cells));
  const index_t most_targets = y_.size() / num_leaves_ + 1;
  node_sums sums{*this, std::max(most_targets, num_nodes)};
  scoped_allocator scope;
  const vector_view nodes = scope.vector(num_nodes);
  for (index_t c = num_cells - 1; c >= root; --c) {
    check(interrupt);
    spread& of_cell = spreads[static_cast<std::size_t>(c)];
    if (is_leaf(c)) {
      const index_t first = first_target(c);
      const const_vector_view targets = y().part(first, first_target(c + 1) - first);
      lower_[c] = targets[0];
      upper_[c] = targets[targets.size() - 1];
      for (const double target : targets) of_cell.add({1.0, target, 0.0});
      sums.begin(c);
      sums.add(targets, rows().part_rows(first, targets.size()));
    } else {
      lower_[c] = lower_[2 * c];
      upper_[c] = upper_[2 * c + 1];
      sums.begin(c);
      for (const index_t half : {2 * c, 2 * c + 1}) {
        of_cell.add(spreads[static_cast<std::size_t>(half)]);
        for (index_t j = 0; j < num_nodes; ++j) nodes[j] = node(half, j);
        sums.add(nodes, node_rows(half));
      }
    }
    sums.finish();
    filled_[static_cast<std::size_t>(c)] = of_cell.fills(half_width(c));
  }
}

}  // namespace corvane::model
