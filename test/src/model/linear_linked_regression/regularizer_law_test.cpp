// SPDX-License-Identifier: BSD-3-Clause
//
// Every derivative of every penalty is the derivative of the one below it: in the weights
// up to the fourth, in the hyperparameters up to the second, and across the two. Each is
// held against differences over a ladder of steps, whose error must fall as the step
// squared.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "penalty_probe.h"
#include "support/step_ladder.h"

namespace corvane::model {

namespace {

using corvane::testing::difference;
using corvane::testing::is_derivative_of;
using corvane::testing::ladder_options;

constexpr double s = 0.01;

const numbers inside{0.004,  -0.0007, 0.003,  0.0085, -0.006,
                     0.0021, -0.0052, 0.0013, -0.0094};
const numbers outside{0.4, -0.07, 1.3, 0.025, -2.6, 0.21, -0.52, 0.013, -0.94};
const numbers mixed{0.4, -0.0007, 0.003, 0.025, -0.006, 0.21, -0.52, 0.0013, -0.94};
const numbers zeros(9, 0.0);
const numbers at_join{s, -s, s, s, -s, s, -s, s, -s};

// How far each weight may move without a change of formula, at zero and at the threshold.
numbers room_of(const numbers& w) {
  numbers room;
  for (const double weight : w) {
    const double size = std::abs(weight);
    room.push_back(size < s ? std::min(size, s - size) : size - s);
  }
  return room;
}

numbers moved(const numbers& from, double t, const numbers& direction) {
  numbers to = from;
  for (std::size_t k = 0; k < to.size(); ++k) to[k] += t * direction[k];
  return to;
}

numbers scaled(const numbers& values, const numbers& direction) {
  numbers product = values;
  for (std::size_t k = 0; k < product.size(); ++k)
    product[k] *= direction[k % direction.size()];
  return product;
}

// The polynomial's coefficients are solutions of a linear system, and its higher
// derivatives cancel near the threshold: both cost digits.
constexpr double polynomial_noise = 2e-12;

struct weight_law {
  numbers w;
  numbers direction;
  ladder_options options;
};

// Each derivative in w along `direction`; the penalties are separable.
void expect_weight_law(const weight_law& law) {
  for (const named_penalty& example : all_penalties(s)) {
    const regularizer& penalty = *example.penalty;
    const numbers& theta = example.theta;
    SCOPED_TRACE(example.name);
    const index_t Q = penalty.num_hyperparameters();
    const auto at = [&](vector_operation compute, double t) {
      return derivative_of(penalty, compute, theta, moved(law.w, t, law.direction));
    };
    const auto rows_at = [&](sparse_operation compute, index_t num_rows, double t) {
      return rows_of(penalty, compute, num_rows, theta, moved(law.w, t, law.direction));
    };
    const auto expect_vector = [&](vector_operation lower, vector_operation upper) {
      EXPECT_TRUE(is_derivative_of([&](double t) { return at(lower, t); },
                                   scaled(at(upper, 0.0), law.direction), law.options));
    };
    const auto expect_rows = [&](sparse_operation lower, sparse_operation upper,
                                 index_t num_rows) {
      EXPECT_TRUE(is_derivative_of([&](double t) { return rows_at(lower, num_rows, t); },
                                   scaled(rows_at(upper, num_rows, 0.0), law.direction),
                                   law.options));
    };
    expect_vector(gradient, second_derivative);
    expect_vector(second_derivative, third_derivative);
    expect_vector(third_derivative, fourth_derivative);
    expect_rows(gradient_in_theta, second_derivative_in_theta, Q);
    expect_rows(second_derivative_in_theta, third_derivative_in_theta, Q);
    expect_rows(gradient_in_theta_twice, second_derivative_in_theta_twice, num_pairs(Q));
  }
}

TEST(regularizer_in_the_weights,
     every_derivative_is_that_of_the_one_below_outside_the_zone) {
  expect_weight_law({outside, room_of(outside), {.first_step = 0.5, .noise = 1e-14}});
}

TEST(regularizer_in_the_weights, every_derivative_is_that_of_the_one_below_in_the_zone) {
  expect_weight_law(
      {inside, room_of(inside), {.first_step = 0.5, .noise = polynomial_noise}});
}

TEST(regularizer_in_the_weights, every_derivative_is_that_of_the_one_below_on_both_sides) {
  expect_weight_law(
      {mixed, room_of(mixed), {.first_step = 0.5, .noise = polynomial_noise}});
}

// At zero |u| has a kink, which the fourth derivative feels: one side at a time.
TEST(regularizer_in_the_weights, the_polynomial_holds_on_both_sides_of_zero) {
  for (const auto side : {difference::forward, difference::backward})
    expect_weight_law({zeros, numbers(9, s), {0.25, side, 8, polynomial_noise}});
}

TEST(regularizer_in_the_weights, at_the_threshold_the_derivatives_are_those_of_the_power) {
  expect_weight_law({at_join, at_join, {0.125, difference::forward, 6, 1e-14}});
}

// The derivatives of |w| from the second on vanish at the join, and with them the factors
// of the square in the error.
TEST(regularizer_in_the_weights,
     at_the_threshold_they_are_those_of_the_polynomial_as_well) {
  const ladder_options options{0.125, difference::backward, 9, polynomial_noise,
                               corvane::testing::expected_fall::square_or_faster};
  expect_weight_law({at_join, at_join, options});
}

TEST(regularizer_in_the_weights, the_gradient_is_that_of_the_value) {
  for (const named_penalty& example : all_penalties(s)) {
    for (const numbers& w : {inside, outside, mixed}) {
      SCOPED_TRACE(example.name);
      const regularizer& penalty = *example.penalty;
      const numbers& theta = example.theta;
      const numbers slope = derivative_of(penalty, gradient, theta, w);
      const numbers room = room_of(w);
      for (std::size_t k = 0; k < w.size(); ++k) {
        numbers direction(w.size(), 0.0);
        direction[k] = room[k];
        const auto value_at = [&](double t) {
          return numbers{value_of(penalty, theta, moved(w, t, direction))};
        };
        EXPECT_TRUE(is_derivative_of(value_at, {slope[k] * room[k]},
                                     {.first_step = 0.5, .noise = 1e-14}));
      }
    }
  }
}

// One hyperparameter after the other.
void expect_hyperparameter_law(const numbers& w, ladder_options options) {
  for (const named_penalty& example : all_penalties(s)) {
    const regularizer& penalty = *example.penalty;
    const numbers& theta = example.theta;
    SCOPED_TRACE(example.name);
    const index_t Q = penalty.num_hyperparameters();
    const auto p = static_cast<std::ptrdiff_t>(w.size());
    for (index_t a = 0; a < Q; ++a) {
      SCOPED_TRACE(a);
      const auto theta_at = [&](double t) {
        numbers there = theta;
        there[static_cast<std::size_t>(a)] += t;
        return there;
      };
      const auto expect_first = [&](vector_operation lower, sparse_operation upper) {
        const numbers rows = rows_of(penalty, upper, Q, theta, w);
        EXPECT_TRUE(is_derivative_of(
            [&](double t) { return derivative_of(penalty, lower, theta_at(t), w); },
            numbers(rows.begin() + a * p, rows.begin() + (a + 1) * p), options));
      };
      const auto expect_second = [&](sparse_operation lower, sparse_operation upper) {
        const numbers rows = rows_of(penalty, upper, num_pairs(Q), theta, w);
        numbers claimed;
        for (index_t b = 0; b < Q; ++b) {
          const auto first = pair_index(std::min(a, b), std::max(a, b), Q) * p;
          claimed.insert(claimed.end(), rows.begin() + first, rows.begin() + first + p);
        }
        EXPECT_TRUE(is_derivative_of(
            [&](double t) { return rows_of(penalty, lower, Q, theta_at(t), w); }, claimed,
            options));
      };
      expect_first(gradient, gradient_in_theta);
      expect_first(second_derivative, second_derivative_in_theta);
      expect_first(third_derivative, third_derivative_in_theta);
      expect_second(gradient_in_theta, gradient_in_theta_twice);
      expect_second(second_derivative_in_theta, second_derivative_in_theta_twice);
    }
  }
}

TEST(regularizer_in_the_hyperparameters,
     every_derivative_is_that_of_the_one_below_outside) {
  expect_hyperparameter_law(outside, {.first_step = 0.05, .noise = 1e-14});
}

TEST(regularizer_in_the_hyperparameters, every_derivative_is_that_of_the_one_below_inside) {
  expect_hyperparameter_law(inside, {.first_step = 0.02, .noise = polynomial_noise});
}

TEST(regularizer_in_the_hyperparameters,
     every_derivative_holds_at_the_threshold_and_at_zero) {
  expect_hyperparameter_law(at_join, {.first_step = 0.02, .noise = 1e-14});
  expect_hyperparameter_law(zeros, {.first_step = 0.02, .noise = polynomial_noise});
}

}  // namespace

}  // namespace corvane::model
