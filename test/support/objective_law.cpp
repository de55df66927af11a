// SPDX-License-Identifier: BSD-3-Clause
#include "support/objective_law.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "n_array/n_array.h"
#include "support/step_ladder.h"

namespace corvane::testing {

namespace {

using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;

struct derivatives {
  double value = 0.0;
  dense_vector gradient;
  symmetric_matrix hessian;
};

// What the single operations say at x; nothing where one of them is undefined.
std::optional<derivatives> evaluate(second_order_objective& objective,
                                    const std::vector<double>& x) {
  const auto n = static_cast<index_t>(x.size());
  const const_vector_view point{x.data(), n};
  derivatives at{0.0, dense_vector(n), symmetric_matrix(n, n)};
  if (!objective.compute_value(point, at.value)) return {};
  if (!objective.compute_gradient(point, at.gradient)) return {};
  if (!objective.compute_hessian(point, at.hessian)) return {};
  return at;
}

// The evaluations at x + h e_j and x - h e_j for each rung h of entry j.
struct ladder_point {
  double step;
  derivatives above;
  derivatives below;
};

std::vector<ladder_point> climb(second_order_objective& objective,
                                const std::vector<double>& x, std::size_t j,
                                const law_options& options) {
  std::vector<ladder_point> points;
  double step = std::max(options.first_step * std::abs(x[j]), options.smallest_step);
  if (step == 0.0) step = options.first_step;
  for (int k = 0; k < options.rungs; ++k, step *= 0.5) {
    std::vector<double> moved = x;
    moved[j] = x[j] + step;
    auto above = evaluate(objective, moved);
    moved[j] = x[j] - step;
    auto below = evaluate(objective, moved);
    if (above && below) points.push_back({step, std::move(*above), std::move(*below)});
  }
  return points;
}

double largest_magnitude(const dense_vector& values) {
  double largest = 0.0;
  for (const double value : values) largest = std::max(largest, std::abs(value));
  return largest;
}

AssertionResult gradient_entry_holds(const std::vector<ladder_point>& points,
                                     double claimed, const law_options& options) {
  std::vector<rung> ladder;
  for (const ladder_point& p : points) {
    const double difference = (p.above.value - p.below.value) / (2.0 * p.step);
    const double size = std::max(std::abs(p.above.value), std::abs(p.below.value));
    ladder.push_back({p.step, std::abs(difference - claimed),
                      options.value_noise * size / p.step + 1e-15 * std::abs(claimed)});
  }
  const AssertionResult result = falls_as_square_of_step(ladder);
  if (result) return result;
  return AssertionFailure() << "claimed " << claimed << "; " << result.message();
}

AssertionResult hessian_entry_holds(const std::vector<ladder_point>& points, index_t i,
                                    double claimed, const law_options& options) {
  std::vector<rung> ladder;
  for (const ladder_point& p : points) {
    const double difference = (p.above.gradient[i] - p.below.gradient[i]) / (2.0 * p.step);
    const double size =
        std::max(largest_magnitude(p.above.gradient), largest_magnitude(p.below.gradient));
    ladder.push_back({p.step, std::abs(difference - claimed),
                      options.gradient_noise * size / p.step + 1e-15 * std::abs(claimed)});
  }
  const AssertionResult result = falls_as_square_of_step(ladder);
  if (result) return result;
  return AssertionFailure() << "claimed " << claimed << "; " << result.message();
}

bool nearly_equal(double a, double b, double scale) {
  return std::abs(a - b) <= 1e-12 * scale || a == b;
}

AssertionResult agrees(const char* operation, const derivatives& single,
                       const double* value, const dense_vector* gradient,
                       const symmetric_matrix* hessian) {
  if (value != nullptr && !nearly_equal(*value, single.value, std::abs(single.value)))
    return AssertionFailure() << operation << " gives the value " << *value
                              << " and compute_value " << single.value;
  const double gradient_scale = largest_magnitude(single.gradient);
  for (index_t i = 0; gradient != nullptr && i < gradient->size(); ++i)
    if (!nearly_equal((*gradient)[i], single.gradient[i], gradient_scale))
      return AssertionFailure() << operation << " and compute_gradient differ at " << i;
  double hessian_scale = 0.0;
  for (index_t j = 0; j < single.hessian.cols(); ++j)
    for (index_t i = j; i < single.hessian.rows(); ++i)
      hessian_scale = std::max(hessian_scale, std::abs(single.hessian(i, j)));
  for (index_t j = 0; hessian != nullptr && j < hessian->cols(); ++j)
    for (index_t i = j; i < hessian->rows(); ++i)
      if (!nearly_equal((*hessian)(i, j), single.hessian(i, j), hessian_scale))
        return AssertionFailure()
               << operation << " and compute_hessian differ at (" << i << ", " << j << ")";
  return AssertionSuccess();
}

AssertionResult combined_operations_agree(second_order_objective& objective,
                                          const std::vector<double>& x,
                                          const derivatives& single) {
  const auto n = static_cast<index_t>(x.size());
  const const_vector_view point{x.data(), n};
  double value = 0.0;
  dense_vector gradient(n);
  symmetric_matrix hessian(n, n);
  if (!objective.compute_value_gradient(point, value, gradient))
    return AssertionFailure() << "compute_value_gradient is undefined";
  if (auto ok = agrees("compute_value_gradient", single, &value, &gradient, nullptr); !ok)
    return ok;
  if (!objective.compute_gradient_hessian(point, gradient, hessian))
    return AssertionFailure() << "compute_gradient_hessian is undefined";
  if (auto ok = agrees("compute_gradient_hessian", single, nullptr, &gradient, &hessian);
      !ok)
    return ok;
  if (!objective.compute_value_gradient_hessian(point, value, gradient, hessian))
    return AssertionFailure() << "compute_value_gradient_hessian is undefined";
  return agrees("compute_value_gradient_hessian", single, &value, &gradient, &hessian);
}

}  // namespace

AssertionResult obeys_objective_law(second_order_objective& objective,
                                    const std::vector<double>& x,
                                    const law_options& options) {
  const auto here = evaluate(objective, x);
  if (!here) return AssertionFailure() << "the objective is undefined at the point";
  const auto n = static_cast<index_t>(x.size());
  for (index_t j = 0; j < n; ++j) {
    const auto points = climb(objective, x, static_cast<std::size_t>(j), options);
    if (points.size() < 4)
      return AssertionFailure() << "the objective is undefined around entry " << j;
    if (auto ok = gradient_entry_holds(points, here->gradient[j], options); !ok)
      return AssertionFailure() << "gradient entry " << j << ": " << ok.message();
    for (index_t i = 0; i < n; ++i)
      if (auto ok = hessian_entry_holds(points, i, here->hessian(i, j), options); !ok)
        return AssertionFailure()
               << "hessian entry (" << i << ", " << j << "): " << ok.message();
  }
  return combined_operations_agree(objective, x, *here);
}

}  // namespace corvane::testing
