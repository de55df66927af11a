// SPDX-License-Identifier: BSD-3-Clause
//
// The number of heap allocations of the warped model does not grow with that of the rows.
#include <gtest/gtest.h>

#include <vector>

#include "model/warped_linear_regression/likelihood/warped_objective.h"
#include "src/model/warped_linear_regression/warped_model_data.h"
#include "support/heap_requests.h"

namespace corvane::model {
namespace {

using testing::heap_requests_when_warm;
using warped_testing::draw_model;
using warped_testing::make_model;
using warped_testing::model_data;
using warped_testing::normal_matrix;
using warped_testing::view;

// Some three thousand rows are worked on at once.
TEST(warped_scratch, a_prediction_of_more_rows_allocates_no_more_often) {
  const model_data data = draw_model(100, 2, 0.4, 5);
  const auto model = make_model(1);
  const warped_fit fit = model.fit(view(data.y), data.X);
  const auto requests_for = [&](index_t rows) {
    const dense_matrix X = normal_matrix(rows, 2, 1);
    std::vector<double> out(static_cast<std::size_t>(rows));
    return heap_requests_when_warm([&] { model.predict(fit, X, 21, 1e-5, view(out)); });
  };
  const long for_one_row = requests_for(1);
  for (const index_t rows : {1000, 10000, 40000})
    EXPECT_EQ(requests_for(rows), for_one_row) << rows;
}

TEST(warped_scratch, an_inversion_of_more_latents_allocates_no_more_often) {
  const std::vector<double> theta{1.5, 1.2, -0.4};
  const auto warper = make_model(1).make_warper(view(theta), view({0.0, 1.0, 2.0}));
  const auto requests_for = [&](std::size_t count) {
    std::vector<double> latent(count);
    for (std::size_t i = 0; i < count; ++i)
      latent[i] = static_cast<double>(i % 97) / 97.0 - 0.5;
    std::vector<double> target(count);
    return heap_requests_when_warm(
        [&] { warper->invert(view(latent), view(target), 1e-5); });
  };
  EXPECT_EQ(requests_for(100), requests_for(1));
  EXPECT_EQ(requests_for(30000), requests_for(1000));
}

TEST(warped_scratch, a_warm_evaluation_for_more_rows_allocates_no_more_often) {
  for (const index_t num_steps : {1, 3}) {
    const auto requests_for = [&](index_t rows) {
      const model_data data = draw_model(rows, 5, 0.4, 5);
      const auto objective = make_model(num_steps).make_objective(view(data.y), data.X);
      std::vector<double> theta(static_cast<std::size_t>(3 * num_steps), 0.6);
      dense_vector gradient{3 * num_steps};
      symmetric_matrix hessian{3 * num_steps, 3 * num_steps};
      double value = 0.0;
      return heap_requests_when_warm([&] {
        theta[0] = -theta[0];  // another point for the objective
        EXPECT_TRUE(objective->compute_value(view(theta), value));
        EXPECT_TRUE(objective->compute_gradient_hessian(view(theta), gradient, hessian));
      });
    };
    EXPECT_EQ(requests_for(40000), requests_for(2000)) << num_steps;
  }
}

}  // namespace
}  // namespace corvane::model
