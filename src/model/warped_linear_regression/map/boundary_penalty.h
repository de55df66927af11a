// SPDX-License-Identifier: BSD-3-Clause
//
// boundary_penalty: keeps the parameters of a family of warpers bounded. It is
// zero well inside the allowed region, and twice differentiable everywhere but at the
// joints of its pieces.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// The base class is that of a family without a boundary: its operations add nothing.
class boundary_penalty {
 public:
  boundary_penalty() = default;
  boundary_penalty(const boundary_penalty&) = default;
  boundary_penalty& operator=(const boundary_penalty&) = default;
  boundary_penalty(boundary_penalty&&) = default;
  boundary_penalty& operator=(boundary_penalty&&) = default;
  virtual ~boundary_penalty() = default;

  virtual void add_value(const_vector_view theta, double& value) const;
  virtual void add_gradient(const_vector_view theta, vector_view gradient) const;
  // The penalty is a sum over parameters: only the diagonal is touched.
  virtual void add_hessian(const_vector_view theta, symmetric_view hessian) const;
};

}  // namespace corvane

namespace corvane::model::tanh_warper_detail {

// A function of x >= 0: zero below `lower`, a cubic up to `upper`, then a quadratic that
// continues its value and slope. With w the weight and d = upper - lower,
//   P(x) = w (x - lower)^3 / (3 d)                            lower <= x < upper
//   P(x) = w ((x - upper + d) (x - upper) + d^2 / 3)          upper <= x
class smooth_boundary {
 public:
  smooth_boundary(double weight, double lower, double upper);

  double value(double x) const;
  double slope(double x) const;
  double curvature(double x) const;

 private:
  double weight_;
  double lower_;
  double upper_;
  double cubic_factor_;  // 1 / (3 d)
  double width_;         // d
  double offset_;        // d^2 / 3, the value of the cubic at `upper`
};

// Penalizes the heights and the steepnesses of a sum of tanh steps, but not their
// positions. The parameters come in triples (alpha, beta, gamma).
class boundary_penalty final : public corvane::boundary_penalty {
 public:
  void add_value(const_vector_view theta, double& value) const override;
  void add_gradient(const_vector_view theta, vector_view gradient) const override;
  void add_hessian(const_vector_view theta, symmetric_view hessian) const override;

 private:
  smooth_boundary boundary_{1.0, 1000.0, 1010.0};
};

}  // namespace corvane::model::tanh_warper_detail
