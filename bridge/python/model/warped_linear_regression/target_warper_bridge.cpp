// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/warped_linear_regression/target_warper_bridge.h"

#include <array>

#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/model_checks.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

// A target that is not finite has a latent that is not finite either; there is nothing that
// could fail, and so no translation of failures here.
python_object target_warper_bridge::compute_latent(PyObject* arguments,
                                                   PyObject* keywords) const {
  const python_object object =
      parse_object(arguments, keywords, "O:compute_latent", "target");
  const dense_vector target = to_double_vector(object.get());
  dense_vector latent = allocate_vector(target.size());
  warper_->compute_latent(target, latent);
  return to_numpy_vector(latent);
}

python_object target_warper_bridge::compute_latent_with_derivative(
    PyObject* arguments, PyObject* keywords) const {
  const python_object object =
      parse_object(arguments, keywords, "O:compute_latent_with_derivative", "target");
  const dense_vector target = to_double_vector(object.get());
  dense_vector latent = allocate_vector(target.size());
  dense_vector derivative = allocate_vector(target.size());
  warper_->compute_latent_with_derivative(target, latent, derivative);
  return to_numpy_vectors(latent, derivative);
}

python_object target_warper_bridge::invert(PyObject* arguments, PyObject* keywords) const {
  PyObject* borrowed = nullptr;
  double tolerance = 1e-05;
  // A parse error shows the name compute_latent.
  if (!try_parse_arguments(arguments, keywords, "O|d:compute_latent",
                           std::array{"latent", "tolerance"}, &borrowed, &tolerance))
    throw python_error{};
  const python_object object = python_object::share(borrowed);
  // Before the conversion: a bad tolerance is reported whatever the latents are.
  if (!check_tolerance(tolerance)) throw python_error{};
  const dense_vector latent = to_double_vector(object.get());
  dense_vector target = allocate_vector(latent.size());
  // Its failures would end the process if they left this member.
  with_core_error([&] { warper_->invert(latent, target, tolerance); });
  return to_numpy_vector(target);
}

python_object target_warper_bridge::parameters() const {
  return to_numpy_vector(warper_->parameters());
}

}  // namespace corvane::python_bridge
