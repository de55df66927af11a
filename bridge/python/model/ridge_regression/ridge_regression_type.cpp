// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/ridge_regression/ridge_regression_type.h"

#include <array>
#include <string>
#include <utility>

#include "python/method_wrapper.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace {

using model_type = ridge_regression_bridge;

// Set once, when the module is made.
PyTypeObject* ridge_type = nullptr;

// The two tables differ in `make_objective` alone. The interpreter keeps pointers into
// them, and they end with an empty entry.
const PyMethodDef fit_method = make_member_method<&model_type::fit>("fit", "fit the model");
const PyMethodDef predict_method =
    make_member_method<&model_type::predict>("predict", "make predictions");
const PyMethodDef make_objective_method = make_member_method<&model_type::make_objective>(
    "make_objective", "return the optimization objective");

auto public_methods = std::array{fit_method, predict_method, PyMethodDef{}};
auto internal_methods =
    std::array{fit_method, predict_method, make_objective_method, PyMethodDef{}};

auto attributes =
    std::array{make_attribute<&model_type::weights>("weights", "Return the weight vector"),
               make_attribute<&model_type::regularization>(
                   "regularization", "Return the regularization vector"),
               make_attribute<&model_type::regularization_groups>(
                   "regularization_groups", "Return the regularization groups"),
               make_attribute<&model_type::score>(
                   "score", "Return the score that used to fit the model"),
               make_attribute<&model_type::within_tolerance>(
                   "within_tolerance", "Whether the tolerance was met"),
               PyGetSetDef{}};

}  // namespace

void register_ridge_regression_model(const char* module_name, const python_object& module,
                                     bool public_only) {
  python_type_description description;
  description.name = std::string{module_name} + "._RidgeRegressionModel";
  description.basic_size = sizeof(model_object);
  description.doc = "RidgeRegressionModel";
  description.dealloc = &deallocate_model_object<model_type>;
  description.methods = public_only ? public_methods.data() : internal_methods.data();
  description.getset = attributes.data();
  ridge_type = register_python_type(module, "_RidgeRegressionModel", description);
}

PyObject* make_ridge_regression_object(std::unique_ptr<ridge_regression_bridge> model) {
  return make_model_object(ridge_type, std::move(model));
}

}  // namespace corvane::python_bridge
