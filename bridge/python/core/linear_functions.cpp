// SPDX-License-Identifier: BSD-3-Clause
#include "python/core/linear_functions.h"

#include <array>

#include "common/linear_algebra.h"
#include "python/argument_parser.h"
#include "python/core/core_support.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

python_object predict_linear(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X", "coef", "intercept"};
  PyObject* X = nullptr;
  PyObject* coef = nullptr;
  double intercept = 0.0;
  if (!try_parse_arguments(arguments, keywords, "OOd:predict_linear", names, &X, &coef,
                           &intercept))
    throw python_error{};
  const readable_matrix design{X};
  const dense_vector weights = array_argument{"coef", coef, 1}.vector();
  if (design.cols() != weights.size())
    raise_error(PyExc_ValueError, "X and coef differ in their number of columns");
  result_vector predictions{design.rows()};
  without_lock([&] {
    affine_gemv(intercept, design.op(), design.block(), weights, predictions.numbers());
  });
  return predictions.release();
}

}  // namespace corvane::python_bridge
