// SPDX-License-Identifier: BSD-3-Clause
//
// The sums that the objective is made of, where nodes replace targets, against the same
// over the targets one by one, in long double and with 1 - tanh^2 = 1 / cosh^2, which keeps
// its digits.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "common/linear_algebra.h"
#include "model/warped_linear_regression/likelihood/residual_moments.h"
#include "model/warped_linear_regression/map/tanh_target_warper_descriptor.h"
#include "src/model/warped_linear_regression/warped_test_data.h"

namespace corvane::model {
namespace {

using warped_testing::normal_matrix;
using warped_testing::normal_vector;
using warped_testing::view;

using extended = long double;

// Complements of tangents below 1e-259 are taken for zero.
constexpr double underflow = 1e-240;
using column = std::vector<extended>;

extended product(const column& a, const column& b) {
  extended sum = 0.0L;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

void subtract(column& a, extended factor, const column& b) {
  for (std::size_t i = 0; i < a.size(); ++i) a[i] -= factor * b[i];
}

// Orthonormal columns, by Gram-Schmidt, each twice.
std::vector<column> orthonormal(const dense_matrix& X) {
  std::vector<column> basis;
  for (index_t j = 0; j < X.cols(); ++j) {
    const const_vector_view from = X.view().column(j);
    column next(from.begin(), from.end());
    for (int pass = 0; pass < 2; ++pass)
      for (const column& other : basis) subtract(next, product(other, next), other);
    const extended length = std::sqrt(product(next, next));
    for (extended& entry : next) entry /= length;
    basis.push_back(std::move(next));
  }
  return basis;
}

column residual(const std::vector<column>& basis, column of) {
  for (int pass = 0; pass < 2; ++pass)
    for (const column& other : basis) subtract(of, product(other, of), other);
  return of;
}

// tanh up to a constant: where all arguments have one sign, the difference from 1 or from
// -1.
column distinct_tangents(const column& w) {
  const auto [smallest, largest] = std::minmax_element(w.begin(), w.end());
  const bool one_side = *smallest > 0.0L || *largest < 0.0L;
  column t;
  for (const extended entry : w)
    t.push_back(
        one_side ? std::copysign(2.0L / (1.0L + std::exp(2.0L * std::abs(entry))), -entry)
                 : std::tanh(entry));
  return t;
}

// raw less its mean, times a factor.
column deviation(column raw, extended factor) {
  extended mean = 0.0L;
  for (const extended entry : raw) mean += entry / static_cast<extended>(raw.size());
  for (extended& entry : raw) entry = factor * (entry - mean);
  return raw;
}

// The derivatives of one step at all targets, in alpha, beta, gamma.
struct step_columns {
  column t;                        // but for a constant
  std::array<column, 3> z;         // of the latent
  std::array<column, 6> zz;        // its second ones, packed
  column d;                        // of dz/dy: the step's part
  std::array<column, 3> d_first;   // derivatives of it
  std::array<column, 6> d_second;  // packed
};

step_columns evaluate_step(const double* triple, const std::vector<double>& y) {
  const auto A = static_cast<extended>(triple[0]);
  const auto B = static_cast<extended>(triple[1]);
  const extended a = A * A;
  const extended b = B * B;
  step_columns out;
  column w;
  column us;
  column s;
  column bb;
  column bg;
  column ts;
  for (const double target : y) {
    const extended u = static_cast<extended>(target) + static_cast<extended>(triple[2]);
    const extended t = std::tanh(b * u);
    const extended cosine = std::cosh(std::min(std::abs(b * u), 5000.0L));
    const extended c = 1.0L / (cosine * cosine);
    w.push_back(b * u);
    us.push_back(u * c);
    s.push_back(c);
    bb.push_back(u * c - 4.0L * b * u * u * t * c);
    bg.push_back(c - 2.0L * b * u * t * c);
    ts.push_back(t * c);
    // dz/dy has the part a b c; with w = b u, dc/dw = -2 t c and d2c/dw2 = 4 t^2 c - 2 c^2.
    const extended first = -2.0L * t * c;
    const extended second = 4.0L * t * t * c - 2.0L * c * c;
    out.d.push_back(a * b * c);
    out.d_first[0].push_back(2.0L * A * b * c);
    out.d_first[1].push_back(a * (2.0L * B * c + b * first * 2.0L * B * u));
    out.d_first[2].push_back(a * b * b * first);
    out.d_second[0].push_back(2.0L * b * c);
    out.d_second[1].push_back(2.0L * A * (2.0L * B * c + b * first * 2.0L * B * u));
    out.d_second[2].push_back(2.0L * A * b * b * first);
    out.d_second[3].push_back(
        a * (2.0L * c + 10.0L * b * first * u + 4.0L * b * b * second * u * u));
    out.d_second[4].push_back(a * (4.0L * B * b * first + 2.0L * B * b * b * second * u));
    out.d_second[5].push_back(a * b * b * b * second);
  }
  out.t = distinct_tangents(w);
  out.z = {deviation(out.t, 2.0L * A), deviation(us, 2.0L * a * B), deviation(s, a * b)};
  out.zz = {deviation(out.t, 2.0L),      deviation(us, 4.0L * A * B),
            deviation(s, 2.0L * A * b),  deviation(bb, 2.0L * a),
            deviation(bg, 2.0L * a * B), deviation(ts, -2.0L * a * b * b)};
  return out;
}

class plain_sums {
 public:
  plain_sums(const std::vector<double>& theta, const std::vector<double>& y,
             const std::vector<column>& basis) {
    column z(y.begin(), y.end());
    slope_.assign(y.size(), 1.0L);
    for (std::size_t k = 0; k < theta.size(); k += 3) {
      steps_.push_back(evaluate_step(theta.data() + k, y));
      const column added = deviation(steps_.back().t, static_cast<extended>(theta[k]) *
                                                          static_cast<extended>(theta[k]));
      for (std::size_t i = 0; i < y.size(); ++i) {
        z[i] += added[i];
        slope_[i] += steps_.back().d[i];
      }
    }
    z_ = residual(basis, z);
    for (const step_columns& step : steps_) {
      for (const column& entry : step.z) gradient_.push_back(residual(basis, entry));
      for (const column& entry : step.zz) curvature_.push_back(entry);
    }
  }

  // Sums of products are compared relative to the lengths of the columns, those of the log
  // Jacobian relative to the sum of its absolute terms.
  void expect_near(const residual_moments& moments, double tolerance) const {
    const auto close = [&](double value, const column& a, const column& b) {
      const extended size = std::sqrt(product(a, a) * product(b, b));
      EXPECT_NEAR(value, static_cast<double>(product(a, b)),
                  tolerance * static_cast<double>(size) + underflow);
    };
    close(moments.sum_of_squares, z_, z_);
    for (std::size_t j = 0; j < gradient_.size(); ++j) {
      close(moments.slope[static_cast<index_t>(j)], gradient_[j], z_);
      for (std::size_t i = j; i < gradient_.size(); ++i)
        close(moments.gram(static_cast<index_t>(i), static_cast<index_t>(j)), gradient_[i],
              gradient_[j]);
    }
    for (std::size_t pair = 0; pair < curvature_.size(); ++pair)
      close(moments.curvature[static_cast<index_t>(pair)], curvature_[pair], z_);
    expect_near_log_jacobian(moments, tolerance);
  }

 private:
  template <class Term>
  void expect_sum(double value, double tolerance, const Term& term) const {
    extended sum = 0.0L;
    extended size = 0.0L;
    for (std::size_t i = 0; i < slope_.size(); ++i) {
      sum += term(i);
      size += std::abs(term(i));
    }
    EXPECT_NEAR(value, static_cast<double>(sum),
                tolerance * static_cast<double>(size) + underflow);
  }

  const column& first(std::size_t j) const { return steps_[j / 3].d_first[j % 3]; }

  // d log d = d' / d, d2 log d = d'' / d - (d' / d)(d' / d)'
  void expect_near_log_jacobian(const residual_moments& moments, double tolerance) const {
    expect_sum(moments.log_jacobian, tolerance,
               [&](std::size_t i) { return std::log(slope_[i]); });
    for (std::size_t j = 0; j < gradient_.size(); ++j) {
      expect_sum(moments.log_jacobian_gradient[static_cast<index_t>(j)], tolerance,
                 [&](std::size_t i) { return first(j)[i] / slope_[i]; });
      for (std::size_t k = j; k < gradient_.size(); ++k)
        expect_sum(
            moments.log_jacobian_hessian(static_cast<index_t>(k), static_cast<index_t>(j)),
            tolerance, [&](std::size_t i) {
              const extended outer = first(j)[i] / slope_[i] * (first(k)[i] / slope_[i]);
              return second(j, k, i) / slope_[i] - outer;
            });
    }
  }

  extended second(std::size_t j, std::size_t k, std::size_t i) const {
    if (j / 3 != k / 3) return 0.0L;
    constexpr std::array<std::array<std::size_t, 3>, 3> packed{
        {{0, 1, 2}, {1, 3, 4}, {2, 4, 5}}};
    return steps_[j / 3].d_second[packed[j % 3][k % 3]][i];
  }

  std::vector<step_columns> steps_;
  column slope_;                  // d
  column z_;                      // its residual
  std::vector<column> gradient_;  // theirs
  std::vector<column> curvature_;
};

// Maps over which cells of targets are smooth, others not, and some no more than saturated:
// gentle, steep, steeper than targets are close, high and at the edge, two steps of one
// steepness that bring the zeros of the slope as near to the real axis as they come, many.
const std::vector<std::vector<double>> thetas{
    {},
    {0.7, 1.2, 0.3},
    {1.5, 7.0, -0.4},
    {0.3, 100.0, 0.1},
    {121.5, 2.0, 4.0},
    {5.0, 3.0, 0.4, 5.0, 3.0, -0.4},
    {0.9, 12.0, 1.0, -2.0, 1.5, 0.2, 3.0, 0.2, 0.0, 0.4, 90.0, -0.7}};

// The distance of the nearest target from the step that is farthest from all of them, in
// units of 1 / b. What a step contributes falls like exp(-2 b |y + c|).
double farthest_step(const std::vector<double>& theta, const std::vector<double>& y) {
  double farthest = 0.0;
  for (std::size_t k = 0; k < theta.size(); k += 3) {
    const auto distance = [&](double target) {
      return theta[k + 1] * theta[k + 1] * std::abs(target + theta[k + 2]);
    };
    const auto nearest = std::min_element(
        y.begin(), y.end(), [&](double a, double b) { return distance(a) < distance(b); });
    farthest = std::max(farthest, distance(*nearest));
  }
  return farthest;
}

residual_moments sum_moments(const std::vector<double>& theta,
                             const projected_targets& targets) {
  const auto m = static_cast<index_t>(theta.size());
  residual_moments moments{m, 2 * m};
  make_tanh_target_warper_descriptor(m / 3)->compute_residual_moments(view(theta), targets,
                                                                      moments);
  return moments;
}

projected_targets project(const std::vector<double>& y, const std::vector<column>& basis) {
  dense_matrix rows(static_cast<index_t>(y.size()), 1 + static_cast<index_t>(basis.size()));
  fill(matrix_block{rows}.part_columns(0, 1), 1.0);
  for (std::size_t j = 0; j < basis.size(); ++j)
    std::transform(basis[j].begin(), basis[j].end(),
                   rows.view().column(static_cast<index_t>(1 + j)).begin(),
                   [](extended entry) { return static_cast<double>(entry); });
  return {view(y), std::move(rows)};
}

std::vector<column> draw_basis(const std::vector<double>& y) {
  return orthonormal(normal_matrix(static_cast<index_t>(y.size()), 3, 11));
}

// For the maps all of whose steps are felt by a target, `num_maps` at least.
void expect_plain_sums(const std::vector<double>& y, int num_maps) {
  const std::vector<column> basis = draw_basis(y);
  const projected_targets targets = project(y, basis);
  int tested = 0;
  for (const auto& theta : thetas) {
    if (farthest_step(theta, y) > 10.0) continue;
    SCOPED_TRACE(theta.empty() ? 0.0 : theta[1]);
    plain_sums{theta, y, basis}.expect_near(sum_moments(theta, targets), 1e-12);
    ++tested;
  }
  EXPECT_GE(tested, num_maps);
}

TEST(moments_at_nodes, are_the_plain_sums_however_many_targets_there_are) {
  for (const index_t n : {71, 72, 144, 1000, 20000})
    expect_plain_sums(normal_vector(n, 12), 5);
}

TEST(moments_at_nodes, are_the_plain_sums_of_targets_that_are_equal_in_groups) {
  auto y = normal_vector(5000, 13);
  for (double& entry : y) entry = std::round(4.0 * entry) / 4.0;
  expect_plain_sums(y, 5);
}

TEST(moments_at_nodes, are_the_plain_sums_of_clusters_and_of_targets_far_from_all_others) {
  auto y = normal_vector(5000, 14);
  for (std::size_t i = 0; i < y.size(); ++i) y[i] = 0.01 * y[i] + (i % 3 == 0 ? 1.0 : -0.4);
  y[7] = 1e3;
  y[8] = -500.0;
  expect_plain_sums(y, 3);
}

TEST(moments_at_nodes, are_the_plain_sums_of_a_long_tail) {
  auto y = normal_vector(5000, 15);
  for (double& entry : y) entry = 0.2 * std::exp(1.5 * entry);
  expect_plain_sums(y, 4);
}

TEST(moments_at_nodes, a_step_that_is_saturated_at_all_targets_adds_nothing) {
  const auto y = normal_vector(5000, 16);
  const projected_targets targets = project(y, draw_basis(y));
  const std::vector<double> theta{0.7, 1.2, 0.3, 20.0, 3.0, 40.0};
  const residual_moments without = sum_moments({0.7, 1.2, 0.3}, targets);
  const residual_moments moments = sum_moments(theta, targets);
  EXPECT_NEAR(moments.sum_of_squares, without.sum_of_squares,
              1e-12 * without.sum_of_squares);
  EXPECT_NEAR(moments.log_jacobian, without.log_jacobian, 1e-12 * without.log_jacobian);
  for (index_t j = 3; j < 6; ++j) {
    EXPECT_NEAR(moments.slope[j], 0.0, 1e-15);
    EXPECT_NEAR(moments.gram(j, j), 0.0, 1e-15);
    EXPECT_NEAR(moments.log_jacobian_gradient[j], 0.0, 1e-15);
    EXPECT_NEAR(moments.log_jacobian_hessian(j, j), 0.0, 1e-15);
  }
}

}  // namespace
}  // namespace corvane::model
