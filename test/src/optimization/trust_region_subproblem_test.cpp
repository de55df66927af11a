// SPDX-License-Identifier: BSD-3-Clause
//
// The subproblem solver, certified over random, indefinite, singular and hard-case models,
// and the checkers themselves.
#include "optimization/trust_region_subproblem.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>

#include "n_array/n_array.h"
#include "subproblem_certificate.h"

namespace corvane::testing {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

subproblem diagonal_problem(const std::vector<double>& curvatures, std::vector<double> g,
                            double radius) {
  const std::size_t n = curvatures.size();
  subproblem problem{std::move(g), square_rows(n, std::vector<double>(n, 0.0)), radius};
  for (std::size_t i = 0; i < n; ++i) problem.H[i][i] = curvatures[i];
  return problem;
}

// Models with a chosen spectrum in a random orthonormal basis.
class random_models {
 public:
  explicit random_models(std::uint32_t seed) : generator_{seed} {}

  double normal() { return normal_(generator_); }

  std::vector<double> normals(std::size_t n) {
    std::vector<double> values(n);
    for (double& value : values) value = normal();
    return values;
  }

  // The eigenvectors of a random symmetric matrix.
  square_rows basis(std::size_t n) {
    square_rows a(n, std::vector<double>(n));
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j <= i; ++j) a[i][j] = a[j][i] = normal();
    return decompose_symmetric(a).vectors;
  }

  // sum_k spectrum_k v_k v_k', with g = sum_k coordinates_k v_k
  subproblem with_spectrum(const std::vector<double>& spectrum,
                           const std::vector<double>& coordinates, double radius) {
    const std::size_t n = spectrum.size();
    const square_rows v = basis(n);
    subproblem problem{std::vector<double>(n, 0.0),
                       square_rows(n, std::vector<double>(n, 0.0)), radius};
    for (std::size_t k = 0; k < n; ++k)
      for (std::size_t i = 0; i < n; ++i) {
        problem.g[i] += coordinates[k] * v[k][i];
        for (std::size_t j = 0; j < n; ++j)
          problem.H[i][j] += spectrum[k] * v[k][i] * v[k][j];
      }
    return problem;
  }

 private:
  std::mt19937 generator_;
  std::normal_distribution<double> normal_;
};

class model_of_size : public ::testing::TestWithParam<std::size_t> {
 protected:
  static constexpr std::array radii{1e-6, 0.01, 0.3, 1.0, 10.0, 1e6};
};

TEST_P(model_of_size, with_a_random_hessian_is_certified) {
  random_models models{11};
  for (const double radius : radii) {
    const subproblem problem = models.with_spectrum(models.normals(GetParam()),
                                                    models.normals(GetParam()), radius);
    EXPECT_TRUE(is_certified(problem, solve_once(problem)));
  }
}

TEST_P(model_of_size, with_a_positive_definite_hessian_is_certified) {
  random_models models{12};
  for (const double radius : radii) {
    std::vector<double> spectrum = models.normals(GetParam());
    for (double& value : spectrum) value = std::exp(3.0 * value);
    const subproblem problem =
        models.with_spectrum(spectrum, models.normals(GetParam()), radius);
    EXPECT_TRUE(is_certified(problem, solve_once(problem)));
  }
}

TEST_P(model_of_size, with_a_singular_hessian_is_certified) {
  random_models models{13};
  for (const double radius : radii) {
    std::vector<double> spectrum(GetParam(), 0.0);
    for (std::size_t k = 0; k < spectrum.size() / 2; ++k)
      spectrum[k] = std::abs(models.normal());
    const subproblem problem =
        models.with_spectrum(spectrum, models.normals(GetParam()), radius);
    EXPECT_TRUE(is_certified(problem, solve_once(problem)));
  }
}

