// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/data_normalizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

#include "src/model/ridge_regression/reference_ridge.h"

namespace corvane::model {

namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

dense_vector vector_of(const std::vector<double>& values) {
  dense_vector result(static_cast<index_t>(values.size()));
  std::copy(values.begin(), values.end(), result.begin());
  return result;
}

dense_matrix column_of(const std::vector<double>& values) {
  dense_matrix result(static_cast<index_t>(values.size()), 1);
  std::copy(values.begin(), values.end(), result.data());
  return result;
}

void expect_agreement(const data_normalizer_options& options) {
  const sample_data data = make_sample(23, 4, 7);
  const data_normalizer normalizer(options, data.y, data.X);
  const reference_problem expected(options, data);

  ASSERT_EQ(normalizer.num_columns, expected.num_columns());
  const dense_matrix features = normalizer.normalized_features(data.X);
  ASSERT_EQ(features.rows(), 23);
  ASSERT_EQ(features.cols(), expected.num_columns());
  for (index_t j = 0; j < expected.num_columns(); ++j) {
    const auto column = static_cast<std::size_t>(j);
    EXPECT_NEAR(normalizer.feature_means[j], double(expected.means[column]), 1e-14);
    EXPECT_NEAR(normalizer.feature_scales[j] / double(expected.scales[column]), 1.0, 1e-14);
    for (index_t i = 0; i < 23; ++i)
      EXPECT_NEAR(features(i, j),
                  double(expected.columns[column][static_cast<std::size_t>(i)]), 1e-13);
  }
  EXPECT_NEAR(normalizer.target_mean, double(expected.target_mean), 1e-14);
  EXPECT_NEAR(normalizer.target_scale / double(expected.target_scale), 1.0, 1e-14);
  const dense_vector target = normalizer.normalized_target(data.y);
  ASSERT_EQ(target.size(), 23);
  for (index_t i = 0; i < 23; ++i)
    EXPECT_NEAR(target[i], double(expected.target[static_cast<std::size_t>(i)]), 1e-13);
}

TEST(data_normalizer, agrees_with_extended_precision_under_every_flag) {
  for (unsigned flags = 0; flags < 32; ++flags) {
    SCOPED_TRACE(flags);
    expect_agreement({(flags & 1U) != 0, (flags & 2U) != 0, (flags & 4U) != 0,
                      (flags & 8U) != 0, (flags & 16U) != 0});
  }
}

TEST(data_normalizer, a_normalized_column_has_mean_0_and_length_1) {
  const sample_data data = make_sample(50, 3, 11);
  const data_normalizer normalizer({}, data.y, data.X);
  const dense_matrix features = normalizer.normalized_features(data.X);
  for (index_t j = 0; j < 3; ++j) {
    double sum = 0.0;
    double squares = 0.0;
    for (const double value : const_matrix_view{features}.column(j)) {
      sum += value;
      squares += value * value;
    }
    EXPECT_NEAR(sum, 0.0, 1e-13);
    EXPECT_NEAR(squares, 1.0, 1e-13);
  }
}

// The rounded sum of n equal values divided by n is often another number.
TEST(data_normalizer, a_constant_feature_has_scale_1_and_normalizes_to_zeros) {
  for (index_t n = 1; n <= 60; ++n)
    for (const double value : {0.1, -1.0 / 3.0, 1.7, 123456.789, 1e-30}) {
      const std::vector<double> constant(static_cast<std::size_t>(n), value);
      const dense_matrix X = column_of(constant);
      const data_normalizer normalizer({}, vector_of(constant), X);
      ASSERT_EQ(normalizer.feature_means[0], value) << "n " << n;
      ASSERT_EQ(normalizer.feature_scales[0], 1.0) << "n " << n;
      ASSERT_EQ(normalizer.target_scale, 1.0) << "n " << n;
      const dense_matrix features = normalizer.normalized_features(X);
      for (const double normalized : features.view().column(0))
        ASSERT_EQ(normalized, 0.0) << "n " << n;
    }
}

TEST(data_normalizer, a_constant_feature_that_is_not_centered_keeps_its_scale) {
  data_normalizer_options options;
  options.center_features = false;
  const data_normalizer normalizer(options, vector_of({1, 2, 3, 4}),
                                   column_of({3, 3, 3, 3}));
  EXPECT_EQ(normalizer.feature_means[0], 0.0);
  EXPECT_EQ(normalizer.feature_scales[0], 6.0);
}

TEST(data_normalizer, a_mean_is_exact_under_cancellation) {
  const data_normalizer normalizer({}, vector_of({1e16, 1.0, -1e16, 1.0}),
                                   column_of({1e16, 1.0, -1e16, 2.0}));
  EXPECT_EQ(normalizer.target_mean, 0.5);
  EXPECT_EQ(normalizer.feature_means[0], 0.75);
}

// Multiples of 1/8 between 2^60 and -2^60, which a plain sum in doubles rounds away. Their
// own sum is exact.
TEST(data_normalizer,
     a_mean_is_exact_under_cancellation_in_columns_of_any_length_and_number) {
  constexpr double large = 0x1p60;
  for (const index_t n : {5, 8, 9, 23, 64, 1001})
    for (const index_t cols : {1, 4, 7})
      for (const index_t last : {n - 1, n > 8 ? index_t{8} : index_t{2}}) {
        dense_matrix X(n, cols);
        dense_vector expected(cols);
        for (index_t j = 0; j < cols; ++j) {
          double sum = 0.0;
          for (index_t i = 0; i < n; ++i) {
            X(i, j) = static_cast<double>((5 * i + 3 * j) % 11 - 2) / 8.0;
            sum += i == 0 || i == last ? 0.0 : X(i, j);
          }
          X(0, j) = large;
          X(last, j) = -large;
          expected[j] = sum / static_cast<double>(n);
        }
        const dense_vector y{X.view().column(0)};
        const data_normalizer normalizer({}, y, X);
        EXPECT_DOUBLE_EQ(normalizer.target_mean, expected[0]) << n;
        for (index_t j = 0; j < cols; ++j)
          EXPECT_DOUBLE_EQ(normalizer.feature_means[j], expected[j]) << n << ", " << j;
      }
}

TEST(data_normalizer, with_all_flags_off_the_data_stay_as_they_are) {
  const sample_data data = make_sample(9, 2, 3);
  const data_normalizer normalizer({false, false, false, false, false}, data.y, data.X);
  const dense_matrix features = normalizer.normalized_features(data.X);
  EXPECT_TRUE(std::equal(data.X.begin(), data.X.end(), features.begin(), features.end()));
  const dense_vector target = normalizer.normalized_target(data.y);
  EXPECT_TRUE(std::equal(data.y.begin(), data.y.end(), target.begin(), target.end()));
}

TEST(data_normalizer, new_rows_have_the_bias_entry_of_the_training_rows) {
  data_normalizer_options options;
  options.with_bias = true;
  const sample_data data = make_sample(16, 2, 5);
  const data_normalizer normalizer(options, data.y, data.X);
  const dense_matrix features = normalizer.normalized_features(make_sample(3, 2, 6).X);
  ASSERT_EQ(features.rows(), 3);
  ASSERT_EQ(features.cols(), 3);
  for (index_t i = 0; i < 3; ++i) EXPECT_EQ(features(i, 2), 0.25);
}

TEST(data_normalizer, new_rows_of_another_width_are_rejected) {
  const sample_data data = make_sample(16, 2, 5);
  const data_normalizer normalizer({}, data.y, data.X);
  EXPECT_THROW(normalizer.normalized_features(make_sample(3, 4, 6).X),
               std::invalid_argument);
}

TEST(data_normalizer, measure_target_is_what_the_constructor_uses) {
  const sample_data data = make_sample(31, 1, 9);
  for (const bool center : {false, true})
    for (const bool rescale : {false, true}) {
      data_normalizer_options options;
      options.center_target = center;
      options.rescale_target = rescale;
      const data_normalizer normalizer(options, data.y, data.X);
      const target_normalization measured = measure_target(center, rescale, data.y);
      EXPECT_EQ(measured.mean, normalizer.target_mean);
      EXPECT_EQ(measured.scale, normalizer.target_scale);
    }
}

template <class Matcher>
void expect_rejected(const dense_vector& y, const dense_matrix& X, const Matcher& text) {
  for (const bool rescale : {false, true}) {
    data_normalizer_options options;
    options.rescale_target = rescale;
    options.rescale_features = rescale;
    EXPECT_THAT([&] { data_normalizer(options, y, X); },
                ThrowsMessage<std::invalid_argument>(text));
  }
}

TEST(data_normalizer, empty_data_are_rejected_by_name) {
  expect_rejected(vector_of({}), dense_matrix(0, 2),
                  HasSubstr("feature_matrix has no rows"));
  expect_rejected(vector_of({1, 2}), dense_matrix(2, 0),
                  HasSubstr("feature_matrix has no columns"));
  expect_rejected(vector_of({}), column_of({1, 2}), HasSubstr("target_vector is empty"));
  EXPECT_THROW(measure_target(true, true, {}), std::invalid_argument);
}

TEST(data_normalizer, a_target_of_another_length_is_rejected_by_name) {
  expect_rejected(vector_of({1, 2, 3}), column_of({1, 2}),
                  HasSubstr("feature_matrix and target_vector are mismatched"));
}

TEST(data_normalizer, a_value_that_is_not_finite_is_rejected_with_its_place) {
  for (const double bad : {not_a_number, infinity, -infinity}) {
    expect_rejected(vector_of({1, 2, bad}), column_of({1, 2, 3}),
                    HasSubstr("target_vector holds a value that is not finite, in row 2"));
    expect_rejected(
        vector_of({1, 2, 3}), column_of({1, bad, 3}),
        HasSubstr("feature_matrix column 0 holds a value that is not finite, in "
                  "row 1"));
    expect_rejected(vector_of({1, 2}), column_of({bad, bad}), HasSubstr("in row 0"));
  }
}

TEST(data_normalizer, squares_that_overflow_are_rejected_by_name) {
  expect_rejected(vector_of({1, 1e200, 3}), column_of({1, 2, 3}),
                  HasSubstr("target_vector is too large"));
  expect_rejected(vector_of({1, 2, 3}), column_of({1, -1e160, 3}),
                  HasSubstr("feature_matrix column 0 is too large"));
  expect_rejected(vector_of({1, 2, 3}), column_of({1e308, 1e308, -1e308}),
                  HasSubstr("feature_matrix column 0 is too large"));
}

}  // namespace

}  // namespace corvane::model
