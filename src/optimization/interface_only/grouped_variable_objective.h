// SPDX-License-Identifier: BSD-3-Clause
//
// grouped_variable_objective: ties several parameters of an objective to one variable.
//
// With k variables x and m parameters p, p_i = x[map_i], and by the chain rule
//   dF/dx_g         = sum over i in g of dF/dp_i
//   d2F/dx_g dx_h   = sum over i in g, j in h of d2F/dp_i dp_j
// The sums are compensated: a group can gather many terms of different size, and the
// precision of the reduced gradient limits the stopping test. The groups may stand in any
// order in the map.
#pragma once

#include <memory>

#include "n_array/n_array.h"
#include "optimization/objective.h"

namespace corvane {

class grouped_variable_objective final : public second_order_objective {
 public:
  // Entry i of `variable_map` is the variable, from 0 on, that determines parameter i.
  grouped_variable_objective(index_vector&& variable_map,
                             std::shared_ptr<second_order_objective>&& objective);

  index_t num_parameters() const { return variable_map_.size(); }
  void expand(const_vector_view x, vector_view parameters) const;

  bool compute_value(const_vector_view x, double& value) override;
  bool compute_gradient(const_vector_view x, vector_view gradient) override;
  bool compute_value_gradient(const_vector_view x, double& value,
                              vector_view gradient) override;
  bool compute_hessian(const_vector_view x, symmetric_view hessian) override;
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) override;
  bool compute_value_gradient_hessian(const_vector_view x, double& value,
                                      vector_view gradient,
                                      symmetric_view hessian) override;
  void prepare_value(const_vector_view x) override;

 private:
  void reduce_gradient(const_vector_view full, vector_view gradient) const;
  void reduce_hessian(const_symmetric_view full, symmetric_view hessian) const;

  index_vector variable_map_;
  std::shared_ptr<second_order_objective> objective_;
};

}  // namespace corvane
