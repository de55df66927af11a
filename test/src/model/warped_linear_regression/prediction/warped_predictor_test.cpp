// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/prediction/warped_predictor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <vector>

#include "common/matrix_block.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

// Two steps, and three of four columns.
warped_state make_state() {
  const std::vector<double> theta{0.8, 1.4, 0.3, 0.5, 2.5, -0.6};
  const std::vector<double> targets = normal_vector(40, 1);
  warped_state state;
  state.num_features = 4;
  state.columns = index_vector(3);
  state.columns[0] = 0;
  state.columns[1] = 2;
  state.columns[2] = 3;
  state.feature_means = dense_vector{view(normal_vector(3, 2))};
  state.feature_scales = dense_vector{view(std::vector<double>{1.0, 2.0, 0.5})};
  state.weights = normal_matrix(3, 4, 3);
  state.noise_variance = 0.04;
  state.map = make_tanh_map(view(theta), view(targets), 5.0, 3.0);
  return state;
}

prediction_rows rows_of(const dense_matrix& X) { return {transposition::none, X}; }

TEST(warped_predictor, the_latent_distribution_is_that_of_its_formula) {
  const warped_state state = make_state();
  const dense_matrix X = normal_matrix(5, 4, 4);
  std::vector<double> mean(5), deviation(5);
  predict_latent(state, rows_of(X), view(mean), view(deviation));
  for (index_t i = 0; i < 5; ++i) {
    dense_vector products(4);
    std::fill(products.begin(), products.end(), 0.0);
    for (index_t j = 0; j < 3; ++j)
      for (index_t k = 0; k < 4; ++k)
        products[k] += (X(i, state.columns[j]) - state.feature_means[j]) /
                       state.feature_scales[j] * state.weights(j, k);
    const double spread = 1.0 + products[1] * products[1] + products[2] * products[2] +
                          products[3] * products[3];
    EXPECT_NEAR(mean[static_cast<std::size_t>(i)], products[0], 1e-13);
    EXPECT_NEAR(deviation[static_cast<std::size_t>(i)], 0.2 * std::sqrt(spread), 1e-13);
  }
}

TEST(warped_predictor, contiguous_rows_are_predicted_as_contiguous_columns_are) {
  const warped_state state = make_state();
  const dense_matrix X = normal_matrix(7000, 4, 5);
  dense_matrix transposed_X(4, 7000);
  copy_transposed(X, transposed_X);
  std::vector<double> mean(7000), deviation(7000), other_mean(7000), other(7000);
  predict_moments(state, rows_of(X), view(mean), view(deviation));
  predict_moments(state, {transposition::transpose, transposed_X}, view(other_mean),
                  view(other));
  EXPECT_EQ(mean, other_mean);
  EXPECT_EQ(deviation, other);
}

TEST(warped_predictor, without_steps_targets_are_normal) {
  warped_state state = make_state();
  state.map = make_tanh_map({}, view(std::vector<double>{-1.0, 1.0}), 5.0, 3.0);
  const dense_matrix X = normal_matrix(9, 4, 6);
  std::vector<double> latent(9), spread(9), mean(9), deviation(9);
  predict_latent(state, rows_of(X), view(latent), view(spread));
  predict_moments(state, rows_of(X), view(mean), view(deviation));
  dense_matrix quantiles(2, 9);
  predict_quantiles(state, rows_of(X), view(std::vector<double>{2.0, -1.0}), quantiles);
  for (std::size_t i = 0; i < 9; ++i) {
    const auto row = static_cast<index_t>(i);
    EXPECT_NEAR(mean[i], 5.0 + 3.0 * latent[i], 1e-12);
    EXPECT_NEAR(deviation[i], 3.0 * spread[i], 1e-12);
    EXPECT_NEAR(quantiles(0, row), 5.0 + 3.0 * (latent[i] + 2.0 * spread[i]), 1e-12);
    EXPECT_NEAR(quantiles(1, row), 5.0 + 3.0 * (latent[i] - spread[i]), 1e-12);
  }
}

TEST(warped_predictor, quantiles_meet_the_latent_values_of_their_scores) {
  const warped_state state = make_state();
  const dense_matrix X = normal_matrix(300, 4, 7);
  const std::vector<double> scores{-3.0, 0.0, 1.5};
  std::vector<double> mean(300), deviation(300);
  predict_latent(state, rows_of(X), view(mean), view(deviation));
  dense_matrix quantiles(3, 300);
  predict_quantiles(state, rows_of(X), view(scores), quantiles);
  dense_vector latent(900);
  compute_latent(state.map, {quantiles.data(), 900}, latent);
  for (std::size_t i = 0; i < 300; ++i)
    for (std::size_t j = 0; j < 3; ++j)
      EXPECT_NEAR(latent[static_cast<index_t>(3 * i + j)],
                  mean[i] + deviation[i] * scores[j], 1e-9);
}

