// SPDX-License-Identifier: BSD-3-Clause
//
// The data that a model was last given to fit, and the two arguments they come from.
// Reading them runs Python code, which may call into the same model and replace its data: a
// member works on what `read_training_data` returns, in shared ownership, and never on the
// model's own record.
#pragma once

#include <array>
#include <memory>
#include <stdexcept>

#include "n_array/n_array.h"
#include "python/argument_parser.h"
#include "python/array_conversion.h"
#include "python/python.h"
#include "python/python_error.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

struct features_and_target {
  python_object X;
  python_object y;
};

// The two arguments of every model's `fit` and `make_objective`.
inline features_and_target parse_features_and_target(PyObject* arguments,
                                                     PyObject* keywords,
                                                     const char* format) {
  PyObject* X = nullptr;
  PyObject* y = nullptr;
  if (!try_parse_arguments(arguments, keywords, format, std::array{"X", "y"}, &X, &y))
    throw python_error{};
  return {python_object::share(X), python_object::share(y)};
}

struct training_data {
  std::shared_ptr<const dense_matrix> design = std::make_shared<dense_matrix>();
  std::shared_ptr<const dense_vector> target = std::make_shared<dense_vector>();
};

inline constexpr const char* mismatch_text =
    "feature_matrix and target_vector are mismatched";

inline bool is_matching(const training_data& data) {
  return data.design->rows() == data.target->size();
}

inline void require_matching(const training_data& data) {
  if (!is_matching(data)) throw std::runtime_error{mismatch_text};
}

// Converts both arguments and returns them. Each is stored as soon as it is converted:
// converting the other one may fail.
inline training_data read_training_data(const features_and_target& arguments,
                                        training_data& stored) {
  training_data read;
  read.design = std::make_shared<const dense_matrix>(to_double_matrix(arguments.X.get()));
  stored.design = read.design;
  read.target = std::make_shared<const dense_vector>(to_double_vector(arguments.y.get()));
  stored.target = read.target;
  return read;
}

}  // namespace corvane::python_bridge
