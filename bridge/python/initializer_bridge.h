// SPDX-License-Identifier: BSD-3-Clause
//
// initializer_bridge: lets a Python callable choose the optimizer's start point. It is
// called with the number of entries and gives back that many.
#pragma once

#include <utility>

#include "n_array/n_array_view.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

class initializer_bridge {
 public:
  explicit initializer_bridge(python_object callable) : callable_{std::move(callable)} {}

  // Throws python_error with what the callable raised, or with "initialization incorrect
  // size".
  void operator()(vector_view out) const;

 private:
  python_object callable_;
};

}  // namespace corvane::python_bridge
