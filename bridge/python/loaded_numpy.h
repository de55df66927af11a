// SPDX-License-Identifier: BSD-3-Clause
//
// The numpy that is loaded already, looked up without running Python code: what computes on
// the memory of an array may not let anybody change it meanwhile.
#pragma once

#include "python/python.h"

namespace corvane::python_bridge {

// Borrowed: what stands under this name in the module's dictionary, or null where there is
// no such module or name.
PyObject* find_in_loaded_numpy(const char* name);

}  // namespace corvane::python_bridge
