// SPDX-License-Identifier: BSD-3-Clause
//
// An outer objective of which a test sees each call, and the numbers to ask it with.
#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "classification_problem.h"
#include "counting_fakes.h"
#include "model/linear_linked_regression/detail/aloocv_objective.h"
#include "penalty_kind.h"
#include "polished_optimizer.h"

namespace corvane::model {

using linear_linked_regression_detail::aloocv_objective;

inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using numbers = std::vector<double>;

inline const_vector_view view_of(const numbers& values) {
  return {values.data(), static_cast<index_t>(values.size())};
}

inline numbers copied(const_vector_view values) { return {values.begin(), values.end()}; }

// An outer objective, all parts of which log what is asked of them.
struct outer_problem {
  explicit outer_problem(penalty_kind kind = penalty_kind::ridge,
                         const classification_problem& data = drawn_problem(30, 4, 2))
      : penalty{std::make_shared<logging_regularizer>(
            log, penalty_of(kind, cyclic_groups(data.X.cols(), 1)))},
        objective{optimizer, link, penalty, dense_matrix{data.X}, dense_vector{data.y}} {}

  bool is_defined_at(const numbers& theta) {
    double value = nan;
    return objective.compute_value(view_of(theta), value);
  }
  double value_at(const numbers& theta) {
    double value = nan;
    EXPECT_TRUE(objective.compute_value(view_of(theta), value));
    return value;
  }
  bool has_derivatives_at(const numbers& theta) {
    const auto Q = static_cast<index_t>(theta.size());
    dense_vector gradient{Q};
    symmetric_matrix hessian{Q, Q};
    return objective.compute_gradient_hessian(view_of(theta), gradient, hessian);
  }
  void begin_iteration(const numbers& theta) {
    objective.begin_iteration(view_of(theta), 0.0, {}, {});
  }

  std::shared_ptr<call_log> log = std::make_shared<call_log>();
  std::shared_ptr<recording_optimizer> optimizer =
      std::make_shared<recording_optimizer>(log, std::make_shared<polished_optimizer>());
  std::shared_ptr<logging_link> link = std::make_shared<logging_link>(log);
  std::shared_ptr<logging_regularizer> penalty;
  aloocv_objective objective;
};

}  // namespace corvane::model
