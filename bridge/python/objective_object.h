// SPDX-License-Identifier: BSD-3-Clause
//
// The Python type `_Objective`: evaluates an objective at a point of the caller's choosing.
// It belongs to the internal flavour of the module, where objectives are studied.
#pragma once

#include <memory>
#include <utility>

#include "n_array/n_array.h"
#include "optimization/objective.h"
#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

class objective_handle {
 public:
  objective_handle(std::unique_ptr<second_order_objective> objective, index_t num_variables)
      : objective_{std::move(objective)}, num_variables_{num_variables} {}

  // Each takes one point `x` of `num_variables` entries, and raises RuntimeError where the
  // objective is not defined.
  python_object compute_value(PyObject* arguments, PyObject* keywords);
  python_object compute_gradient(PyObject* arguments, PyObject* keywords);
  python_object compute_hessian(PyObject* arguments, PyObject* keywords);

 private:
  dense_vector parse_point(PyObject* arguments, PyObject* keywords,
                           const char* format) const;

  std::unique_ptr<second_order_objective> objective_;
  index_t num_variables_;
};

void register_objective_type(const python_object& module);

python_object make_objective_object(std::unique_ptr<objective_handle> handle);

}  // namespace corvane::python_bridge
