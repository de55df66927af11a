// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/interface_only/grouped_variable_objective.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "support/recording_resource.h"
#include "support/scripted_objective.h"

namespace corvane {
namespace {

using test::scripted_objective;
using call_list = std::vector<std::string>;

constexpr double untouched = -77.0;

// Overrides every hook and every combined operation, so that each call is seen.
class watched_objective final : public scripted_objective {
 public:
  std::vector<index_t> seen_map;

  bool compute_value_gradient(const_vector_view x, double& out,
                              vector_view gradient_out) override {
    out = value;
    std::copy(gradient.begin(), gradient.end(), gradient_out.begin());
    return note("value_gradient", x);
  }
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient_out,
                                symmetric_view hessian_out) override {
    compute_gradient(x, gradient_out);
    compute_hessian(x, hessian_out);
    calls.clear();
    return note("gradient_hessian", x);
  }
  bool compute_value_gradient_hessian(const_vector_view x, double& out,
                                      vector_view gradient_out,
                                      symmetric_view hessian_out) override {
    out = value;
    compute_gradient(x, gradient_out);
    compute_hessian(x, hessian_out);
    calls.clear();
    return note("value_gradient_hessian", x);
  }
  void prepare_value(const_vector_view x) override { note("prepare_value", x); }
  void prepare_grouped_value(const_index_view map, const_vector_view x) override {
    seen_map.assign(map.begin(), map.end());
    note("prepare_grouped_value", x);
  }
  void begin_iteration(const_vector_view x, double, const_vector_view,
                       const_symmetric_view) override {
    note("begin_iteration", x);
  }
  bool adjust_point(vector_view x, double&, vector_view, symmetric_view) override {
    return note("adjust_point", x);
  }
  bool accept_convergence(const_vector_view x, double, const_vector_view,
                          const_symmetric_view) override {
    note("accept_convergence", x);
    return false;
  }
};

// An objective of m parameters with gradient 1, 2, ... and distinct Hessian entries, under
// the given map.
struct grouped_case {
  explicit grouped_case(const std::vector<index_t>& map_, index_t k_)
      : map{map_}, k{k_}, m{static_cast<index_t>(map_.size())} {
    wrapped->value = 0.75;
    wrapped->gradient.assign(map.size(), 0.0);
    wrapped->hessian.assign(map.size() * map.size(), untouched);
    std::iota(wrapped->gradient.begin(), wrapped->gradient.end(), 1.0);
    for (index_t j = 0; j < m; ++j)
      for (index_t i = j; i < m; ++i)
        wrapped->hessian[static_cast<std::size_t>(j * m + i)] =
            static_cast<double>(100 * i + j + 1);
    x.assign(static_cast<std::size_t>(k), 0.0);
    std::iota(x.begin(), x.end(), 0.5);
    gradient.assign(static_cast<std::size_t>(k), untouched);
    hessian.assign(static_cast<std::size_t>(k * k), untouched);
  }

  grouped_variable_objective objective() {
    index_vector owned(m);
    std::copy(map.begin(), map.end(), owned.begin());
    std::shared_ptr<second_order_objective> shared = wrapped;
    return {std::move(owned), std::move(shared)};
  }
  const_vector_view at() const { return {x.data(), k}; }
  vector_view gradient_out() { return {gradient.data(), k}; }
  symmetric_view hessian_out() { return {hessian.data(), k, k}; }
  index_t group_of(index_t i) const { return map[static_cast<std::size_t>(i)]; }

  std::vector<double> expanded() const {
    std::vector<double> p;
    for (const index_t variable : map) p.push_back(x[static_cast<std::size_t>(variable)]);
    return p;
  }

  void expect_gradient() const {
    for (index_t g = 0; g < k; ++g) {
      double sum = 0.0;
      for (index_t i = 0; i < m; ++i)
        if (group_of(i) == g) sum += wrapped->gradient[static_cast<std::size_t>(i)];
      EXPECT_EQ(gradient[static_cast<std::size_t>(g)], sum) << "group " << g;
    }
  }

  // The whole m by m matrix is summed, both halves.
  void expect_hessian() const {
    for (index_t g = 0; g < k; ++g)
      for (index_t h = 0; h <= g; ++h) {
        double sum = 0.0;
        for (index_t i = 0; i < m; ++i)
          for (index_t j = 0; j < m; ++j)
            if (group_of(i) == g && group_of(j) == h)
              sum += wrapped->hessian[static_cast<std::size_t>(std::min(i, j) * m +
                                                               std::max(i, j))];
        EXPECT_EQ(hessian[static_cast<std::size_t>(h * k + g)], sum) << g << ", " << h;
      }
  }

