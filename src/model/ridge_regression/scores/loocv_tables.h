// SPDX-License-Identifier: BSD-3-Clause
//
// The tables with a row for each observation of one block, which the Hessian takes products
// of. Names are those of leave_one_out_sums.h. With
//   e = (sqrt(2) / d) (v - 2 s q),   f = (sqrt(2) / d) s q,
// the curvature is the sum of e e' - f f'; C is that of a (phi a)'.
#pragma once

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/grouping/penalty_groups.h"

namespace corvane::model::ridge_regression_detail {

struct loocv_tables {
  index_t count;       // observations
  matrix_block a;      // count by p
  matrix_block phi_a;  // count by q
  matrix_block e;      // count by groups
  matrix_block f;      // count by groups
  vector_view phi;     // 2 s^2 / d, one entry for each observation, as the following
  vector_view two_u;   // 2 s / d
  vector_view root;    // sqrt(2) / d
  vector_view root_s;  // s sqrt(2) / d

  // The same scratch for a block of at most as many rows.
  loocv_tables narrowed(index_t rows) const;
};

// Scratch for `rows` observations.
loocv_tables take_tables(scoped_allocator& scope, index_t rows, index_t p, index_t q,
                         index_t groups);

// Fills the entries of each observation.
void weigh_observations(const_vector_view s, const_vector_view d,
                        const loocv_tables& block);

// Columns, those of one group after those of another.
struct grouped_columns {
  const_index_view columns;
  const_index_view starts;  // where group g begins in `columns`; one entry more than groups
};

grouped_columns sort_by_group(scoped_allocator& scope, index_t columns,
                              const penalty_groups& groups);

// Fills phi_a, e and f in one pass over a, and adds to the sums of phi q.
void fill_tables(const_vector_view w, const grouped_columns& groups,
                 const loocv_tables& block, vector_view C_traces);

}  // namespace corvane::model::ridge_regression_detail