// g has no part along the eigenvector of the smallest eigenvalue, but for rounding.
TEST_P(model_of_size, in_the_hard_case_is_certified) {
  random_models models{14};
  for (const double radius : radii) {
    std::vector<double> spectrum(GetParam(), 1.0);
    spectrum.at(0) = -2.0;
    std::vector<double> coordinates = models.normals(GetParam());
    coordinates.at(0) = 0.0;
    const subproblem problem = models.with_spectrum(spectrum, coordinates, radius);
    EXPECT_TRUE(is_certified(problem, solve_once(problem)));
  }
}

TEST_P(model_of_size, in_the_exact_hard_case_is_certified) {
  random_models models{15};
  for (const double radius : radii) {
    std::vector<double> curvatures = models.normals(GetParam());
    curvatures.at(0) = -3.5;
    const subproblem problem =
        diagonal_problem(curvatures, std::vector<double>(GetParam(), 0.0), radius);
    const subproblem_answer answer = solve_once(problem);
    EXPECT_TRUE(is_certified(problem, answer));
    EXPECT_LT(answer.change, 0.0);
  }
}

TEST_P(model_of_size, resolved_for_a_smaller_radius_is_certified_and_keeps_lambda_up) {
  random_models models{16};
  subproblem problem =
      models.with_spectrum(models.normals(GetParam()), models.normals(GetParam()), 8.0);
  const auto n = static_cast<index_t>(GetParam());
  symmetric_matrix H(n, n);
  for (index_t i = 0; i < n; ++i)
    for (index_t j = i; j < n; ++j)
      H(i, j) = problem.H[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
  const const_vector_view g{problem.g.data(), n};
  subproblem_answer answer{std::vector<double>(GetParam()), 0.0, 0.0};
  const vector_view step{answer.step.data(), n};
  subproblem_bounds bounds;
  initialize_bounds(bounds, problem.radius, g, H);
  subproblem_solver_impl solver;
  solver.solve(bounds, g, answer.lambda, problem.radius, H, step);
  for (int attempt = 0; attempt < 8; ++attempt) {
    problem.radius *= 0.25;
    const double received = answer.lambda;
    answer.change = solver.resolve(bounds, g, answer.lambda, problem.radius, H, step);
    EXPECT_GE(answer.lambda, received);
    EXPECT_TRUE(is_certified(problem, answer));
  }
}

INSTANTIATE_TEST_SUITE_P(sizes, model_of_size, ::testing::Values(1, 2, 3, 5, 10, 20, 50));

TEST(subproblem_solver, a_zero_gradient_with_a_positive_definite_hessian_stays) {
  const subproblem problem = diagonal_problem({2.0, 5.0}, {0.0, 0.0}, 1.0);
  const subproblem_answer answer = solve_once(problem);
  EXPECT_EQ(answer.lambda, 0.0);
  EXPECT_EQ(answer.change, 0.0);
  EXPECT_EQ(answer.step, (std::vector<double>{0.0, 0.0}));
}

TEST(subproblem_solver,
     a_gradient_orthogonal_to_the_lowest_direction_goes_to_the_boundary) {
  const subproblem problem = diagonal_problem({-1.0, 1.0}, {0.0, 0.5}, 3.0);
  const subproblem_answer answer = solve_once(problem);
  EXPECT_TRUE(is_certified(problem, answer));
  EXPECT_NEAR(std::hypot(answer.step[0], answer.step[1]), 3.0, 1e-9);
  // The shifted solution lies on the second axis, and is left along the first.
  EXPECT_GT(std::abs(answer.step[0]), std::abs(answer.step[1]));
}

TEST(subproblem_solver, the_closed_bracket_of_an_exact_hard_case_ends_with_a_decrease) {
  const subproblem problem = diagonal_problem({-1.0, 1.0}, {0.0, 0.0}, 2.0);
  const subproblem_answer answer = solve_once(problem);
  EXPECT_TRUE(is_certified(problem, answer));
  EXPECT_NEAR(answer.change, -2.0, 1e-10);
  EXPECT_NEAR(answer.lambda, 1.0, 1e-10);
}

TEST(subproblem_solver, a_flat_model_gives_a_zero_step) {
  const subproblem_answer answer =
      solve_once(diagonal_problem({0.0, 0.0}, {0.0, 0.0}, 1.0));
  EXPECT_EQ(answer.change, 0.0);
  EXPECT_EQ(answer.step, (std::vector<double>{0.0, 0.0}));
}

// With g = -(11, 0) and H = diag(1, 4) the bracket begins at 0, where the step is (11, 0):
// a tenth of 10 and 11 - 10 are the same double.
TEST(subproblem_solver, a_step_exactly_a_tenth_outside_is_near) {
  ASSERT_EQ(0.1 * 10.0, 11.0 - 10.0);
  const subproblem_answer answer =
      solve_once(diagonal_problem({1.0, 4.0}, {-11.0, 0.0}, 10.0));
  EXPECT_EQ(answer.step, (std::vector<double>{11.0, 0.0}));
  EXPECT_EQ(answer.lambda, 0.0);
}

TEST(subproblem_solver, a_step_just_above_a_tenth_outside_is_not_near) {
  const double radius = std::nextafter(10.0, 0.0);
  const subproblem_answer answer =
      solve_once(diagonal_problem({1.0, 4.0}, {-11.0, 0.0}, radius));
  EXPECT_LT(answer.step[0], 11.0);
  EXPECT_GT(answer.lambda, 0.0);
}

// One variable with h + lambda = 1 and g = -0.95: the step is 0.95, near the boundary at 1
// from inside. The move there, tau = 0.05, costs 0.05^2 and gains lambda (1 - 0.95^2).
double solve_near_boundary(double lambda, subproblem_bounds& bounds) {
  const std::vector<double> g{-0.95};
  symmetric_matrix H(1, 1);
  H(0, 0) = 1.0 - lambda;
  bounds.lambda_high = 10.0;
  bounds.lambda_singular = -5.0;
  std::vector<double> step(1);
  subproblem_solver_impl{}.solve(bounds, {g.data(), 1}, lambda, 1.0, H, {step.data(), 1});
  return step[0];
}

TEST(subproblem_solver, a_near_step_inside_stays_where_the_move_costs_more_than_it_gains) {
  subproblem_bounds bounds;
  EXPECT_NEAR(solve_near_boundary(0.01, bounds), 0.95, 1e-14);
  // The probe's curvature of 1 has bounded the smallest eigenvalue, here exactly.
  EXPECT_NEAR(bounds.lambda_singular, 0.01 - 1.0, 1e-14);
}

TEST(subproblem_solver, a_near_step_inside_moves_where_that_gains_more_than_it_costs) {
  subproblem_bounds bounds;
  EXPECT_NEAR(solve_near_boundary(0.5, bounds), 1.0, 1e-14);
  EXPECT_EQ(bounds.lambda_singular, -5.0);
}

TEST(subproblem_solver, the_empty_model_changes_nothing) {
  EXPECT_EQ(solve_once(subproblem{{}, {}, 1.0}).change, 0.0);
}

TEST(subproblem_solver, a_nan_gives_a_zero_step_and_a_nan) {
  const std::vector<double> zero{0.0, 0.0, 0.0};
  for (std::size_t i = 0; i < 3; ++i) {
    subproblem gradient = diagonal_problem({1.0, -2.0, 3.0}, {1.0, 1.0, 1.0}, 1.0);
    gradient.g[i] = nan;
    EXPECT_TRUE(std::isnan(solve_once(gradient).change));
    EXPECT_EQ(solve_once(gradient).step, zero);
    for (std::size_t j = 0; j < 3; ++j) {
      subproblem hessian = diagonal_problem({1.0, 2.0, 3.0}, {0.0, 1.0, 0.0}, 1.0);
      hessian.H[i][j] = hessian.H[j][i] = nan;
      EXPECT_TRUE(std::isnan(solve_once(hessian).change));
      EXPECT_EQ(solve_once(hessian).step, zero);
    }
  }
}

TEST(certificate, holds_for_the_exact_solution_of_an_interior_model) {
  const subproblem problem = diagonal_problem({2.0, 4.0}, {-2.0, 4.0}, 10.0);
  EXPECT_TRUE(is_certified(problem, {{1.0, -1.0}, 0.0, -3.0}));
}

TEST(certificate, rejects_each_kind_of_wrong_answer) {
  const subproblem problem = diagonal_problem({2.0, 4.0}, {-2.0, 4.0}, 10.0);
  EXPECT_FALSE(is_certified(problem, {{1.0, -1.0}, 0.0, -3.1}));   // wrong change
  EXPECT_FALSE(is_certified(problem, {{0.5, -0.5}, 0.0, -2.25}));  // too small a decrease
  EXPECT_FALSE(is_certified(problem, {{1.0, -1.0}, 0.1, -3.0}));   // lambda off
  EXPECT_FALSE(is_certified(problem, {{1.0, -1.0}, -0.1, -3.0}));  // negative lambda
  EXPECT_FALSE(is_certified(problem, {{1.1, -1.0}, 0.0, -2.99}));  // not stationary
  EXPECT_FALSE(is_certified(problem, {{nan, -1.0}, 0.0, nan}));

  const subproblem saddle = diagonal_problem({-1.0, 1.0}, {0.0, 0.0}, 1.0);
  EXPECT_TRUE(is_certified(saddle, {{1.0, 0.0}, 1.0, -0.5}));
  EXPECT_FALSE(is_certified(saddle, {{0.0, 0.0}, 1.0, 0.0}));    // misses the hard case
  EXPECT_FALSE(is_certified(saddle, {{1.0, 0.0}, 0.5, -0.5}));   // an indefinite shift
  EXPECT_FALSE(is_certified(saddle, {{1.2, 0.0}, 1.0, -0.72}));  // outside
}

TEST(best_change, agrees_with_models_solved_by_hand) {
  EXPECT_NEAR(best_change(diagonal_problem({2.0}, {-2.0}, 10.0)), -1.0, 1e-14);
  EXPECT_NEAR(best_change(diagonal_problem({2.0}, {-2.0}, 0.5)), -0.75, 1e-14);
  EXPECT_NEAR(best_change(diagonal_problem({-1.0, 1.0}, {0.0, 0.0}, 2.0)), -2.0, 1e-14);
  // lambda = 1: p = (-tau, -0.25), tau^2 = 9 - 1/16
  EXPECT_NEAR(best_change(diagonal_problem({-1.0, 1.0}, {0.0, 0.5}, 3.0)),
              -0.5 * (9.0 - 0.0625) - 0.125 + 0.03125, 1e-12);
}

TEST(symmetric_eigen, rebuilds_the_matrix_from_an_orthonormal_basis) {
  random_models models{17};
  const subproblem problem =
      models.with_spectrum(models.normals(20), models.normals(20), 1.0);
  const symmetric_eigen eigen = decompose_symmetric(problem.H);
  for (std::size_t i = 0; i < 20; ++i)
    for (std::size_t j = 0; j < 20; ++j) {
      double entry = 0.0;
      double overlap = 0.0;
      for (std::size_t k = 0; k < 20; ++k) {
        entry += eigen.values[k] * eigen.vectors[k][i] * eigen.vectors[k][j];
        overlap += eigen.vectors[i][k] * eigen.vectors[j][k];
      }
      EXPECT_NEAR(entry, problem.H[i][j], 1e-12);
      EXPECT_NEAR(overlap, i == j ? 1.0 : 0.0, 1e-12);
    }
}

}  // namespace
}  // namespace corvane::testing
