// SPDX-License-Identifier: BSD-3-Clause
//
// matrix_block: a column-major matrix inside a larger one, by value: data, shape and
// leading dimension travel together. A view converts to the block that covers all of it.
#pragma once

#include <algorithm>
#include <type_traits>

#include "n_array/n_array.h"
#include "n_array/n_array_view.h"

namespace corvane {

template <class T>
class basic_matrix_block {
 public:
  basic_matrix_block(T* data, index_t rows, index_t cols, index_t stride)
      : data_{data}, rows_{rows}, cols_{cols}, stride_{stride} {}
  template <class U, class Structure>
  requires(std::is_convertible_v<U*, T*>) basic_matrix_block(
      n_array_view<U, 2, Structure> view)  // implicit on purpose, as are these
      : basic_matrix_block{view.data(), view.rows(), view.cols(), view.rows()} {}
  template <class Structure>
  basic_matrix_block(n_array<std::remove_const_t<T>, 2, Structure>& array)
      : basic_matrix_block{array.view()} {}
  template <class Structure>
  requires(std::is_const_v<T>)
      basic_matrix_block(const n_array<std::remove_const_t<T>, 2, Structure>& array)
      : basic_matrix_block{array.view()} {}
  template <adds_const<T> U>
  basic_matrix_block(basic_matrix_block<U> other)
      : basic_matrix_block{other.data(), other.rows(), other.cols(), other.stride()} {}

  T* data() const { return data_; }
  index_t rows() const { return rows_; }
  index_t cols() const { return cols_; }
  index_t stride() const { return stride_; }  // the leading dimension, in elements
  T& operator()(index_t i, index_t j) const { return data_[j * stride_ + i]; }

  basic_matrix_block part(index_t row, index_t col, index_t rows, index_t cols) const {
    return {data_ + col * stride_ + row, rows, cols, stride_};
  }
  basic_matrix_block part_rows(index_t row, index_t rows) const {
    return part(row, 0, rows, cols_);
  }
  basic_matrix_block part_columns(index_t col, index_t cols) const {
    return part(0, col, rows_, cols);
  }
  n_array_view<T, 1, general_structure> column(index_t j) const {
    return {data_ + j * stride_, rows_};
  }

 private:
  T* data_;
  index_t rows_;
  index_t cols_;
  index_t stride_;
};

using matrix_block = basic_matrix_block<double>;
using const_matrix_block = basic_matrix_block<const double>;

inline void fill(matrix_block a, double value) {
  for (index_t j = 0; j < a.cols(); ++j) {
    const vector_view column = a.column(j);
    std::fill(column.begin(), column.end(), value);
  }
}

// to = from; the shapes are equal.
inline void copy(const_matrix_block from, matrix_block to) {
  for (index_t j = 0; j < from.cols(); ++j) {
    const const_vector_view column = from.column(j);
    std::copy(column.begin(), column.end(), to.column(j).begin());
  }
}

// to = from', by tiles whose rows and columns both stay in the cache.
inline void copy_transposed(const_matrix_block from, matrix_block to) {
  constexpr index_t tile = 16;
  for (index_t row = 0; row < from.rows(); row += tile)
    for (index_t col = 0; col < from.cols(); col += tile)
      for (index_t i = row; i < std::min(row + tile, from.rows()); ++i)
        for (index_t j = col; j < std::min(col + tile, from.cols()); ++j)
          to(j, i) = from(i, j);
}

// Only the lower triangle, row >= column.
inline void copy_lower(const_matrix_block from, matrix_block to) {
  for (index_t j = 0; j < from.cols(); ++j)
    for (index_t i = j; i < from.rows(); ++i) to(i, j) = from(i, j);
}

inline void fill_lower(matrix_block a, double value) {
  for (index_t j = 0; j < a.cols(); ++j)
    for (index_t i = j; i < a.rows(); ++i) a(i, j) = value;
}

}  // namespace corvane
