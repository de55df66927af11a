// SPDX-License-Identifier: BSD-3-Clause
//
// The sums over observations: with a link that computes jointly and with one that does not,
// and what is kept of them.
#include "model/linear_linked_regression/detail/linked_losses.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "classification_problem.h"
#include "counting_fakes.h"

namespace corvane::model {

namespace {

using linear_linked_regression_detail::linked_losses;
using linear_linked_regression_detail::loss_sums;

constexpr index_t p = 4;

// The data may be changed behind the back of the losses.
struct observed {
  explicit observed(std::shared_ptr<const linear_loss_link> link)
      : losses{std::move(link), data.X, data.y} {}
  static const_vector_view point(const std::vector<double>& w) {
    return {w.data(), static_cast<index_t>(w.size())};
  }
  double total_at(const std::vector<double>& w) {
    return losses.total(point(w)).value_or(-1.0);
  }
  void change_data() {
    for (double& x : data.X) x *= 3.0;
  }
  classification_problem data = drawn_problem(700, p, 3);
  linked_losses losses;
};

std::shared_ptr<const linear_loss_link> joint_link() {
  return std::make_shared<loss_link_detail::logistic_log_likelihood_loss_link>();
}

const std::vector<double> here{0.3, -0.2, 0.05, 0.4};
const std::vector<double> there{0.1, 0.1, 0.1, 0.1};

TEST(linked_losses, are_the_same_from_either_kind_of_link) {
  const auto log = std::make_shared<call_log>();
  observed jointly{joint_link()};
  observed apart{std::make_shared<logging_link>(log)};
  EXPECT_NEAR(jointly.total_at(here), apart.total_at(here), 1e-12 * apart.total_at(here));
  EXPECT_EQ(*log, call_log{"loss"});
  const loss_sums* const one = jointly.losses.differentiate(observed::point(here));
  const loss_sums* const other = apart.losses.differentiate(observed::point(here));
  ASSERT_TRUE(one != nullptr && other != nullptr);
  for (index_t j = 0; j < p; ++j) {
    EXPECT_NEAR(one->gradient[j], other->gradient[j], 1e-11);
    for (index_t k = j; k < p; ++k)
      EXPECT_NEAR(one->hessian(k, j), other->hessian(k, j), 1e-11);
  }
}

TEST(linked_losses, do_not_look_at_the_data_again_at_a_point_that_is_kept) {
  observed of{joint_link()};
  const double total = of.total_at(here);
  const double slope = of.losses.differentiate(observed::point(here))->gradient[0];
  of.losses.keep(observed::point(here));
  of.total_at(there);
  of.losses.forget();
  of.change_data();
  EXPECT_EQ(of.total_at(here), total);
  EXPECT_EQ(of.losses.differentiate(observed::point(here))->gradient[0], slope);
  EXPECT_NE(of.total_at(there), observed{joint_link()}.total_at(there));
}

TEST(linked_losses, keep_nothing_of_a_point_that_they_have_not_summed_last) {
  observed of{joint_link()};
  const double total = of.total_at(here);
  of.losses.differentiate(observed::point(here));
  of.losses.keep(observed::point(here));
  of.losses.keep(observed::point(there));
  of.losses.forget();
  of.change_data();
  EXPECT_NE(of.total_at(here), total);
}

TEST(linked_losses, return_to_a_point_with_its_predictions_and_derivatives) {
  for (const bool jointly : {true, false}) {
    observed of{jointly ? joint_link()
                        : std::make_shared<logging_link>(std::make_shared<call_log>())};
    of.total_at(here);
    of.losses.differentiate(observed::point(here));
    const dense_vector z{of.losses.predictions()};
    const dense_vector l1{of.losses.first_derivative()};
    const dense_vector l2{of.losses.second_derivative()};
    of.total_at(there);
    ASSERT_TRUE(of.losses.return_to(observed::point(here)));
    for (index_t i = 0; i < z.size(); ++i) {
      EXPECT_EQ(of.losses.predictions()[i], z[i]);
      EXPECT_EQ(of.losses.first_derivative()[i], l1[i]);
      EXPECT_EQ(of.losses.second_derivative()[i], l2[i]);
    }
  }
}

TEST(linked_losses, tell_that_their_link_fails) {
  const auto link = std::make_shared<logging_link>(std::make_shared<call_log>());
  observed of{link};
  link->failing = "loss";
  EXPECT_FALSE(of.losses.total(observed::point(here)));
  link->failing = "l2";
  EXPECT_EQ(of.losses.differentiate(observed::point(here)), nullptr);
  EXPECT_FALSE(of.losses.return_to(observed::point(here)));
}

}  // namespace

}  // namespace corvane::model
