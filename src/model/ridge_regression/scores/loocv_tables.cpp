// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/loocv_tables.h"

#include <algorithm>
#include <array>
#include <numbers>
#include <numeric>

#include "common/vector_dispatch.h"
#include "common/vector_register.h"

namespace corvane::model::ridge_regression_detail {

namespace {

// The tables' columns of one group, over the rows of a block.
template <class Lanes, int Width>
class group_pass {
 public:
  group_pass(const_vector_view w, const_index_view columns, index_t group,
             const loocv_tables& block)
      : w_{w}, columns_{columns}, block_{block}, group_{group} {}

  // The rows from i on, as many as Lanes has entries.
  void fill_rows(index_t i) {
    Lanes phi;
    load_lanes(&block_.phi[i], phi);
    Lanes v{};
    Lanes q{};
    for (const index_t j : columns_) {
      Lanes a;
      load_lanes(&block_.a(i, j), a);
      v += a * w_[j];
      q += a * a;
      store_lanes<Lanes>(phi * a, &block_.phi_a(i, j));
    }
    trace_ += phi * q;
    Lanes root;
    Lanes root_s;
    load_lanes(&block_.root[i], root);
    load_lanes(&block_.root_s[i], root_s);
    const Lanes f = root_s * q;
    store_lanes<Lanes>(root * v - 2.0 * f, &block_.e(i, group_));
    store_lanes(f, &block_.f(i, group_));
  }

  // The sum of phi q over the rows so far.
  double trace() const {
    std::array<double, Width> entries;
    store_lanes(trace_, entries.data());
    return std::accumulate(entries.begin(), entries.end(), 0.0);
  }

 private:
  const_vector_view w_;
  const_index_view columns_;
  loocv_tables block_;
  index_t group_;
  Lanes trace_{};
};

}  // namespace

loocv_tables loocv_tables::narrowed(index_t rows) const {
  return {rows,
          a.part_rows(0, rows),
          phi_a.part_rows(0, rows),
          e.part_rows(0, rows),
          f.part_rows(0, rows),
          phi.part(0, rows),
          two_u.part(0, rows),
          root.part(0, rows),
          root_s.part(0, rows)};
}

loocv_tables take_tables(scoped_allocator& scope, index_t rows, index_t p, index_t q,
                         index_t groups) {
  return {rows,
          scope.matrix(rows, p),
          scope.matrix(rows, q),
          scope.matrix(rows, groups),
          scope.matrix(rows, groups),
          scope.vector(rows),
          scope.vector(rows),
          scope.vector(rows),
          scope.vector(rows)};
}

// One loop per vector: with few arrays each becomes vector instructions.
void weigh_observations(const_vector_view s, const_vector_view d,
                        const loocv_tables& block) {
  run_vectorized([s, d, phi = block.phi, two_u = block.two_u, root = block.root,
                  root_s = block.root_s](auto /*width*/) {
    const index_t count = s.size();
    for (index_t i = 0; i < count; ++i) two_u[i] = 2.0 * s[i] / d[i];
    for (index_t i = 0; i < count; ++i) phi[i] = two_u[i] * s[i];
    for (index_t i = 0; i < count; ++i) root[i] = std::numbers::sqrt2 / d[i];
    for (index_t i = 0; i < count; ++i) root_s[i] = root[i] * s[i];
  });
}

grouped_columns sort_by_group(scoped_allocator& scope, index_t columns,
                              const penalty_groups& groups) {
  const index_t ends = groups.count() + 1;
  auto* const starts = scope.take<index_t>(ends);
  auto* const sorted = scope.take<index_t>(columns);
  std::fill_n(starts, ends, 0);
  // Counts, then the end of each group, which moves down to its start.
  for (index_t j = 0; j < columns; ++j) ++starts[groups[j]];
  for (index_t g = 0; g < groups.count(); ++g) starts[g + 1] += starts[g];
  for (index_t j = columns - 1; j >= 0; --j) sorted[--starts[groups[j]]] = j;
  return {{sorted, columns}, {starts, ends}};
}

void fill_tables(const_vector_view w, const grouped_columns& groups,
                 const loocv_tables& block, vector_view C_traces) {
  run_vectorized([&](auto width) {
    using lanes = typename vector_register<width>::lanes;
    const index_t whole = block.count - block.count % width;
    for (index_t g = 0; g < C_traces.size(); ++g) {
      const index_t first = groups.starts[g];
      const const_index_view columns =
          groups.columns.part(first, groups.starts[g + 1] - first);
      group_pass<lanes, width> pass{w, columns, g, block};
      for (index_t i = 0; i < whole; i += width) pass.fill_rows(i);
      group_pass<double, 1> rest{w, columns, g, block};
      for (index_t i = whole; i < block.count; ++i) rest.fill_rows(i);
      C_traces[g] += pass.trace() + rest.trace();
    }
  });
}

}  // namespace corvane::model::ridge_regression_detail
