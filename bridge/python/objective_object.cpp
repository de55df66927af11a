// SPDX-License-Identifier: BSD-3-Clause
#include "python/objective_object.h"

#include <array>

#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/method_wrapper.h"
#include "python/python_error.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace {

// The only global state of a module is its types.
PyTypeObject* objective_type = nullptr;  // set once, when the module is made

auto methods = std::array{
    make_member_method<&objective_handle::compute_value>(
        "compute_value", "compute the value of an objective at a given point"),
    make_member_method<&objective_handle::compute_gradient>(
        "compute_gradient", "compute the gradient of an objective at a given point"),
    make_member_method<&objective_handle::compute_hessian>(
        "compute_hessian", "compute the hessian of an objective at a given point"),
    PyMethodDef{}};

}  // namespace

dense_vector objective_handle::parse_point(PyObject* arguments, PyObject* keywords,
                                           const char* format) const {
  const python_object x = parse_object(arguments, keywords, format, "x");
  dense_vector point = to_double_vector(x.get());
  if (point.size() != num_variables_)
    raise_error(PyExc_RuntimeError, "dimensionality error");
  return point;
}

python_object objective_handle::compute_value(PyObject* arguments, PyObject* keywords) {
  const dense_vector point = parse_point(arguments, keywords, "O:compute_value");
  double value = 0.0;
  if (!objective_->compute_value(point, value))
    raise_error(PyExc_RuntimeError, "value not defined");
  return python_object{PyFloat_FromDouble(value)};
}

// Gradient and Hessian alone are pure in the interface: an objective that computes them
// only together has them from optimization_objective_helper, which takes the scratch.
python_object objective_handle::compute_gradient(PyObject* arguments, PyObject* keywords) {
  const dense_vector point = parse_point(arguments, keywords, "O:compute_gradient");
  dense_vector gradient = allocate_vector(num_variables_);
  if (!objective_->compute_gradient(point, gradient))
    raise_error(PyExc_RuntimeError, "gradient not defined");
  return to_numpy_vector(gradient);
}

python_object objective_handle::compute_hessian(PyObject* arguments, PyObject* keywords) {
  const dense_vector point = parse_point(arguments, keywords, "O:compute_hessian");
  auto hessian = with_memory_error(
      [this] { return symmetric_matrix(num_variables_, num_variables_); });
  if (!objective_->compute_hessian(point, hessian))
    raise_error(PyExc_RuntimeError, "hessian not defined");
  return to_numpy_matrix(hessian);
}

// The name is fixed: the type is the same in every module that offers it.
void register_objective_type(const python_object& module) {
  python_type_description description;
  description.name = "corvane._Objective";
  description.basic_size = sizeof(model_object);
  description.doc = "_Objective";
  description.dealloc = &deallocate_model_object<objective_handle>;
  description.methods = methods.data();
  objective_type = register_python_type(module, "_Objective", description);
}

python_object make_objective_object(std::unique_ptr<objective_handle> handle) {
  return python_object{make_model_object(objective_type, std::move(handle))};
}

}  // namespace corvane::python_bridge