  std::vector<index_t> map;
  index_t k;
  index_t m;
  std::shared_ptr<watched_objective> wrapped = std::make_shared<watched_objective>();
  std::vector<double> x;
  double value = untouched;
  std::vector<double> gradient;
  std::vector<double> hessian;
};

// Runs `check` on maps with one group, with one parameter per group, and in between.
template <class Check>
void for_cases(Check check) {
  check(grouped_case{{0}, 1});
  check(grouped_case{{0, 0, 0, 0}, 1});
  check(grouped_case{{0, 1, 2}, 3});
  check(grouped_case{{0, 0, 1, 2, 2, 2}, 3});
  check(grouped_case{{0, 1, 1, 1}, 2});
  check(grouped_case{{0, 0, 0, 1}, 2});
}

TEST(grouped_variable_objective, a_map_of_zeros_sums_all_entries_off_diagonal_ones_twice) {
  grouped_case one{{0, 0, 0}, 1};
  one.wrapped->hessian = {1.0,     20.0,      300.0,     untouched, 4000.0,
                          50000.0, untouched, untouched, 600000.0};
  ASSERT_TRUE(one.objective().compute_hessian(one.at(), one.hessian_out()));
  EXPECT_EQ(one.hessian[0], 604001.0 + 2.0 * 50320.0);
}

TEST(grouped_variable_objective, the_value_is_that_of_the_expanded_point) {
  for_cases([](grouped_case one) {
    ASSERT_TRUE(one.objective().compute_value(one.at(), one.value));
    EXPECT_EQ(one.value, 0.75);
    EXPECT_EQ(one.wrapped->last_x, one.expanded());
    EXPECT_EQ(one.wrapped->calls, call_list{"value"});
  });
}

TEST(grouped_variable_objective, the_gradient_sums_over_each_group) {
  for_cases([](grouped_case one) {
    ASSERT_TRUE(one.objective().compute_gradient(one.at(), one.gradient_out()));
    EXPECT_EQ(one.wrapped->last_x, one.expanded());
    EXPECT_EQ(one.wrapped->calls, call_list{"gradient"});
    one.expect_gradient();
  });
}

TEST(grouped_variable_objective, the_hessian_sums_over_each_pair_of_groups) {
  for_cases([](grouped_case one) {
    ASSERT_TRUE(one.objective().compute_hessian(one.at(), one.hessian_out()));
    EXPECT_EQ(one.wrapped->last_x, one.expanded());
    EXPECT_EQ(one.wrapped->calls, call_list{"hessian"});
    one.expect_hessian();
  });
}

TEST(grouped_variable_objective, combined_operations_forward_to_their_own_kind) {
  for_cases([](grouped_case one) {
    ASSERT_TRUE(
        one.objective().compute_value_gradient(one.at(), one.value, one.gradient_out()));
    EXPECT_EQ(one.wrapped->calls, call_list{"value_gradient"});
    EXPECT_EQ(one.wrapped->last_x, one.expanded());
    EXPECT_EQ(one.value, 0.75);
    one.expect_gradient();
  });
  for_cases([](grouped_case one) {
    ASSERT_TRUE(one.objective().compute_gradient_hessian(one.at(), one.gradient_out(),
                                                         one.hessian_out()));
    EXPECT_EQ(one.wrapped->calls, call_list{"gradient_hessian"});
    one.expect_gradient();
    one.expect_hessian();
  });
  for_cases([](grouped_case one) {
    ASSERT_TRUE(one.objective().compute_value_gradient_hessian(
        one.at(), one.value, one.gradient_out(), one.hessian_out()));
    EXPECT_EQ(one.wrapped->calls, call_list{"value_gradient_hessian"});
    EXPECT_EQ(one.value, 0.75);
    one.expect_gradient();
    one.expect_hessian();
  });
}

TEST(grouped_variable_objective, the_sums_are_compensated) {
  grouped_case one{{0, 0, 0}, 1};
  one.wrapped->gradient = {1e16, 1.0, -1e16};
  one.wrapped->hessian = {1e16, 0.5, 0.0, untouched, 0.0, 0.0, untouched, untouched, -1e16};
  ASSERT_TRUE(one.objective().compute_gradient_hessian(one.at(), one.gradient_out(),
                                                       one.hessian_out()));
  EXPECT_EQ(one.gradient[0], 1.0);
  EXPECT_EQ(one.hessian[0], 1.0);
}

TEST(grouped_variable_objective, a_false_result_leaves_the_outputs_untouched) {
  const auto run = [](const std::string& fails_at, auto operation) {
    grouped_case one{{0, 0, 1}, 2};
    one.wrapped->fails_at = fails_at;
    grouped_variable_objective objective = one.objective();
    EXPECT_FALSE(operation(objective, one)) << fails_at;
    EXPECT_EQ(one.value, untouched);
    EXPECT_EQ(one.gradient, std::vector<double>(2, untouched));
    EXPECT_EQ(one.hessian, std::vector<double>(4, untouched));
  };
  run("gradient", [](auto& objective, grouped_case& one) {
    return objective.compute_gradient(one.at(), one.gradient_out());
  });
  run("hessian", [](auto& objective, grouped_case& one) {
    return objective.compute_hessian(one.at(), one.hessian_out());
  });
  run("value_gradient", [](auto& objective, grouped_case& one) {
    return objective.compute_value_gradient(one.at(), one.value, one.gradient_out());
  });
  run("gradient_hessian", [](auto& objective, grouped_case& one) {
    return objective.compute_gradient_hessian(one.at(), one.gradient_out(),
                                              one.hessian_out());
  });
  run("value_gradient_hessian", [](auto& objective, grouped_case& one) {
    return objective.compute_value_gradient_hessian(one.at(), one.value, one.gradient_out(),
                                                    one.hessian_out());
  });
}

TEST(grouped_variable_objective, a_value_that_is_undefined_is_told_by_false) {
  grouped_case one{{0, 0, 1}, 2};
  one.wrapped->fails_at = "value";
  EXPECT_FALSE(one.objective().compute_value(one.at(), one.value));
}

TEST(grouped_variable_objective, prepare_value_hands_over_the_map_and_the_variables) {
  grouped_case one{{0, 0, 1}, 2};
  one.objective().prepare_value(one.at());
  EXPECT_EQ(one.wrapped->calls, call_list{"prepare_grouped_value"});
  EXPECT_EQ(one.wrapped->seen_map, one.map);
  EXPECT_EQ(one.wrapped->last_x, one.x);
}

TEST(grouped_variable_objective, the_other_hooks_are_not_forwarded) {
  grouped_case one{{0, 0, 1}, 2};
  grouped_variable_objective objective = one.objective();
  objective.prepare_grouped_value({one.map.data(), one.m}, one.at());
  objective.begin_iteration(one.at(), one.value, one.gradient_out(), one.hessian_out());
  EXPECT_FALSE(objective.adjust_point({one.x.data(), one.k}, one.value, one.gradient_out(),
                                      one.hessian_out()));
  EXPECT_TRUE(objective.accept_convergence(one.at(), one.value, one.gradient_out(),
                                           one.hessian_out()));
  EXPECT_TRUE(one.wrapped->calls.empty());
}

TEST(grouped_variable_objective, the_value_alone_expands_into_the_default_resource) {
  grouped_case one{{0, 0, 1}, 2};
  grouped_variable_objective objective = one.objective();
  test::recording_resource resource;
  const test::default_resource_scope scope{resource};
  ASSERT_TRUE(objective.compute_gradient(one.at(), one.gradient_out()));
  ASSERT_TRUE(objective.compute_hessian(one.at(), one.hessian_out()));
  ASSERT_TRUE(objective.compute_value_gradient(one.at(), one.value, one.gradient_out()));
  ASSERT_TRUE(
      objective.compute_gradient_hessian(one.at(), one.gradient_out(), one.hessian_out()));
  ASSERT_TRUE(objective.compute_value_gradient_hessian(
      one.at(), one.value, one.gradient_out(), one.hessian_out()));
  EXPECT_EQ(resource.num_calls(), 0U);
  ASSERT_TRUE(objective.compute_value(one.at(), one.value));
  ASSERT_EQ(resource.allocations().size(), 1U);
  EXPECT_EQ(resource.allocations()[0].bytes, 24U);
}

}  // namespace
}  // namespace corvane
