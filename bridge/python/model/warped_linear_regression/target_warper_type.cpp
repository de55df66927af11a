// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/warped_linear_regression/target_warper_type.h"

#include <array>
#include <string>
#include <utility>

#include "python/method_wrapper.h"
#include "python/python_error.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace {

using handle_type = target_warper_bridge;

// Set once, when the module is made.
PyTypeObject* target_warper_type = nullptr;

// The interpreter keeps pointers into the tables, which end with an empty entry.
auto methods = std::array{
    make_member_method<&handle_type::compute_latent>(
        "compute_latent", "compute the latent values corresponding to given target values"),
    make_member_method<&handle_type::compute_latent_with_derivative>(
        "compute_latent_with_derivative",
        "compute the latent values corresponding to given target values with their "
        "derivatives"),
    make_member_method<&handle_type::invert>(
        "invert", "compute the target vector that warps to the given latents"),
    PyMethodDef{}};

auto attributes = std::array{
    make_attribute<&handle_type::parameters>(
        "parameters", "Return the parameters for the warping of the target space"),
    PyGetSetDef{}};

}  // namespace

void register_target_warper(const char* module_name, const python_object& module) {
  python_type_description description;
  description.name = std::string{module_name} + "._TargetWarper";
  description.basic_size = sizeof(model_object);
  description.doc = "TargetWarper";
  description.dealloc = &deallocate_model_object<handle_type>;
  description.methods = methods.data();
  description.getset = attributes.data();
  // One table of methods: this type has no internal methods.
  target_warper_type = register_python_type(module, "_TargetWarper", description);
}

// The shared pointer makes the handle independent of the model.
python_object make_target_warper_object(
    std::shared_ptr<const model::target_warper> warper) {
  auto handle =
      with_memory_error([&] { return std::make_unique<handle_type>(std::move(warper)); });
  return python_object{make_model_object(target_warper_type, std::move(handle))};
}

}  // namespace corvane::python_bridge
