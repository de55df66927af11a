// SPDX-License-Identifier: BSD-3-Clause
//
// Problems with one common penalty, each as the short form of its score and as the general
// one with all penalties tied together.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "model/ridge_regression/common_penalty/common_penalty_objective.h"
#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "optimization/interface_only/grouped_variable_objective.h"
#include "src/model/ridge_regression/reference_ridge.h"

namespace corvane::model {

struct common_penalty_case {
  std::string name;
  sample_data data;
  data_normalizer_options normalization;
  bool bias_penalized = false;
};

inline constexpr data_normalizer_options centered{};
inline constexpr data_normalizer_options centered_with_bias{false, true, true, true, true};
inline constexpr data_normalizer_options as_it_is{false, false, false, false, false};

inline sample_data with_copied_column(sample_data data, index_t from, index_t to) {
  for (index_t i = 0; i < data.X.rows(); ++i) data.X(i, to) = data.X(i, from);
  return data;
}

inline sample_data with_constant_column(sample_data data, index_t column) {
  for (index_t i = 0; i < data.X.rows(); ++i) data.X(i, column) = 2.5;
  return data;
}

// Column `to` differs from column `from` by a share of itself.
inline sample_data with_like_column(sample_data data, index_t from, index_t to,
                                    double share) {
  for (index_t i = 0; i < data.X.rows(); ++i)
    data.X(i, to) = data.X(i, from) + share * data.X(i, to);
  return data;
}

// One indicator per level: centered, they add up to zero.
inline sample_data with_indicators(sample_data data) {
  const index_t levels = data.X.cols();
  for (index_t i = 0; i < data.X.rows(); ++i)
    for (index_t j = 0; j < levels; ++j) data.X(i, j) = i % levels == j ? 1.0 : 0.0;
  return data;
}

// A target of which the features explain a part: the best penalty is not near zero.
inline sample_data with_noise(sample_data data) {
  std::mt19937 generator(5);
  std::normal_distribution<double> normal;
  for (double& value : data.y) value += 8.0 * normal(generator);
  return data;
}

// With each flag once: the features alone, and a bias that is free beside them.
inline std::vector<common_penalty_case> make_common_penalty_cases() {
  const sample_data tall = make_sample(40, 5, 21);
  std::vector<common_penalty_case> cases;
  const auto add = [&](const std::string& name, const sample_data& data) {
    cases.push_back({name, data, centered});
    cases.push_back({name + ", with a bias", data, centered_with_bias});
  };
  add("more rows than columns", tall);
  add("one column", make_sample(30, 1, 3));
  add("a column twice", with_copied_column(tall, 1, 3));
  add("columns that are nearly alike", with_like_column(tall, 1, 3, 1e-4));
  add("columns alike to rounding", with_like_column(tall, 1, 3, 1e-12));
  add("indicators", with_indicators(make_sample(41, 6, 5)));
  add("a constant column", with_constant_column(tall, 2));
  add("as many rows as columns", with_noise(make_sample(12, 12, 6)));
  add("a row more than columns", with_noise(make_sample(13, 12, 7)));
  add("two rows more than columns", with_noise(make_sample(14, 12, 7)));
  add("more columns than rows", with_noise(make_sample(12, 30, 8)));
  add("more columns than rows, one constant",
      with_constant_column(with_noise(make_sample(12, 30, 8)), 4));
  add("more blocks than one", make_sample(23000, 3, 9));
  add("more blocks than one, a column twice",
      with_copied_column(make_sample(23000, 3, 9), 0, 2));
  cases.push_back({"as it is", tall, as_it_is});
  cases.push_back({"penalized bias", tall, {false, false, true, true, true}, true});
  cases.push_back({"penalized bias, wide",
                   with_noise(make_sample(8, 12, 2)),
                   {false, false, true, true, true},
                   true});
  return cases;
}

// The score in both forms.
class both_forms {
 public:
  both_forms(const common_penalty_case& problem, bool leave_one_out)
      : data_{problem.data},
        normalizer_{problem.normalization, data_.y, data_.X},
        penalized_{problem.data.X.cols() + (problem.bias_penalized ? 1 : 0)} {
    namespace detail = ridge_regression_detail;
    const detail::common_penalty_design design{normalizer_, data_.y, data_.X,
                                               problem.bias_penalized};
    dense_matrix X = normalizer_.normalized_features(problem.data.X);
    dense_vector y = normalizer_.normalized_target(problem.data.y);
    using detail::common_penalty_score;
    short_ = std::make_unique<detail::common_penalty_objective>(
        leave_one_out ? common_penalty_score::leave_one_out
                      : common_penalty_score::generalized,
        design);
    if (leave_one_out) {
      general_ = std::make_shared<detail::loocv_objective>(std::move(X), std::move(y));
    } else {
      general_ = std::make_shared<detail::gcv_objective>(y, X);
    }
    index_vector groups(penalized_);
    std::fill(groups.begin(), groups.end(), 0);
    tied_ = std::make_unique<grouped_variable_objective>(std::move(groups), general_);
  }

  both_forms(const both_forms&) = delete;  // the short form reads the data here
  both_forms& operator=(const both_forms&) = delete;
  ~both_forms() = default;

  second_order_objective& short_form() { return *short_; }
  second_order_objective& general() { return *tied_; }

  std::vector<double> weights_by_short_form(double t) {
    std::vector<double> weights(static_cast<std::size_t>(normalizer_.num_columns));
    EXPECT_TRUE(short_->compute_weights({&t, 1}, view(weights)));
    return weights;
  }
  std::vector<double> weights_by_general(double t) {
    std::vector<double> weights(static_cast<std::size_t>(normalizer_.num_columns));
    const std::vector<double> point(static_cast<std::size_t>(penalized_), t);
    EXPECT_TRUE(general_->compute_weights({point.data(), penalized_}, view(weights)));
    return weights;
  }
  const data_normalizer& normalizer() const { return normalizer_; }

 private:
  static vector_view view(std::vector<double>& values) {
    return {values.data(), static_cast<index_t>(values.size())};
  }

  sample_data data_;
  data_normalizer normalizer_;
  index_t penalized_;
  std::unique_ptr<ridge_regression_detail::common_penalty_objective> short_;
  std::shared_ptr<ridge_regression_detail::ridge_regression_objective> general_;
  std::unique_ptr<grouped_variable_objective> tied_;
};

}  // namespace corvane::model