TEST(warped_predictor,
     quantiles_rise_with_their_scores_where_rounding_is_all_that_differs) {
  warped_state state = make_state();
  state.noise_variance = 1e-34;
  const dense_matrix X = normal_matrix(300, 4, 8);
  dense_matrix quantiles(3, 300);
  predict_quantiles(state, rows_of(X), view(std::vector<double>{1.0, -1.0, 0.0}),
                    quantiles);
  for (index_t i = 0; i < 300; ++i) {
    EXPECT_LE(quantiles(1, i), quantiles(2, i));
    EXPECT_LE(quantiles(2, i), quantiles(0, i));
  }
}

TEST(warped_predictor, the_density_is_the_slope_of_the_share_below) {
  const warped_state state = make_state();
  const dense_matrix X = normal_matrix(1, 4, 9);
  double mean = 0.0;
  double deviation = 0.0;
  predict_latent(state, rows_of(X), {&mean, 1}, {&deviation, 1});
  const auto share_below = [&](double y) {
    double z = 0.0;
    compute_latent(state.map, {&y, 1}, {&z, 1});
    return 0.5 * std::erfc((mean - z) / (deviation * std::sqrt(2.0)));
  };
  for (const double score : {-1.0, 0.0, 0.7}) {
    double y = mean + score * deviation;
    invert(state.map, {&y, 1}, {&y, 1});
    double log_density = 0.0;
    predict_log_density(state, rows_of(X), {&y, 1}, {&log_density, 1});
    const double h = 1e-4;
    const double slope = (share_below(y + h) - share_below(y - h)) / (2.0 * h);
    EXPECT_NEAR(std::exp(log_density), slope, 1e-6 * slope);
  }
}

TEST(warped_predictor, a_step_that_is_steep_where_it_ends_keeps_its_slope) {
  const std::vector<double> theta{30.0, 1000.0, 0.0};
  const tanh_map map =
      make_tanh_map(view(theta), view(std::vector<double>{-1.0, 1.0}), 0.0, 1.0);
  // a b (1 - tanh^2) = 4 a b exp(-2 b u), far out
  const double u = 25e-6;
  double slope = 0.0;
  compute_slope(map, {&u, 1}, {&slope, 1});
  EXPECT_NEAR(slope, 1.0 + 3.6e9 * std::exp(-50.0), 1e-12);
}

TEST(warped_predictor, infinite_latents_have_infinite_targets_and_nan_gives_nan) {
  const tanh_map map = make_state().map;
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<double> latent{infinity, 0.5, -infinity, std::nan(""), 1e300};
  std::vector<double> target(5);
  invert(map, view(latent), view(target));
  EXPECT_EQ(target[0], infinity);
  EXPECT_EQ(target[2], -infinity);
  EXPECT_TRUE(std::isnan(target[3]));
  EXPECT_EQ(target[4], 3e300);
  double latent_again = 0.0;
  compute_latent(map, {&target[1], 1}, {&latent_again, 1});
  EXPECT_NEAR(latent_again, 0.5, 1e-13);
}

TEST(warped_predictor, states_that_do_not_fit_are_refused) {
  const auto refused = [](const std::function<void(warped_state&)>& spoil) {
    warped_state state = make_state();
    spoil(state);
    EXPECT_THROW(check_state(state), std::invalid_argument);
  };
  EXPECT_NO_THROW(check_state(make_state()));
  refused([](warped_state& state) { state.columns[1] = 4; });
  refused([](warped_state& state) { state.columns[0] = -1; });
  refused([](warped_state& state) { state.feature_means = dense_vector(2); });
  refused([](warped_state& state) { state.weights = dense_matrix(3, 3); });
  refused([](warped_state& state) { state.num_features = 2; });
  refused([](warped_state& state) { state.map.heights[0] = -1.0; });
  refused([](warped_state& state) { state.map.positions = dense_vector(1); });
  refused([](warped_state& state) { state.map.steepnesses[0] = std::nan(""); });
  const dense_matrix X = normal_matrix(2, 3, 1);
  std::vector<double> mean(2);
  EXPECT_THROW(predict_latent(make_state(), rows_of(X), view(mean), view(mean)),
               std::invalid_argument);
}

}  // namespace
}  // namespace corvane::model
