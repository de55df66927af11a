// SPDX-License-Identifier: BSD-3-Clause
//
// The only file that includes the header of CPython's C API. The limited API with
// the floor at 3.11 makes one binary serve every later Python 3.
#pragma once

// Python.h reads these two macros, so they are defined before it is included.
#define PY_SSIZE_T_CLEAN           // NOLINT(bugprone-reserved-identifier): the C API's name
#define Py_LIMITED_API 0x030B0000  // NOLINT(bugprone-reserved-identifier): the C API's name
#include <Python.h>
