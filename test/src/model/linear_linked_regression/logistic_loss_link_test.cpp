// SPDX-License-Identifier: BSD-3-Clause
//
// The logistic loss and its derivatives: against 50-digit arithmetic where the expression
// is well conditioned, against the expression itself, bit for bit, everywhere.
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "common/finite.h"
#include "logistic_loss_table.h"

namespace corvane::model {

namespace {

using corvane::testing::logistic_loss_table;
using loss_link_detail::logistic_log_likelihood_loss_link;
using operation = bool (linear_loss_link::*)(const_vector_view, const_vector_view,
                                             vector_view) const;

constexpr double smallest_normal = std::numeric_limits<double>::min();

double evaluate(operation compute, double y, double z) {
  const logistic_log_likelihood_loss_link link;
  double out = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE((link.*compute)({&y, 1}, {&z, 1}, {&out, 1}));
  return out;
}

double prediction(double z) {
  double out = std::numeric_limits<double>::quiet_NaN();
  logistic_log_likelihood_loss_link{}.compute_prediction({&z, 1}, {&out, 1});
  return out;
}

constexpr operation loss = &linear_loss_link::compute_loss;
constexpr operation first = &linear_loss_link::compute_first_derivative;
constexpr operation second = &linear_loss_link::compute_second_derivative;
constexpr operation third = &linear_loss_link::compute_third_derivative;
constexpr operation fourth = &linear_loss_link::compute_fourth_derivative;

// Within `ulps` roundings of the exact value, and of zero where doubles run out.
void expect_relative(double computed, double exact, double ulps, double z) {
  EXPECT_LE(std::abs(computed - exact),
            ulps * double_epsilon * std::abs(exact) + smallest_normal)
      << "at z = " << z << ": " << computed << " for " << exact;
}

TEST(logistic_loss_link, at_zero_every_value_is_exact) {
  EXPECT_EQ(prediction(0.0), 0.5);
  for (const double y : {-1.0, 1.0}) {
    EXPECT_EQ(evaluate(loss, y, 0.0), std::log(2.0));
    EXPECT_EQ(evaluate(first, y, 0.0), -y / 2.0);
    EXPECT_EQ(evaluate(second, y, 0.0), 0.25);
    EXPECT_EQ(evaluate(third, y, 0.0), 0.0);
    EXPECT_EQ(evaluate(fourth, y, 0.0), -0.125);
  }
}

TEST(logistic_loss_link,
     far_on_the_right_side_the_loss_is_zero_and_its_slope_a_signed_zero) {
  for (const double y : {-1.0, 1.0}) {
    EXPECT_EQ(evaluate(loss, y, 800.0 * y), 0.0);
    const double slope = evaluate(first, y, 800.0 * y);
    EXPECT_EQ(slope, 0.0);
    EXPECT_EQ(std::signbit(slope), y > 0.0);
  }
}

TEST(logistic_loss_link, far_on_the_wrong_side_the_loss_is_infinite_and_its_slope_exact) {
  for (const double y : {-1.0, 1.0}) {
    EXPECT_EQ(evaluate(loss, y, -800.0 * y), std::numeric_limits<double>::infinity());
    EXPECT_EQ(evaluate(first, y, -800.0 * y), -y);
  }
}

TEST(logistic_loss_link, where_the_probability_rounds_to_one_the_curvature_is_zero) {
  EXPECT_EQ(prediction(800.0), 1.0);
  for (const operation compute : {second, third, fourth})
    EXPECT_EQ(evaluate(compute, 1.0, 800.0), 0.0);
}

TEST(logistic_loss_link, a_prediction_may_take_the_place_of_its_argument) {
  std::vector<double> z;
  z.reserve(logistic_loss_table.size());
  for (const auto& row : logistic_loss_table) z.push_back(row.z);
  const auto n = static_cast<index_t>(z.size());
  std::vector<double> apart(z.size());
  const logistic_log_likelihood_loss_link link;
  link.compute_prediction({z.data(), n}, {apart.data(), n});
  link.compute_prediction({z.data(), n}, {z.data(), n});
  EXPECT_EQ(z, apart);
}

TEST(logistic_loss_link, predictions_agree_with_fifty_digits) {
  for (const auto& row : logistic_loss_table)
    expect_relative(prediction(row.z), row.prediction, 2.0, row.z);
}

// The loss falls for the other target as it rises for this one: l(-1, z) = l(1, -z).
TEST(logistic_loss_link, losses_agree_with_fifty_digits_until_exp_overflows) {
  for (const auto& row : logistic_loss_table) {
    for (const double y : {-1.0, 1.0}) {
      const double computed = evaluate(loss, y, y * row.z);
      if (std::isinf(std::exp(-row.z)))
        EXPECT_EQ(computed, std::numeric_limits<double>::infinity());
      else
        expect_relative(computed, row.loss, 2.0, row.z);
    }
  }
}

TEST(logistic_loss_link, slopes_agree_with_fifty_digits) {
  for (const auto& row : logistic_loss_table)
    for (const double y : {-1.0, 1.0})
      expect_relative(evaluate(first, y, y * row.z), y * row.first, 2.0, row.z);
}

// The rounding of p, a few parts in 2^52, goes through a polynomial in p whose slope is at
// most one: an error of a few roundings of p. For z < 0 that is relative to the result.
TEST(logistic_loss_link, higher_derivatives_agree_with_fifty_digits_to_roundings_of_p) {
  for (const auto& row : logistic_loss_table) {
    const double allowed = 4.0 * double_epsilon * row.prediction + smallest_normal;
    EXPECT_NEAR(evaluate(second, 1.0, row.z), row.second, allowed) << "z = " << row.z;
    EXPECT_NEAR(evaluate(third, 1.0, row.z), row.third, allowed) << "z = " << row.z;
    EXPECT_NEAR(evaluate(fourth, 1.0, row.z), row.fourth, allowed) << "z = " << row.z;
  }
}

TEST(logistic_loss_link, from_the_second_derivative_on_the_target_has_no_part) {
  for (const auto& row : logistic_loss_table)
    for (const operation compute : {second, third, fourth})
      EXPECT_EQ(evaluate(compute, -1.0, row.z), evaluate(compute, 1.0, row.z));
}

TEST(logistic_loss_link, every_operation_is_its_formula_to_the_last_bit) {
  for (const auto& row : logistic_loss_table) {
    const double z = row.z;
    const double p = 1.0 / (std::exp(-z) + 1.0);
    const double q = 1.0 - p;
    EXPECT_EQ(prediction(z), p);
    EXPECT_EQ(evaluate(second, 1.0, z), q * p);
    EXPECT_EQ(evaluate(third, 1.0, z), (1.0 - p - p) * (p * q));
    EXPECT_EQ(evaluate(fourth, 1.0, z), p * q * (p * p + q * q) - 4.0 * (p * p) * (q * q));
    for (const double y : {-1.0, 1.0, 0.5}) {
      EXPECT_EQ(evaluate(loss, y, z), std::log1p(std::exp(-y * z)));
      EXPECT_EQ(evaluate(first, y, z), -y / (std::exp(y * z) + 1.0));
    }
  }
}

// In one pass over samples that are more than one of its blocks.
TEST(logistic_loss_link, jointly_gives_what_the_operations_give_up_to_roundings_of_p) {
  std::vector<double> z;
  std::vector<double> y;
  while (z.size() < 600)
    for (const auto& row : logistic_loss_table)
      for (const double target : {-1.0, 1.0}) {
        z.push_back(row.z);
        y.push_back(target);
      }
  const auto n = static_cast<index_t>(z.size());
  std::vector<std::vector<double>> jointly(5, std::vector<double>(z.size()));
  const auto view = [n](std::vector<double>& values) {
    return vector_view{values.data(), n};
  };
  const logistic_log_likelihood_loss_link link;
  ASSERT_TRUE(link.can_compute_jointly());
  link.compute_jointly({y.data(), n}, {z.data(), n},
                       {view(jointly[0]), view(jointly[1]), view(jointly[2]),
                        view(jointly[3]), view(jointly[4])});
  for (std::size_t i = 0; i < z.size(); ++i) {
    const double separate = evaluate(loss, y[i], z[i]);
    if (std::isinf(separate))
      EXPECT_EQ(jointly[0][i], separate);
    else
      expect_relative(jointly[0][i], separate, 4.0, z[i]);
    expect_relative(jointly[1][i], evaluate(first, y[i], z[i]), 6.0, z[i]);
    const double allowed = 4.0 * double_epsilon * prediction(z[i]) + smallest_normal;
    EXPECT_NEAR(jointly[2][i], evaluate(second, y[i], z[i]), allowed) << z[i];
    EXPECT_NEAR(jointly[3][i], evaluate(third, y[i], z[i]), allowed) << z[i];
    EXPECT_NEAR(jointly[4][i], evaluate(fourth, y[i], z[i]), allowed) << z[i];
  }
}

TEST(logistic_loss_link, jointly_leaves_out_what_is_not_asked_for) {
  const double y = 1.0;
  const double z = 0.7;
  double curvature = 0.0;
  logistic_log_likelihood_loss_link{}.compute_jointly({&y, 1}, {&z, 1},
                                                      {{}, {}, {&curvature, 1}, {}, {}});
  EXPECT_NEAR(curvature, evaluate(second, y, z), 1e-16);
}

TEST(logistic_loss_link, an_undefined_predictor_is_passed_on_and_not_refused) {
  const double undefined = std::numeric_limits<double>::quiet_NaN();
  for (const operation compute : {loss, first, second, third, fourth})
    EXPECT_TRUE(std::isnan(evaluate(compute, 1.0, undefined)));
}

}  // namespace

}  // namespace corvane::model
