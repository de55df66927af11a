// SPDX-License-Identifier: BSD-3-Clause
//
// canonical_problem: the data of a fit in an order of their own, and without last digits.
//
// Rounding depends on the order in which sums are taken and on the units of the features,
// and where a score has many minima, or none, an optimizer magnifies rounding up to another
// result. Here all that is given by chance, the order of observations, features and groups
// and the units, is taken out beforehand: what was the same data becomes the same bits. But
// a number may lie next to the middle of two roundings, and go the other way in other
// units.
#pragma once

#include <memory>

#include "common/interruption.h"
#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"

namespace corvane::model::linear_linked_regression_detail {

struct canonical_problem {
  dense_matrix design;
  dense_vector target;
  std::shared_ptr<const regularizer> penalty;
  dense_vector signs;  // of the caller's columns, -1 where it is mirrored
  // The caller's row, column, and hyperparameter, that stands at each place.
  index_vector rows;
  index_vector columns;
  index_vector hyperparameters;
};

// `design` is normalized, n by p, and `target` coded -1 and +1. The first `num_features`
// columns are rounded to 32 binary digits in units of their deviation, 26 where there are
// many numbers. All columns are
// turned to rise with the target, and sorted by how much they do, which is the slope of the
// loss at zero weights; observations are sorted by a sum over their entries, groups by
// their first columns. Columns of the same slope, or none, are turned and sorted by how
// they go with the others, and by their groups; those of which all this is the same keep
// the caller's order. With the classes swapped, design and target change their signs, and
// nothing else does. `interrupt` is asked before each pass over a column or over the
// design.
canonical_problem make_canonical(dense_matrix&& design, index_t num_features,
                                 const_vector_view target, const regularizer& penalty,
                                 interruption* interrupt = nullptr);

}  // namespace corvane::model::linear_linked_regression_detail
