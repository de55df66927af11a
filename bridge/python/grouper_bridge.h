// SPDX-License-Identifier: BSD-3-Clause
//
// grouper_bridge: lets a Python callable say which parameters share a hyperparameter. It is
// called with the data, and where wanted with the number of parameters, and gives back one
// group number per parameter; the numbers in use are 0, 1, 2 and so on.
#pragma once

#include <utility>

#include "n_array/n_array.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// Whether the number -1 may stand for a parameter that has no hyperparameter: it is held
// fixed at 0.
enum class fixed_parameters { refused, allowed };

class grouper_bridge {
 public:
  grouper_bridge(python_object callable, bool pass_size,
                 fixed_parameters fixed = fixed_parameters::refused)
      : callable_{std::move(callable)}, pass_size_{pass_size}, fixed_{fixed} {}

  // X and y are the objects that `fit` was given, `count` the number of parameters. Throws
  // python_error with what the callable raised, or with one of "variable groupings not
  // sized correct" and "variable groupings not correct".
  index_vector operator()(const python_object& X, const python_object& y,
                          index_t count) const;

 private:
  python_object callable_;
  bool pass_size_;  // also pass `count`
  fixed_parameters fixed_;
};

}  // namespace corvane::python_bridge
