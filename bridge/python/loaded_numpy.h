// SPDX-License-Identifier: BSD-3-Clause
//
// Names of the numpy module, if it is loaded, looked up without running Python code. Such
// code could change the memory of an array during a computation on it.
#pragma once

#include "python/python.h"

namespace corvane::python_bridge {

// Borrowed: the value of this name in the module's dictionary, or null if numpy is not
// loaded or has no such name.
PyObject* find_in_loaded_numpy(const char* name);

}  // namespace corvane::python_bridge
