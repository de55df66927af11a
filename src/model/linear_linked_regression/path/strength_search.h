// SPDX-License-Identifier: BSD-3-Clause
//
// strength_search: the strengths of an l1 or elastic net penalty that minimize the free-set
// leave-one-out loss (free_set_leave_one_out.h). The loss is continuous in the strengths,
// but has kinks and may have several minima: a path over one common strength, from where
// all weights are 0 downwards, finds the lowest one, and a pattern search over the
// logarithms of all strengths goes on from there (R. Hooke, T. A. Jeeves, "Direct search
// solution of numerical and statistical problems", J. ACM 8, 1961).
//
// An elastic net of share a has  l1 = a lambda u,  l2 = (1 - a) lambda u^2,  with u the
// root mean square of the entries of the penalized columns, so that a has no unit.
#pragma once

#include <functional>
#include <vector>

#include "model/linear_linked_regression/path/sparse_fit.h"
#include "optimization/run_end.h"

namespace corvane::model::sparse_path {

// Of each group of columns.
struct group_strengths {
  dense_vector l1;
  dense_vector l2;
};

struct search_options {
  const_index_view groups;  // of each column; -1 for no penalty
  bool with_l2 = false;     // an elastic net
  double tolerance = 1e-4;  // of the loss, relative
  int max_evaluations = 10000;
  // Sees each point. May end the search by an optimizer_iteration_limit_error.
  std::function<void(int evaluation, double loss, const group_strengths&)> observe = {};
};

struct search_result {
  group_strengths strengths;
  double loss = 0.0;
  run_end end = run_end::within_tolerance;
  int num_evaluations = 0;
};

// Throws optimizer_undefined_error where no strengths give a finite loss.
class strength_search {
 public:
  strength_search(const sparse_problem& problem, const search_options& options);

  // The best strengths that all groups have in common. Within tolerance also where they are
  // the smallest of the path: find() goes on from there.
  search_result find_common();
  // The path, and the pattern search from its best point.
  search_result find();
  // The pattern search alone.
  search_result find_from(const group_strengths& start);

 private:
  // Logarithms of the strengths: l1 of each group, and l2 where there is one.
  using point = std::vector<double>;

  double evaluate(const point& x);
  void follow_path(double share);
  void search_pattern(double step);
  double smallest_gain(double loss) const;
  bool explore(point& x, double& loss, double step, double& largest_change);
  template <class Body>
  search_result run(Body&& body);
  point common_point(double l1, double l2) const;
  group_strengths strengths_at(const point& x) const;

  sparse_problem problem_;
  search_options options_;
  index_t num_groups_;
  double unit_;
  double null_loss_ = 0.0;
  sparse_fit last_;
  point best_;
  double best_loss_;
  run_end end_ = run_end::within_tolerance;
  int num_evaluations_ = 0;
};

column_strengths spread(const group_strengths& strengths, const_index_view groups);
// The geometric means over each group.
group_strengths average_over_groups(const column_strengths& strengths,
                                    const_index_view groups);

}  // namespace corvane::model::sparse_path
