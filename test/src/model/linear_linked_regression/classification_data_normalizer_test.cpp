// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/classification_data_normalizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvane::model {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

dense_vector targets(const std::vector<double>& values) {
  return dense_vector{
      const_vector_view{values.data(), static_cast<index_t>(values.size())}};
}

// Rows of two features.
dense_matrix features(const std::vector<std::vector<double>>& rows) {
  dense_matrix X{static_cast<index_t>(rows.size()), 2};
  for (index_t i = 0; i < X.rows(); ++i)
    for (index_t j = 0; j < 2; ++j)
      X(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
  return X;
}

const dense_matrix three_rows = features({{1.0, 5.0}, {2.0, 5.0}, {6.0, 5.0}});

TEST(classification_data_normalizer, makes_columns_of_mean_zero_and_length_one) {
  const classification_data_normalizer normalizer{{}, targets({0.0, 1.0, 1.0}), three_rows};
  const dense_matrix X = normalizer.normalized_features(three_rows);
  const double length = std::sqrt(4.0 + 1.0 + 9.0);
  EXPECT_EQ(normalizer.feature_means[0], 3.0);
  EXPECT_EQ(normalizer.feature_scales[0], length);
  EXPECT_EQ(X(0, 0), -2.0 / length);
  EXPECT_EQ(X(2, 0), 3.0 / length);
}

TEST(classification_data_normalizer, gives_a_constant_column_the_scale_one_and_zeros) {
  const classification_data_normalizer normalizer{{}, targets({0.0, 1.0, 1.0}), three_rows};
  EXPECT_EQ(normalizer.feature_scales[1], 1.0);
  const dense_matrix X = normalizer.normalized_features(three_rows);
  for (index_t i = 0; i < 3; ++i) EXPECT_EQ(X(i, 1), 0.0);
}

TEST(classification_data_normalizer,
     scales_the_bias_column_also_where_it_rescales_no_other) {
  classification_normalizer_options options;
  options.rescale_features = false;
  const classification_data_normalizer normalizer{options, targets({0.0, 1.0, 1.0}),
                                                  three_rows};
  ASSERT_EQ(normalizer.num_columns, 3);
  EXPECT_EQ(normalizer.num_features(), 2);
  EXPECT_EQ(normalizer.feature_scales[0], 1.0);
  EXPECT_EQ(normalizer.feature_scales[2], std::sqrt(3.0));
  EXPECT_EQ(normalizer.feature_means[2], 0.0);
  const dense_matrix X = normalizer.normalized_features(three_rows);
  for (index_t i = 0; i < 3; ++i) EXPECT_EQ(X(i, 2), 1.0 / std::sqrt(3.0));
}

TEST(classification_data_normalizer, leaves_the_features_alone_where_nothing_is_asked_for) {
  const classification_data_normalizer normalizer{
      {false, false, false, 2}, targets({0.0, 1.0, 1.0}), three_rows};
  EXPECT_EQ(normalizer.num_columns, 2);
  EXPECT_EQ(normalizer.num_features(), 2);
  const dense_matrix X = normalizer.normalized_features(three_rows);
  for (index_t i = 0; i < 3; ++i) EXPECT_EQ(X(i, 0), three_rows(i, 0));
}

TEST(classification_data_normalizer, codes_the_smaller_of_any_two_labels_as_minus_one) {
  const dense_vector y = targets({7.0, 3.0, 7.0});
  const classification_data_normalizer normalizer{{}, y, three_rows};
  EXPECT_EQ(normalizer.classes[0], 3.0);
  EXPECT_EQ(normalizer.classes[1], 7.0);
  const dense_vector coded = normalizer.coded_target(y);
  EXPECT_EQ(coded[0], 1.0);
  EXPECT_EQ(coded[1], -1.0);
  EXPECT_EQ(coded[2], 1.0);
}

TEST(classification_data_normalizer, refuses_any_but_two_distinct_finite_targets) {
  for (const auto& y : {std::vector<double>{1.0, 1.0, 1.0},
                        {1.0, 2.0, 3.0},
                        {0.0, 1.0, nan},
                        {0.0, 1.0, infinity}}) {
    EXPECT_THROW((classification_data_normalizer{{}, targets(y), three_rows}),
                 invalid_target_error);
  }
  EXPECT_STREQ(invalid_target_error{}.what(), "invalid_target_error");
}

TEST(classification_data_normalizer, refuses_features_that_are_not_finite_and_says_so) {
  for (const double bad : {nan, infinity, -infinity}) {
    try {
      const classification_data_normalizer normalizer{
          {}, targets({0.0, 1.0}), features({{1.0, bad}, {2.0, 3.0}})};
      FAIL();
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(std::string{error.what()}, "X holds a value that is not finite");
    }
  }
}

TEST(classification_data_normalizer, refuses_data_without_rows_or_columns) {
  EXPECT_THROW((classification_data_normalizer{{}, dense_vector{0}, dense_matrix{0, 2}}),
               std::invalid_argument);
  EXPECT_THROW(
      (classification_data_normalizer{{}, targets({0.0, 1.0}), dense_matrix{2, 0}}),
      std::invalid_argument);
  EXPECT_THROW((classification_data_normalizer{{}, targets({0.0, 1.0}), three_rows}),
               std::invalid_argument);
}

TEST(classification_data_normalizer, leaves_a_constant_column_at_zero_whatever_the_value) {
  for (const double value : {0.1, 1.0 / 3.0, -1e300, 1.5e308}) {
    dense_matrix X{7, 1};
    std::fill(X.begin(), X.end(), value);
    const classification_data_normalizer normalizer{
        {}, targets({0.0, 1.0, 1.0, 0.0, 1.0, 1.0, 0.0}), X};
    EXPECT_EQ(normalizer.feature_means[0], value);
    EXPECT_EQ(normalizer.feature_scales[0], 1.0);
    for (index_t i = 0; i < 7; ++i) EXPECT_EQ(normalizer.normalized_features(X)(i, 0), 0.0);
  }
}

TEST(classification_data_normalizer, refuses_features_whose_mean_or_scale_overflows) {
  for (const auto& X : {features({{1e200, 0.0}, {-1e200, 1.0}}),
                        features({{1.5e308, 0.0}, {1.4e308, 1.0}})})
    EXPECT_THROW((classification_data_normalizer{{}, targets({0.0, 1.0}), X}),
                 std::invalid_argument);
}

}  // namespace

}  // namespace corvane::model
