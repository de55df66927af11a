// SPDX-License-Identifier: BSD-3-Clause
//
// target_warper_bridge: a handle on one map from targets to latent values, with the members
// that Python calls. The map is immutable and shared: it outlives the model it came from.
#pragma once

#include <memory>
#include <utility>

#include "model/warped_linear_regression/map/target_warper.h"
#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

class target_warper_bridge {
 public:
  explicit target_warper_bridge(std::shared_ptr<const model::target_warper> warper)
      : warper_{std::move(warper)} {}

  python_object compute_latent(PyObject* arguments, PyObject* keywords) const;
  // The latents and their derivatives in the target, as a tuple.
  python_object compute_latent_with_derivative(PyObject* arguments,
                                               PyObject* keywords) const;
  // RuntimeError where a latent has no target: it is not finite, or its target overflows.
  python_object invert(PyObject* arguments, PyObject* keywords) const;
  python_object parameters() const;

 private:
  std::shared_ptr<const model::target_warper> warper_;
};

}  // namespace corvane::python_bridge
