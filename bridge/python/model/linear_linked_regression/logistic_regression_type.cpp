// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/linear_linked_regression/logistic_regression_type.h"

#include <array>
#include <string>
#include <utility>

#include "n_array/panic.h"
#include "python/method_wrapper.h"
#include "python/python_error.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace {

using model_type = logistic_regression_model;

// Set once, when the module is made.
PyTypeObject* logistic_type = nullptr;

// The two tables differ in `make_objective` alone. The interpreter keeps pointers into
// them, and they end with an empty entry.
const PyMethodDef fit_method = make_member_method<&model_type::fit>("fit", "fit the model");
const PyMethodDef predict_proba_method =
    make_member_method<&model_type::predict_proba>("predict_proba", "make predictions");
const PyMethodDef predict_method =
    make_member_method<&model_type::predict>("predict", "make predictions");
const PyMethodDef make_objective_method = make_member_method<&model_type::make_objective>(
    "make_objective", "return the optimization objective");

auto public_methods =
    std::array{fit_method, predict_proba_method, predict_method, PyMethodDef{}};
auto internal_methods = std::array{fit_method, predict_proba_method, predict_method,
                                   make_objective_method, PyMethodDef{}};

// Read only: their setters are null.
auto attributes =
    std::array{make_attribute<&model_type::weights>("weights", "Return the weight vector"),
               make_attribute<&model_type::hyperparameters>(
                   "hyperparameters", "Return the regularization vector"),
               make_attribute<&model_type::within_tolerance>(
                   "within_tolerance", "Whether the tolerance was met"),
               PyGetSetDef{}};

}  // namespace

void register_logistic_regression_model(const char* module_name,
                                        const python_object& module, bool public_only) {
  python_type_description description;
  description.name = std::string{module_name} + "._LogisticRegressionModel";
  description.basic_size = sizeof(model_object);
  // The underscore, which other models do not have, stays: callers may compare this.
  description.doc = "_LogisticRegressionModel";
  description.dealloc = &deallocate_model_object<model_type>;
  description.methods = public_only ? public_methods.data() : internal_methods.data();
  description.getset = attributes.data();
  try {
    logistic_type = register_python_type(module, "_LogisticRegressionModel", description);
  } catch (const python_error&) {
    panic("failed to create _LogisticRegressionModel", __LINE__,
          "bridge/python/model/linear_linked_regression/logistic_regression_type");
  }
}

PyObject* make_logistic_regression_object(
    std::unique_ptr<logistic_regression_model> model) {
  return make_model_object(logistic_type, std::move(model));
}

}  // namespace corvane::python_bridge
