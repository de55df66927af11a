// SPDX-License-Identifier: BSD-3-Clause
//
// The Python type `_TargetWarper`. It has no factory of its own: instances come from the
// warped model.
#pragma once

#include <memory>

#include "python/model/warped_linear_regression/target_warper_bridge.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// Makes the type and adds it to the module. It is registered before the type whose methods
// return its instances.
void register_target_warper(const char* module_name, const python_object& module);

python_object make_target_warper_object(std::shared_ptr<const model::target_warper> warper);

}  // namespace corvane::python_bridge
