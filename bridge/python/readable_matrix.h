// SPDX-License-Identifier: BSD-3-Clause
//
// readable_matrix: X of a prediction, looked at where it lies if its layout is one that
// BLAS can read, and converted otherwise. A column-major array is a block as it stands, a
// row-major one is the block of its transpose: X = op(block).
//
// What lies in an array stays as it is for as long as no Python code runs: the caller
// writes into a result_vector, and makes other Python objects after that.
#pragma once

#include <optional>

#include "common/blas_arguments.h"
#include "common/matrix_block.h"
#include "n_array/n_array.h"
#include "python/float64_buffer.h"
#include "python/python.h"

namespace corvane::python_bridge {

class readable_matrix {
 public:
  // Throws python_error where the object is no matrix, as to_double_matrix does.
  explicit readable_matrix(PyObject* object);

  // Of X.
  index_t rows() const { return is_transposed() ? block().cols() : block().rows(); }
  index_t cols() const { return is_transposed() ? block().rows() : block().cols(); }

  transposition op() const;
  const_matrix_block block() const;

 private:
  // Columns, or rows of a transposed matrix, one behind another.
  struct layout {
    bool transposed;
    index_t leading_dimension;  // in elements
  };
  static std::optional<layout> find_layout(const strided_doubles& X);
  bool is_transposed() const { return layout_ && layout_->transposed; }

  std::optional<float64_buffer> in_place_;
  std::optional<layout> layout_;  // of what is read in place
  dense_matrix converted_;        // X where nothing is
};

}  // namespace corvane::python_bridge
