// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/warped_linear_regression/warped_linear_regression_type.h"

#include <array>
#include <string>
#include <utility>

#include "python/method_wrapper.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace {

using model_type = warped_linear_regression_bridge;

// Set once, when the module is made.
PyTypeObject* warped_type = nullptr;

// The two tables differ in `make_objective` alone. The interpreter keeps pointers into
// them, and they end with an empty entry.
const PyMethodDef fit_method = make_member_method<&model_type::fit>("fit", "fit the model");
const PyMethodDef make_objective_method = make_member_method<&model_type::make_objective>(
    "make_objective", "make the objective for the model");
const PyMethodDef make_warper_method = make_member_method<&model_type::make_warper>(
    "make_warper", "make a warper for the given parameters");
const PyMethodDef predict_latent_method =
    make_member_method<&model_type::predict_latent_with_stddev>(
        "predict_latent_with_stddev", "make predictions for latent targets");
const PyMethodDef predict_method =
    make_member_method<&model_type::predict>("predict", "make predictions");

auto public_methods = std::array{fit_method, make_warper_method, predict_latent_method,
                                 predict_method, PyMethodDef{}};
auto internal_methods = std::array{fit_method,         make_objective_method,
                                   make_warper_method, predict_latent_method,
                                   predict_method,     PyMethodDef{}};

auto attributes = std::array{
    make_attribute<&model_type::regressors>(
        "regressors", "Return the regressors of the underlying linear model"),
    make_attribute<&model_type::noise_variance>(
        "noise_variance", "Return the noise variance of the underlying linear model"),
    make_attribute<&model_type::warper>("warper", "Return the warper for the model"),
    make_attribute<&model_type::within_tolerance>("within_tolerance",
                                                  "Whether the tolerance was met"),
    PyGetSetDef{}};

}  // namespace

void register_warped_linear_regression_model(const char* module_name,
                                             const python_object& module,
                                             bool public_only) {
  python_type_description description;
  description.name = std::string{module_name} + "._WarpedLinearRegressionModel";
  description.basic_size = sizeof(model_object);
  description.doc = "WarpedLinearRegressionModel";
  description.dealloc = &deallocate_model_object<model_type>;
  description.methods = public_only ? public_methods.data() : internal_methods.data();
  description.getset = attributes.data();
  warped_type = register_python_type(module, "_WarpedLinearRegressionModel", description);
}

PyObject* make_warped_linear_regression_object(
    std::unique_ptr<warped_linear_regression_bridge> model) {
  return make_model_object(warped_type, std::move(model));
}

}  // namespace corvane::python_bridge
