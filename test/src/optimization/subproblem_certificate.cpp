// SPDX-License-Identifier: BSD-3-Clause
#include "subproblem_certificate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

#include "n_array/n_array.h"
#include "optimization/trust_region_subproblem.h"

namespace corvane::testing {

namespace {

constexpr double sigma = 0.1;
constexpr double rounding = 1e-7;  // of quantities near a singular H + lambda I

double inner(const std::vector<double>& a, const std::vector<double>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

double length(const std::vector<double>& a) { return std::sqrt(inner(a, a)); }

std::vector<double> multiply(const square_rows& H, const std::vector<double>& p) {
  std::vector<double> product;
  for (const std::vector<double>& row : H) product.push_back(inner(row, p));
  return product;
}

// ||p(lambda)|| in the basis of eigenvectors, c the coordinates of g there
double step_length(const symmetric_eigen& eigen, const std::vector<double>& c,
                   double lambda) {
  double sum = 0.0;
  for (std::size_t k = 0; k < c.size(); ++k)
    if (c[k] != 0.0) sum += std::pow(c[k] / (eigen.values[k] + lambda), 2);
  return std::sqrt(sum);
}

// The change of the step for lambda, moved to the boundary along the first eigenvector
// where it ends inside: that is the hard case.
double change_at(const symmetric_eigen& eigen, const std::vector<double>& c, double lambda,
                 double radius) {
  double change = 0.0;
  double squared = 0.0;
  for (std::size_t k = 0; k < c.size(); ++k) {
    const double shifted = eigen.values[k] + lambda;
    if (!(shifted > 0.0)) continue;
    const double p = -c[k] / shifted;
    change += c[k] * p + 0.5 * eigen.values[k] * p * p;
    squared += p * p;
  }
  const double gap = std::max(0.0, radius * radius - squared);
  return lambda > 0.0 ? change + 0.5 * std::min(0.0, eigen.values.front()) * gap : change;
}

}  // namespace

double plain_change(const subproblem& problem, const std::vector<double>& step) {
  return inner(problem.g, step) + 0.5 * inner(step, multiply(problem.H, step));
}

double best_change(const subproblem& problem) {
  if (problem.g.empty()) return 0.0;
  const symmetric_eigen eigen = decompose_symmetric(problem.H);
  std::vector<double> c;
  for (const std::vector<double>& vector : eigen.vectors)
    c.push_back(inner(vector, problem.g));
  // Coordinates at the level of rounding belong to a gradient orthogonal to the
  // eigenvector.
  for (double& entry : c)
    if (std::abs(entry) < 1e-14 * length(problem.g)) entry = 0.0;
  double low = std::max(0.0, -eigen.values.front());
  if (step_length(eigen, c, low) <= problem.radius)
    return change_at(eigen, c, low, problem.radius);
  double high = low + length(problem.g) / problem.radius + 1e-300;
  for (int k = 0; k < 2000 && std::nextafter(low, high) < high; ++k) {
    const double middle = low + 0.5 * (high - low);
    (step_length(eigen, c, middle) > problem.radius ? low : high) = middle;
  }
  return change_at(eigen, c, high, problem.radius);
}

::testing::AssertionResult is_certified(const subproblem& problem,
                                        const subproblem_answer& answer) {
  if (problem.g.empty())
    return answer.change == 0.0 ? ::testing::AssertionSuccess()
                                : ::testing::AssertionFailure() << answer.change;
  const symmetric_eigen eigen = decompose_symmetric(problem.H);
  const double spread = std::max(std::abs(eigen.values.front()), eigen.values.back());
  const double size = length(answer.step);
  const double best = best_change(problem);
  // What the rounding of the eigenvalues makes of a change.
  const double noise =
      1e-12 * (length(problem.g) + spread * problem.radius) * problem.radius;
  const auto failure = [&](const char* what) {
    return ::testing::AssertionFailure()
           << what << ": ||p|| / r = " << size / problem.radius << ", lambda "
           << answer.lambda << ", change " << answer.change << ", best " << best;
  };
  if (!(std::abs(answer.change - plain_change(problem, answer.step)) <= noise))
    return failure("the change told is not that of the step");
  if (!(size <= (1.0 + sigma) * problem.radius * (1.0 + 1e-12)))
    return failure("the step leaves the region");
  if (!(answer.change <= (1.0 - sigma) * (1.0 - sigma) * best + noise))
    return failure("the change is too small");
  if (!(answer.lambda >= 0.0)) return failure("the multiplier is negative");
  if (!(answer.lambda + eigen.values.front() >= -1e-10 * spread))
    return failure("H + lambda I is indefinite");

  std::vector<double> residual = multiply(problem.H, answer.step);
  for (std::size_t i = 0; i < residual.size(); ++i)
    residual[i] += answer.lambda * answer.step[i] + problem.g[i];
  const bool stationary =
      length(residual) <= rounding * (length(problem.g) + (spread + answer.lambda) * size);
  const bool on_boundary = std::abs(size - problem.radius) <= rounding * problem.radius;
  const bool near =
      std::abs(size - problem.radius) <= sigma * problem.radius * (1.0 + 1e-12);
  const bool unshifted = answer.lambda <= 1e-14 * spread;
  if (!on_boundary && !(stationary && (unshifted || near)))
    return failure("neither a solution of the shifted system nor a hard-case step");
  return ::testing::AssertionSuccess();
}

subproblem_answer solve_once(const subproblem& problem) {
  const auto n = static_cast<index_t>(problem.g.size());
  symmetric_matrix H(n, n);
  // What lies above the diagonal must not matter.
  std::fill_n(H.data(), n * n, std::numeric_limits<double>::quiet_NaN());
  for (index_t i = 0; i < n; ++i)
    for (index_t j = i; j < n; ++j)
      H(i, j) = problem.H[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
  const const_vector_view g{problem.g.data(), n};
  subproblem_answer answer;
  answer.step.assign(problem.g.size(), std::numeric_limits<double>::quiet_NaN());
  subproblem_bounds bounds;
  initialize_bounds(bounds, problem.radius, g, H);
  subproblem_solver_impl solver;
  answer.change =
      solver.solve(bounds, g, answer.lambda, problem.radius, H, {answer.step.data(), n});
  return answer;
}

}  // namespace corvane::testing
