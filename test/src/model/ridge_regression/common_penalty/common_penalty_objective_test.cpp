// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/common_penalty/common_penalty_objective.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "src/model/ridge_regression/common_penalty/common_penalty_case.h"
#include "support/objective_law.h"

namespace corvane::model {

namespace {

using corvane::testing::obeys_objective_law;
using ridge_regression_detail::filter_of;

constexpr std::array points{0.2, 0.7, 1.9, 8.0};

struct evaluation {
  double value = 0.0;
  double gradient = 0.0;
  double hessian = 0.0;
};

evaluation evaluate(second_order_objective& objective, double t) {
  evaluation result;
  EXPECT_TRUE(objective.compute_value_gradient_hessian(
      {&t, 1}, result.value, {&result.gradient, 1}, {&result.hessian, 1, 1}));
  return result;
}

template <class Check>
void for_each_score(const Check& check) {
  for (const common_penalty_case& problem : make_common_penalty_cases())
    for (const bool leave_one_out : {false, true}) {
      SCOPED_TRACE(problem.name + (leave_one_out ? ", loocv" : ", gcv"));
      check(problem, leave_one_out);
    }
}

// Derivatives relative to the value in the units of t, in which they are of its order.
TEST(common_penalty_score, is_the_general_score_with_all_penalties_equal) {
  for_each_score([](const common_penalty_case& problem, bool leave_one_out) {
    both_forms forms{problem, leave_one_out};
    for (const double t : points) {
      SCOPED_TRACE(t);
      const evaluation found = evaluate(forms.short_form(), t);
      const evaluation expected = evaluate(forms.general(), t);
      const double scale = std::abs(expected.value);
      EXPECT_NEAR(found.value, expected.value, 1e-12 * scale);
      EXPECT_NEAR(found.gradient, expected.gradient, 1e-11 * scale / t);
      EXPECT_NEAR(found.hessian, expected.hessian, 1e-10 * scale / (t * t));
    }
  });
}

TEST(common_penalty_score, has_the_derivatives_of_its_value) {
  for_each_score([](const common_penalty_case& problem, bool leave_one_out) {
    both_forms forms{problem, leave_one_out};
    for (const double t : points)
      EXPECT_TRUE(obeys_objective_law(forms.short_form(), {t},
                                      {.value_noise = 1e-13, .gradient_noise = 1e-12}))
          << t;
  });
}

TEST(common_penalty_score, its_weights_are_those_of_the_general_one) {
  for_each_score([](const common_penalty_case& problem, bool leave_one_out) {
    both_forms forms{problem, leave_one_out};
    for (const double t : points) {
      const auto found = forms.weights_by_short_form(t);
      const auto expected = forms.weights_by_general(t);
      double largest = 0.0;
      for (const double weight : expected) largest = std::max(largest, std::abs(weight));
      for (std::size_t j = 0; j < found.size(); ++j)
        EXPECT_NEAR(found[j], expected[j], 1e-11 * largest) << j;
    }
  });
}

// Only the leave-one-out error has no condition on the unpenalized column.
TEST(common_penalty_score, an_unpenalized_bias_need_not_be_orthogonal_for_leave_one_out) {
  for (const sample_data& data : {make_sample(40, 5, 21), make_sample(12, 30, 8)}) {
    both_forms forms{{"uncentered", data, {false, false, true, true, true}}, true};
    for (const double t : points) {
      const double expected = evaluate(forms.general(), t).value;
      EXPECT_NEAR(evaluate(forms.short_form(), t).value, expected, 1e-12 * expected);
      EXPECT_NEAR(forms.weights_by_short_form(t).back(), forms.weights_by_general(t).back(),
                  1e-11);
    }
  }
}

// The dual form reads the columns in blocks too.
TEST(common_penalty_score, is_the_general_score_over_many_columns) {
  for (const bool leave_one_out : {false, true}) {
    both_forms forms{{"wide", make_sample(101, 800, 8), centered_with_bias}, leave_one_out};
    double found = 0.0;
    double expected = 0.0;
    const double t = 0.9;
    ASSERT_TRUE(forms.short_form().compute_value({&t, 1}, found));
    ASSERT_TRUE(forms.general().compute_value({&t, 1}, expected));
    EXPECT_NEAR(found, expected, 1e-12 * expected);
    const auto weights = forms.weights_by_short_form(t);
    const auto expected_weights = forms.weights_by_general(t);
    for (std::size_t j = 0; j < weights.size(); ++j)
      EXPECT_NEAR(weights[j], expected_weights[j], 1e-12) << j;
  }
}

TEST(common_penalty_score, is_even_in_t_and_undefined_at_zero_and_nan) {
  for_each_score([](const common_penalty_case& problem, bool leave_one_out) {
    both_forms forms{problem, leave_one_out};
    EXPECT_EQ(evaluate(forms.short_form(), -0.7).value,
              evaluate(forms.short_form(), 0.7).value);
    for (const double t : {0.0, std::numeric_limits<double>::quiet_NaN()}) {
      double value = 0.0;
      double gradient = 0.0;
      EXPECT_FALSE(forms.short_form().compute_value({&t, 1}, value));
      EXPECT_FALSE(forms.short_form().compute_gradient({&t, 1}, {&gradient, 1}));
    }
  });
}

TEST(common_penalty_score, tends_to_the_targets_squares_under_a_huge_penalty) {
  const common_penalty_case problem{"tall", make_sample(40, 5, 21), centered};
  for (const bool leave_one_out : {false, true}) {
    both_forms forms{problem, leave_one_out};
    EXPECT_NEAR(evaluate(forms.short_form(), 1e9).value, 1.0, 1e-13);
    EXPECT_NEAR(evaluate(forms.short_form(), 1e200).value, 1.0, 1e-13);
  }
}

TEST(ridge_filter, keeps_its_precision_at_both_ends) {
  for (const double t : {1e-160, 1e-9, 1.0, 1e9, 1e160})
    for (const double s : {1e-9, 1.0, 1e9}) {
      const auto filter = filter_of(s, t);
      const long double ratio = static_cast<long double>(s) / static_cast<long double>(t);
      const long double g = 1.0L / (1.0L + ratio * ratio);
      const long double f = ratio * ratio * g;
      EXPECT_NEAR(filter.complement, static_cast<double>(g), 1e-15 * filter.complement);
      EXPECT_NEAR(filter.filter_factor, static_cast<double>(f),
                  1e-15 * filter.filter_factor);
    }
  EXPECT_EQ(filter_of(0.0, 0.1).filter_factor, 0.0);
  EXPECT_EQ(filter_of(0.0, 0.1).complement, 1.0);
}

}  // namespace

}  // namespace corvane::model
