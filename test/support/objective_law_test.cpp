// SPDX-License-Identifier: BSD-3-Clause
//
// The checker is checked: it accepts right derivatives and rejects each single wrong entry.
#include "support/objective_law.h"

#include <cmath>

namespace corvane::testing {

namespace {

// f = exp(x y) + x^3 / z, with errors that can be switched on.
class exponential_objective final : public second_order_objective {
 public:
  explicit exponential_objective(index_t wrong_gradient = -1, index_t wrong_row = -1,
                                 index_t wrong_column = -1, double error = 1e-4)
      : wrong_gradient_{wrong_gradient},
        wrong_row_{wrong_row},
        wrong_column_{wrong_column},
        error_{error} {}

  bool compute_value(const_vector_view p, double& value) override {
    value = std::exp(p[0] * p[1]) + p[0] * p[0] * p[0] / p[2];
    return true;
  }
  bool compute_gradient(const_vector_view p, vector_view gradient) override {
    const double e = std::exp(p[0] * p[1]);
    gradient[0] = p[1] * e + 3.0 * p[0] * p[0] / p[2];
    gradient[1] = p[0] * e;
    gradient[2] = -p[0] * p[0] * p[0] / (p[2] * p[2]);
    if (wrong_gradient_ >= 0) gradient[wrong_gradient_] += error_;
    return true;
  }
  bool compute_hessian(const_vector_view p, symmetric_view hessian) override {
    const double e = std::exp(p[0] * p[1]);
    hessian(0, 0) = p[1] * p[1] * e + 6.0 * p[0] / p[2];
    hessian(1, 0) = e + p[0] * p[1] * e;
    hessian(2, 0) = -3.0 * p[0] * p[0] / (p[2] * p[2]);
    hessian(1, 1) = p[0] * p[0] * e;
    hessian(2, 1) = 0.0;
    hessian(2, 2) = 2.0 * p[0] * p[0] * p[0] / (p[2] * p[2] * p[2]);
    if (wrong_row_ >= 0) hessian(wrong_row_, wrong_column_) += error_;
    return true;
  }

 private:
  index_t wrong_gradient_;
  index_t wrong_row_;
  index_t wrong_column_;
  double error_;
};

// A combined operation that does not give what the single ones give.
class contradictory_objective final : public optimization_objective_helper {
 public:
  bool compute_value(const_vector_view p, double& value) override {
    value = p[0] * p[0];
    return true;
  }
  bool compute_gradient_hessian(const_vector_view p, vector_view gradient,
                                symmetric_view hessian) override {
    gradient[0] = 2.0 * p[0];
    hessian(0, 0) = 2.0;
    return true;
  }
  bool compute_value_gradient(const_vector_view p, double& value,
                              vector_view gradient) override {
    value = p[0] * p[0] + 1e-6;
    gradient[0] = 2.0 * p[0];
    return true;
  }
};

const std::vector<double> point{0.7, -0.4, 1.3};

TEST(objective_law, accepts_right_derivatives) {
  exponential_objective objective;
  EXPECT_TRUE(obeys_objective_law(objective, point));
}

TEST(objective_law, rejects_each_wrong_gradient_entry) {
  for (index_t j = 0; j < 3; ++j)
    for (const double error : {1e-2, 1e-4, 1e-6, -1e-6}) {
      exponential_objective objective{j, -1, -1, error};
      EXPECT_FALSE(obeys_objective_law(objective, point)) << j << " " << error;
    }
}

TEST(objective_law, rejects_each_wrong_hessian_entry) {
  for (index_t i = 0; i < 3; ++i)
    for (index_t j = 0; j <= i; ++j)
      for (const double error : {1e-2, 1e-4, 1e-6, -1e-6}) {
        exponential_objective objective{-1, i, j, error};
        EXPECT_FALSE(obeys_objective_law(objective, point))
            << i << " " << j << " " << error;
      }
}

TEST(objective_law, rejects_a_combined_operation_that_contradicts_the_single_ones) {
  contradictory_objective objective;
  EXPECT_FALSE(obeys_objective_law(objective, {0.5}));
}

}  // namespace

}  // namespace corvane::testing
