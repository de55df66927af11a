// SPDX-License-Identifier: BSD-3-Clause
//
// A warm evaluation of a ridge score takes nothing from the heap.
#include <gtest/gtest.h>

#include <vector>

#include "model/ridge_regression/common_penalty/common_penalty_objective.h"
#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "model/ridge_regression/scores/range_risk_objective.h"
#include "src/model/ridge_regression/ridge_problem.h"
#include "support/heap_requests.h"

namespace corvane::model::ridge_regression_detail {

namespace {

struct evaluation_space {
  explicit evaluation_space(index_t p, index_t q)
      : t(static_cast<std::size_t>(q), 0.7), gradient{q}, hessian{q, q}, weights{p} {}

  std::vector<double> t;
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
  dense_vector weights;
};

// Every operation once; false when one of them is undefined.
template <class Objective>
bool run_all(Objective& objective, evaluation_space& space) {
  const const_vector_view t = view_of(space.t);
  return objective.compute_value(t, space.value) &&
         objective.compute_gradient(t, space.gradient) &&
         objective.compute_hessian(t, space.hessian) &&
         objective.compute_value_gradient(t, space.value, space.gradient) &&
         objective.compute_gradient_hessian(t, space.gradient, space.hessian) &&
         objective.compute_value_gradient_hessian(t, space.value, space.gradient,
                                                  space.hessian) &&
         objective.compute_weights(t, space.weights);
}

template <class Objective>
long heap_requests_when_warm(Objective& objective, index_t p, index_t q) {
  evaluation_space space{p, q};
  return testing::heap_requests_when_warm([&] { EXPECT_TRUE(run_all(objective, space)); });
}

}  // namespace

TEST(ridge_scratch, a_warm_evaluation_of_loocv_takes_nothing_from_the_heap) {
  const ridge_problem problem = make_problem(1000, 100, 1);
  loocv_objective objective{problem.design(), problem.target()};
  EXPECT_EQ(heap_requests_when_warm(objective, 100, 100), 0);
  EXPECT_EQ(heap_requests_when_warm(objective, 100, 99), 0);
}

TEST(ridge_scratch, a_warm_evaluation_of_gcv_takes_nothing_from_the_heap) {
  const ridge_problem problem = make_problem(1000, 100, 2);
  gcv_objective objective{problem.target(), problem.design()};
  EXPECT_EQ(heap_requests_when_warm(objective, 100, 100), 0);
  EXPECT_EQ(heap_requests_when_warm(objective, 100, 99), 0);
}

TEST(ridge_scratch, a_warm_evaluation_of_range_risk_takes_nothing_from_the_heap) {
  const ridge_problem problem = make_problem(400, 150, 3);
  range_risk_objective objective{problem.target(), problem.design()};
  EXPECT_EQ(heap_requests_when_warm(objective, 150, 150), 0);
  EXPECT_EQ(heap_requests_when_warm(objective, 150, 149), 0);
}

TEST(ridge_scratch, a_warm_evaluation_of_one_common_penalty_takes_nothing_from_the_heap) {
  for (const index_t n : {1000, 60}) {
    const ridge_problem problem = make_problem(n, 100, 5);
    const dense_matrix X = problem.design();
    const dense_vector y = problem.target();
    const data_normalizer normalizer{{.with_bias = true}, y, X};
    const common_penalty_design design{normalizer, y, X, false};
    for (const auto score :
         {common_penalty_score::generalized, common_penalty_score::leave_one_out}) {
      common_penalty_objective objective{score, design};
      EXPECT_EQ(heap_requests_when_warm(objective, 101, 1), 0) << n;
    }
  }
}

// The scratch does not grow with the number of observations, but with p squared.
TEST(ridge_scratch, what_the_arena_cannot_hold_is_seen_to_come_from_the_heap) {
  const ridge_problem problem = make_problem(20, 600, 4);
  loocv_objective objective{problem.design(), problem.target()};
  EXPECT_GT(heap_requests_when_warm(objective, 600, 600), 0);
}

}  // namespace corvane::model::ridge_regression_detail
