// SPDX-License-Identifier: BSD-3-Clause
//
// sparse_matrix_handle: the one owner of a compressed-sparse-row object. It does not own
// the arrays that the object was built from; these must outlive it. A status other than
// success is a broken invariant and panics.
#pragma once

#include "common/interface_only/compressed_rows.h"

namespace corvane {

class sparse_matrix_handle {
 public:
  sparse_matrix_handle() = default;
  // `row_pointers` holds rows + 1 offsets into the other two arrays, which are equally
  // long.
  sparse_matrix_handle(index_t rows, index_t columns, const_vector_view values,
                       const_index_view column_indices, const_index_view row_pointers);
  // Takes over an object that someone else made.
  explicit sparse_matrix_handle(compressed_rows::object* made) noexcept : handle_{made} {}
  sparse_matrix_handle(const sparse_matrix_handle&) = delete;
  sparse_matrix_handle& operator=(const sparse_matrix_handle&) = delete;
  sparse_matrix_handle(sparse_matrix_handle&& other) noexcept;
  sparse_matrix_handle& operator=(sparse_matrix_handle&& other) noexcept;
  ~sparse_matrix_handle() { reset(); }

  // Null when empty.
  const compressed_rows::object* handle() const { return handle_; }
  void reset() noexcept;

 private:
  compressed_rows::object* handle_ = nullptr;
};

}  // namespace corvane
