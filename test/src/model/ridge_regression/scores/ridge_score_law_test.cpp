// SPDX-License-Identifier: BSD-3-Clause
//
// The law of an objective on every score, with each way of tying its penalties, with a free
// bias column and without, over an even and an odd number of rows, more rows than columns
// and fewer, and more rows than one block of the leave-one-out sums.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "model/ridge_regression/scores/gcv_objective.h"
#include "model/ridge_regression/scores/loocv_objective.h"
#include "model/ridge_regression/scores/range_risk_objective.h"
#include "optimization/interface_only/grouped_variable_objective.h"
#include "src/model/ridge_regression/ridge_problem.h"
#include "support/objective_law.h"

namespace corvane::model::ridge_regression_detail {

namespace {

using corvane::testing::obeys_objective_law;

struct law_case {
  std::string score;
  std::string grouping;
  bool with_bias;
  index_t rows;
  index_t features;
};

void PrintTo(const law_case& c, std::ostream* out) {  // NOLINT: gtest's name
  *out << c.score << ", " << c.grouping << ", " << c.rows << " by " << c.features
       << (c.with_bias ? " with a bias" : "");
}

std::shared_ptr<ridge_regression_objective> make_score(const std::string& score,
                                                       const ridge_problem& problem) {
  if (score == "loocv")
    return std::make_shared<loocv_objective>(problem.design(), problem.target());
  if (score == "gcv")
    return std::make_shared<gcv_objective>(problem.target(), problem.design());
  return std::make_shared<range_risk_objective>(problem.target(), problem.design());
}

// The group of each feature: one for all, halves in order, or three that are scattered.
index_vector make_groups(const std::string& grouping, index_t features) {
  index_vector groups{features};
  for (index_t j = 0; j < features; ++j)
    groups[j] = grouping == "all" ? 0 : grouping == "halves" ? 2 * j / features : j * 2 % 3;
  return groups;
}

// Fewer rows than columns are nearly interpolated under small penalties: the score divides
// by what is left of each observation, and its rounding grows with the quotient.
std::vector<double> point_of(const law_case& c, index_t variables) {
  std::vector<double> t = make_point(variables);
  if (c.rows < c.features)
    for (double& entry : t) entry += 1.0;
  return t;
}

std::vector<law_case> all_cases() {
  std::vector<law_case> cases;
  for (const std::string score : {"loocv", "gcv", "range_risk"})
    for (const std::string grouping : {"none", "all", "halves", "scattered"})
      for (const bool with_bias : {false, true}) {
        for (const index_t rows : {15, 16, 400})
          cases.push_back({score, grouping, with_bias, rows, 4});
        // The range risk has no estimate of the noise there.
        for (const index_t rows : {5, 6})
          if (score != "range_risk") cases.push_back({score, grouping, with_bias, rows, 8});
      }
  return cases;
}

class ridge_score_law : public ::testing::TestWithParam<law_case> {};

TEST_P(ridge_score_law, holds) {
  const law_case& c = GetParam();
  const ridge_problem problem = c.with_bias ? make_problem_with_bias(c.rows, c.features, 31)
                                            : make_problem(c.rows, c.features, 31);
  const std::shared_ptr<ridge_regression_objective> score = make_score(c.score, problem);
  if (c.grouping == "none") {
    EXPECT_TRUE(obeys_objective_law(*score, point_of(c, c.features)));
    return;
  }
  index_vector groups = make_groups(c.grouping, c.features);
  const index_t variables = *std::max_element(groups.begin(), groups.end()) + 1;
  grouped_variable_objective sums_afterwards{index_vector{groups}, score};
  EXPECT_TRUE(obeys_objective_law(sums_afterwards, point_of(c, variables)));
  score->set_groups(std::move(groups));
  EXPECT_TRUE(obeys_objective_law(*score, point_of(c, variables)));
}

INSTANTIATE_TEST_SUITE_P(scores, ridge_score_law, ::testing::ValuesIn(all_cases()),
                         [](const auto& c) {
                           return c.param.score + "_" + c.param.grouping +
                                  (c.param.with_bias ? "_bias_" : "_") +
                                  std::to_string(c.param.rows) + "_by_" +
                                  std::to_string(c.param.features);
                         });

}  // namespace

}  // namespace corvane::model::ridge_regression_detail
