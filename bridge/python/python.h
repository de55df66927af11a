// SPDX-License-Identifier: BSD-3-Clause
//
// The one door to CPython's C API: nobody else includes its header. The limited API with
// the floor at 3.11 makes one binary serve every later Python 3.
#pragma once

// The C API names the two macros; it is told what to offer before it is read.
#define PY_SSIZE_T_CLEAN           // NOLINT(bugprone-reserved-identifier): the C API's name
#define Py_LIMITED_API 0x030B0000  // NOLINT(bugprone-reserved-identifier): the C API's name
#include <Python.h>
