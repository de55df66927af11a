// SPDX-License-Identifier: BSD-3-Clause
//
// What the inner problem of the logistic model asks the heap for: nothing, once it is warm.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "classification_problem.h"
#include "model/linear_linked_regression/detail/loss_objective.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "penalty_kind.h"
#include "support/heap_requests.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::loss_objective;
using testing::heap_requests_when_warm;

TEST(logistic_scratch, a_warm_evaluation_of_the_inner_problem_takes_nothing_from_the_heap) {
  const classification_problem data = drawn_problem(3000, 12, 1);
  for (const penalty_kind kind : all_penalties) {
    const auto penalty = penalty_of(kind, cyclic_groups(12, 2));
    loss_objective objective{
        std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>(), penalty,
        data.X, data.y};
    dense_vector theta{penalty->num_hyperparameters()};
    for (double& entry : theta) entry = 0.6;
    objective.set_hyperparameters(theta);
    dense_vector w{12};
    for (double& entry : w) entry = 0.1;
    dense_vector gradient{12};
    symmetric_matrix hessian{12, 12};
    double value = 0.0;
    EXPECT_EQ(heap_requests_when_warm([&] {
                w[0] = -w[0];  // another point for it
                EXPECT_TRUE(objective.compute_value(w, value));
                EXPECT_TRUE(objective.compute_gradient_hessian(w, gradient, hessian));
              }),
              0);
  }
}

}  // namespace

}  // namespace corvane::model
