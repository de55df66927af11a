// SPDX-License-Identifier: BSD-3-Clause
//
// Descents of the model that keeps the penalty as it is, and the penalty of single weights
// that they look at.
#include "model/linear_linked_regression/detail/penalized_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "classification_problem.h"
#include "common/linear_algebra.h"
#include "penalty_kind.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::descend;
using linear_linked_regression_detail::is_about_to_leave_zone;
using linear_linked_regression_detail::model_move;

constexpr index_t p = 6;

dense_vector hyperparameters_of(const regularizer& penalty, double value) {
  dense_vector theta{penalty.num_hyperparameters()};
  std::fill(theta.begin(), theta.end(), value);
  return theta;
}

// g and A of a quadratic with correlated weights.
struct quadratic {
  explicit quadratic(double slope_size) {
    const classification_problem problem = drawn_problem(50, p, 4, 0.1);
    syrk(1.0, transposed, problem.X, 0.0, A);
    for (index_t k = 0; k < p; ++k)
      g[k] = slope_size * (k % 2 == 0 ? 1.0 : -0.6) / (1.0 + static_cast<double>(k));
  }
  dense_vector g{p};
  symmetric_matrix A{p, p};
};

TEST(weight_penalty, has_the_derivatives_of_its_regularizer) {
  for (const penalty_kind kind : all_penalties) {
    const auto penalty = penalty_of(kind, cyclic_groups(p, 2, true));
    const dense_vector theta = hyperparameters_of(*penalty, 0.7);
    dense_vector w{p};
    for (index_t k = 0; k < p; ++k)
      w[k] = 0.004 * static_cast<double>((k - 2) * (k - 2) - 1);
    dense_vector r1{p};
    dense_vector r2{p};
    ASSERT_EQ(penalty->compute_gradient(theta, w, r1), regularizer_status::written);
    ASSERT_EQ(penalty->compute_second_derivative(theta, w, r2),
              regularizer_status::written);
    const auto single = penalty->at_hyperparameters(theta);
    EXPECT_EQ(single->zone(), kind == penalty_kind::ridge ? 0.0 : smoothing_threshold);
    EXPECT_EQ(penalty->zone(), single->zone());
    for (index_t k = 0; k < p; ++k) {
      EXPECT_EQ(single->at(k, w[k]).slope, r1[k]);
      EXPECT_EQ(single->at(k, w[k]).curvature, r2[k]);
    }
  }
}

// Slope of the model, g + A d + r1(w + d), at each end.
TEST(penalized_model, is_stationary_where_a_descent_ends) {
  for (const penalty_kind kind : all_penalties)
    for (const double slope_size : {0.05, 0.5, 2.0}) {
      const quadratic losses{slope_size};
      const auto penalty = penalty_of(kind, cyclic_groups(p, 1, true));
      const auto single = penalty->at_hyperparameters(hyperparameters_of(*penalty, 0.5));
      dense_vector w{p};
      std::fill(w.begin(), w.end(), 0.0);
      dense_vector moved{w};
      const model_move move = descend({w, losses.g, losses.A, *single}, moved);
      EXPECT_GT(move.length, 0.0);
      dense_vector slope{losses.g};
      symv(1.0, losses.A, moved, 1.0, slope);
      for (index_t k = 0; k < p; ++k) {
        const slope_and_curvature here = single->at(k, moved[k]);
        // Where a bridge holds a weight at the end of its zone, there is no such place.
        if (is_about_to_leave_zone(*single, k, moved[k], losses.A(k, k))) {
          EXPECT_EQ(kind, penalty_kind::bridge);
          continue;
        }
        EXPECT_NEAR(slope[k] + here.slope, 0.0,
                    1e-4 * std::sqrt(losses.A(k, k) + std::abs(here.curvature)));
      }
    }
}

// One weight with a penalty of strength 1 and losses of the given slope at zero: minima lie
// in the zone down to a slope of -1.26, and outside of it from -1 on.
struct one_weight {
  double slope;
  double curvature = 0.2;
  std::shared_ptr<const regularizer> penalty =
      penalty_of(penalty_kind::lasso, cyclic_groups(1, 1));
  std::unique_ptr<const weight_penalty> single =
      penalty->at_hyperparameters(hyperparameters_of(*penalty, 1.0));
  model_move last_move = {};

  double descended_from(double start) {
    const double slope_at_start = slope + curvature * start;
    double moved = start;
    last_move = descend({{&start, 1}, {&slope_at_start, 1}, {&curvature, 1, 1}, *single},
                        {&moved, 1});
    return moved;
  }
};

TEST(penalized_model, leaves_a_weight_in_its_zone_as_long_as_a_minimum_holds_it) {
  one_weight held{-1.15};
  EXPECT_LT(held.descended_from(0.0), smoothing_threshold);
  EXPECT_FALSE(held.last_move.crosses_a_border);
  // From outside the same problem has its other minimum, (g - 1) / a.
  EXPECT_NEAR(held.descended_from(2.0), 0.75, 1e-6);
}

TEST(penalized_model, lets_a_weight_go_before_its_minimum_vanishes) {
  // The polynomial's slope has its largest value, 1.2643, at 0.39 of the zone.
  one_weight freed{-1.264};
  EXPECT_NEAR(freed.descended_from(0.0), 1.32, 1e-6);
  EXPECT_TRUE(freed.last_move.crosses_a_border);
  EXPECT_TRUE(is_about_to_leave_zone(*freed.single, 0, 0.385 * smoothing_threshold, 0.2));
  EXPECT_FALSE(is_about_to_leave_zone(*freed.single, 0, 0.2 * smoothing_threshold, 0.2));
  EXPECT_FALSE(is_about_to_leave_zone(*freed.single, 0, smoothing_threshold, 0.2));
}

TEST(penalized_model, brings_a_weight_back_into_its_zone) {
  one_weight shrunk{-0.5};
  const double w = shrunk.descended_from(2.0);
  EXPECT_GT(w, 0.0);
  EXPECT_LT(w, smoothing_threshold);
  EXPECT_TRUE(shrunk.last_move.crosses_a_border);
  one_weight mirrored{0.5};
  EXPECT_NEAR(mirrored.descended_from(-2.0), -w, 1e-12);
}

// With losses that outweigh the polynomial's dip there is one minimum from everywhere.
TEST(penalized_model, has_one_minimum_where_the_losses_are_convex_enough) {
  one_weight convex{-1.15};
  convex.curvature = 200.0;
  const double from_zero = convex.descended_from(0.0);
  EXPECT_NEAR(convex.descended_from(2.0), from_zero, 1e-9);
}

}  // namespace

}  // namespace corvane::model
