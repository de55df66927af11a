// SPDX-License-Identifier: BSD-3-Clause
//
// n_array_view: a non-owning view of dense numbers, rank 1 or 2, passed by value.
//
// Storage is column-major and contiguous; the leading dimension is always `rows`.
//   general_structure    element (i, j) is data[j * rows + i]
//   symmetric_structure  element (i, j) is data[min(i, j) * n + max(i, j)]: only the lower
//                        triangle, row >= column, is stored; the other half is unspecified.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace corvane {

using index_t = std::int64_t;

struct general_structure {};
struct symmetric_structure {};

template <class T, unsigned long Rank, class Structure>
class n_array_view;

// A pointer to U converts to a pointer to T if T only adds const.
template <class U, class T>
concept adds_const = std::is_same_v<const U, T> && !std::is_same_v<U, T>;

template <class T>
class n_array_view<T, 1, general_structure> {
 public:
  n_array_view() = default;
  n_array_view(T* data, index_t size) : data_{data}, size_{size} {}
  template <adds_const<T> U>
  n_array_view(n_array_view<U, 1, general_structure> other)  // implicit on purpose
      : data_{other.data()}, size_{other.size()} {}

  T* data() const { return data_; }
  index_t size() const { return size_; }
  T* begin() const { return data_; }
  T* end() const { return data_ + size_; }
  T& operator[](index_t i) const { return data_[i]; }

  // The `count` elements from `first` on.
  n_array_view part(index_t first, index_t count) const { return {data_ + first, count}; }

 private:
  T* data_ = nullptr;
  index_t size_ = 0;
};

template <class T>
class n_array_view<T, 2, general_structure> {
 public:
  n_array_view() = default;
  n_array_view(T* data, index_t rows, index_t cols)
      : data_{data}, rows_{rows}, cols_{cols} {}
  template <adds_const<T> U>
  n_array_view(n_array_view<U, 2, general_structure> other)  // implicit on purpose
      : data_{other.data()}, rows_{other.rows()}, cols_{other.cols()} {}

  T* data() const { return data_; }
  index_t rows() const { return rows_; }
  index_t cols() const { return cols_; }
  index_t size() const { return rows_ * cols_; }
  T& operator()(index_t i, index_t j) const { return data_[j * rows_ + i]; }

  n_array_view<T, 1, general_structure> column(index_t j) const {
    return {data_ + j * rows_, rows_};
  }

 private:
  T* data_ = nullptr;
  index_t rows_ = 0;
  index_t cols_ = 0;
};

template <class T>
class n_array_view<T, 2, symmetric_structure> {
 public:
  n_array_view() = default;
  n_array_view(T* data, index_t rows, index_t cols)
      : data_{data}, rows_{rows}, cols_{cols} {}
  template <adds_const<T> U>
  n_array_view(n_array_view<U, 2, symmetric_structure> other)  // implicit on purpose
      : data_{other.data()}, rows_{other.rows()}, cols_{other.cols()} {}

  T* data() const { return data_; }
  index_t rows() const { return rows_; }
  index_t cols() const { return cols_; }
  index_t size() const { return rows_ * cols_; }
  T& operator()(index_t i, index_t j) const {
    return data_[std::min(i, j) * rows_ + std::max(i, j)];
  }

 private:
  T* data_ = nullptr;
  index_t rows_ = 0;
  index_t cols_ = 0;
};

// Every `stride`-th element from `data` on.
template <class T>
class strided_view {
 public:
  strided_view(T* data, index_t size, index_t stride)
      : data_{data}, size_{size}, stride_{stride} {}
  index_t size() const { return size_; }
  T& operator[](index_t k) const { return data_[k * stride_]; }

 private:
  T* data_;
  index_t size_;
  index_t stride_;
};

template <class T, class Structure>
strided_view<T> diagonal(n_array_view<T, 2, Structure> matrix) {
  return {matrix.data(), std::min(matrix.rows(), matrix.cols()), matrix.rows() + 1};
}

using vector_view = n_array_view<double, 1, general_structure>;
using matrix_view = n_array_view<double, 2, general_structure>;
using symmetric_view = n_array_view<double, 2, symmetric_structure>;
using const_vector_view = n_array_view<const double, 1, general_structure>;
using const_matrix_view = n_array_view<const double, 2, general_structure>;
using const_symmetric_view = n_array_view<const double, 2, symmetric_structure>;
using const_index_view = n_array_view<const index_t, 1, general_structure>;

}  // namespace corvane
