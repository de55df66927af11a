// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/objective.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "n_array/n_array.h"
#include "support/scripted_objective.h"

namespace corvane {
namespace {

using test::scripted_objective;
using call_list = std::vector<std::string>;

constexpr double untouched = -77.0;

struct outputs {
  double value = untouched;
  std::vector<double> gradient_data = {untouched, untouched};
  std::vector<double> hessian_data = {untouched, untouched, untouched, untouched};
  vector_view gradient{gradient_data.data(), 2};
  symmetric_view hessian{hessian_data.data(), 2, 2};
};

scripted_objective& scripted(scripted_objective& objective) {
  objective.value = 1.5;
  objective.gradient = {2.0, 3.0};
  objective.hessian = {4.0, 5.0, 0.0, 6.0};
  return objective;
}

const std::vector<double> point = {0.25, 0.5};
const_vector_view at_point() { return {point.data(), 2}; }

TEST(objective_defaults, value_and_gradient_are_computed_in_this_order) {
  scripted_objective objective;
  outputs out;
  EXPECT_TRUE(
      scripted(objective).compute_value_gradient(at_point(), out.value, out.gradient));
  EXPECT_EQ(objective.calls, (call_list{"value", "gradient"}));
  EXPECT_EQ(objective.last_x, point);
  EXPECT_EQ(out.value, 1.5);
  EXPECT_EQ(out.gradient_data, objective.gradient);
}

TEST(objective_defaults, gradient_and_hessian_are_computed_in_this_order) {
  scripted_objective objective;
  outputs out;
  EXPECT_TRUE(
      scripted(objective).compute_gradient_hessian(at_point(), out.gradient, out.hessian));
  EXPECT_EQ(objective.calls, (call_list{"gradient", "hessian"}));
  EXPECT_EQ(out.hessian(1, 0), 5.0);
}

TEST(objective_defaults, value_gradient_and_hessian_are_computed_in_this_order) {
  scripted_objective objective;
  outputs out;
  EXPECT_TRUE(scripted(objective).compute_value_gradient_hessian(
      at_point(), out.value, out.gradient, out.hessian));
  EXPECT_EQ(objective.calls, (call_list{"value", "gradient", "hessian"}));
}

TEST(objective_defaults, a_failure_is_returned_at_once) {
  for (const auto& [fails_at, calls] : std::vector<std::pair<std::string, call_list>>{
           {"value", {"value"}},
           {"gradient", {"value", "gradient"}},
           {"hessian", {"value", "gradient", "hessian"}}}) {
    scripted_objective objective;
    outputs out;
    scripted(objective).fails_at = fails_at;
    EXPECT_FALSE(objective.compute_value_gradient_hessian(at_point(), out.value,
                                                          out.gradient, out.hessian));
    EXPECT_EQ(objective.calls, calls);
  }
}

TEST(objective_defaults, a_failing_value_or_gradient_fails_the_pair) {
  for (const std::string fails_at : {"value", "gradient"}) {
    scripted_objective objective;
    outputs out;
    scripted(objective).fails_at = fails_at;
    EXPECT_FALSE(objective.compute_value_gradient(at_point(), out.value, out.gradient));
    EXPECT_EQ(objective.calls.back(), fails_at);
  }
}

TEST(objective_defaults, the_hooks_compute_nothing_and_touch_nothing) {
  scripted_objective objective;
  outputs out;
  std::vector<double> x = point;
  const index_vector map(2);
  scripted(objective).prepare_value(at_point());
  objective.prepare_grouped_value({map.data(), 0}, at_point());
  objective.begin_iteration(at_point(), out.value, out.gradient, out.hessian);
  EXPECT_FALSE(objective.adjust_point({x.data(), 2}, out.value, out.gradient, out.hessian));
  EXPECT_TRUE(
      objective.accept_convergence(at_point(), out.value, out.gradient, out.hessian));
  EXPECT_TRUE(objective.calls.empty());
  EXPECT_EQ(x, point);
  EXPECT_EQ(out.value, untouched);
  EXPECT_EQ(out.gradient_data, std::vector<double>(2, untouched));
  EXPECT_EQ(out.hessian_data, std::vector<double>(4, untouched));
}

// f = x0^2 x1, of which only the joint operation knows the derivatives.
class joint_objective final : public optimization_objective_helper {
 public:
  bool defined = true;
  int joint_calls = 0;

  bool compute_value(const_vector_view x, double& value) override {
    value = x[0] * x[0] * x[1];
    return defined;
  }
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) override {
    ++joint_calls;
    gradient[0] = 2 * x[0] * x[1];
    gradient[1] = x[0] * x[0];
    hessian(0, 0) = 2 * x[1];
    hessian(1, 0) = 2 * x[0];
    hessian(1, 1) = 0.0;
    return defined;
  }
};

TEST(optimization_objective_helper, gradient_and_hessian_come_from_the_joint_operation) {
  joint_objective objective;
  outputs out;
  EXPECT_TRUE(objective.compute_gradient(at_point(), out.gradient));
  EXPECT_EQ(out.gradient_data, (std::vector<double>{0.25, 0.0625}));
  EXPECT_EQ(out.hessian_data, std::vector<double>(4, untouched));
  out = outputs{};
  out.gradient = {out.gradient_data.data(), 2};
  out.hessian = {out.hessian_data.data(), 2, 2};
  EXPECT_TRUE(objective.compute_hessian(at_point(), out.hessian));
  EXPECT_EQ(out.hessian_data, (std::vector<double>{1.0, 0.5, untouched, 0.0}));
  EXPECT_EQ(out.gradient_data, std::vector<double>(2, untouched));
  EXPECT_EQ(objective.joint_calls, 2);
}

TEST(optimization_objective_helper, a_failure_of_the_joint_operation_is_returned) {
  joint_objective objective;
  outputs out;
  objective.defined = false;
  EXPECT_FALSE(objective.compute_gradient(at_point(), out.gradient));
  EXPECT_FALSE(objective.compute_hessian(at_point(), out.hessian));
}

}  // namespace
}  // namespace corvane
