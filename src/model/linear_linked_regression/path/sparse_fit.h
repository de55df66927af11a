// SPDX-License-Identifier: BSD-3-Clause
//
// The exact minimum of a logistic loss with l1 and l2 penalties:
//   minimize over c, w  sum_i log(1 + exp(-s_i z_i)) + sum_j (l1_j |w_j| + l2_j w_j^2 / 2)
// with z = c + X w. Newton's method; each quadratic model is minimized with the exact
// penalty (lasso_quadratic.h) over a working set of columns. The intercept is eliminated:
// with columns centered by the weights v_i = p_i (1 - p_i) its model is separate.
//
// Columns enter the working set by the strong rule of R. Tibshirani et al., "Strong rules
// for discarding predictors in lasso-type problems", J. R. Stat. Soc. B 74 (2012). The
// conditions of optimality are then checked over all columns.
#pragma once

#include <vector>

#include "common/interruption.h"
#include "n_array/n_array.h"

namespace corvane::model::sparse_path {

struct sparse_problem {
  sparse_problem(const_matrix_view design, const_vector_view classes, bool intercept,
                 interruption* asked = nullptr);

  const_matrix_view X;  // n by p, without a column for the intercept
  const_vector_view s;  // -1 or +1
  bool with_intercept;
  interruption* interrupt;    // not owned, may be null
  int max_steps = 200;        // of Newton's method at each strength
  double accuracy = 1e-9;     // of the conditions of optimality, relative to the strengths
  dense_vector slope_bounds;  // |x_j' r| is below these, of residuals of at most 1
};

// Of each column; 0 and 0 for no penalty.
struct column_strengths {
  dense_vector l1;
  dense_vector l2;
};

struct sparse_fit {
  column_strengths strengths;
  dense_vector weights;  // exactly 0 where the penalty says so
  double intercept = 0.0;
  dense_vector z;
  double loss = 0.0;       // without the penalty
  dense_vector residuals;  // r = y - p, with y = (s + 1) / 2
  dense_vector curvature;  // v = p (1 - p)
  dense_vector slopes;     // X' r
  int num_steps = 0;       // of Newton's method, since weights of 0
  // False where there is no finite minimum, as of separable classes without a penalty.
  bool is_optimal = false;
};

// The quadratic model of the loss over some columns, with the intercept eliminated.
struct centered_gram {
  dense_vector mean;  // sum_i v_i x_i / sum_i v_i, 0 without an intercept
  dense_matrix gram;  // X~' V X~ of the columns x~ = x - mean, both triangles
};
centered_gram center(const sparse_problem& problem, const_vector_view curvature,
                     const std::vector<index_t>& columns);

// All weights with an l1 strength are 0. Its l1 strengths are the smallest multiple of
// those given where that is the minimum.
sparse_fit null_fit(const sparse_problem& problem, const column_strengths& strengths);

// From the minimum at other strengths.
sparse_fit refit(const sparse_problem& problem, const sparse_fit& before,
                 const column_strengths& strengths);

// From the null fit along a path of falling strengths: the result does not depend on what
// was fitted before.
sparse_fit fit(const sparse_problem& problem, const column_strengths& strengths);

// Of very many columns without a weight, those nearest to their bounds |x_j' r| = l1_j: the
// cost of a quadratic model grows with the square of its columns.
void keep_nearest_to_bounds(const sparse_problem& problem, const sparse_fit& fit,
                            std::vector<index_t>& columns);

}  // namespace corvane::model::sparse_path
