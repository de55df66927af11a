// SPDX-License-Identifier: BSD-3-Clause
//
// What the optimizer minimizes. The compute operations return false where the objective is
// undefined, which the optimizer handles; outputs are then unspecified. begin_iteration may
// throw an optimizer_error, and any operation what an interruption throws.
//
// The optimizer calls, in this order, and an objective may cache by it:
//   1. compute_value_gradient_hessian, once, at the start point;
//   2. in each iteration begin_iteration, then adjust_point, at the current point;
//   3. for each trial point prepare_value, then compute_value;
//   4. compute_gradient_hessian at the accepted point, which is the last trial point;
//   5. accept_convergence, only when the numeric stopping test has passed.
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

class first_order_objective {
 public:
  first_order_objective() = default;
  first_order_objective(const first_order_objective&) = delete;
  first_order_objective& operator=(const first_order_objective&) = delete;
  first_order_objective(first_order_objective&&) = delete;
  first_order_objective& operator=(first_order_objective&&) = delete;
  virtual ~first_order_objective() = default;

  virtual bool compute_value(const_vector_view x, double& value) = 0;
  virtual bool compute_gradient(const_vector_view x, vector_view gradient) = 0;
  virtual bool compute_value_gradient(const_vector_view x, double& value,
                                      vector_view gradient);

  // Hooks just before compute_value at a trial point; the second one is called in place of
  // the first when x determines the parameters by a map of variables.
  virtual void prepare_value(const_vector_view x);
  virtual void prepare_grouped_value(const_index_view variable_map, const_vector_view x);
};

class second_order_objective : public first_order_objective {
 public:
  // Called at the start of each iteration with the accepted point.
  virtual void begin_iteration(const_vector_view x, double value,
                               const_vector_view gradient, const_symmetric_view hessian);

  virtual bool compute_hessian(const_vector_view x, symmetric_view hessian) = 0;
  virtual bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                        symmetric_view hessian);
  virtual bool compute_value_gradient_hessian(const_vector_view x, double& value,
                                              vector_view gradient, symmetric_view hessian);

  // May rewrite all four arguments in place. The optimizer does not look at the result.
  virtual bool adjust_point(vector_view x, double& value, vector_view gradient,
                            symmetric_view hessian);

  // False makes the optimizer go on although its stopping test has passed.
  virtual bool accept_convergence(const_vector_view x, double value,
                                  const_vector_view gradient, const_symmetric_view hessian);
};

// For objectives that compute gradient and Hessian together, in compute_gradient_hessian
// alone.
class optimization_objective_helper : public second_order_objective {
 public:
  bool compute_gradient(const_vector_view x, vector_view gradient) override;
  bool compute_hessian(const_vector_view x, symmetric_view hessian) override;
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) override = 0;
};

}  // namespace corvane
