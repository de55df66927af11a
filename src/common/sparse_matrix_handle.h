// SPDX-License-Identifier: BSD-3-Clause
//
// sparse_matrix_handle: the one owner of a compressed-sparse-row object. It does not own
// the arrays that the object was built from; these must outlive it. A status other than
// success is a broken invariant and panics.
#pragma once

#include "common/compressed_rows.h"

namespace corvane {

class sparse_matrix_handle {
 public:
  sparse_matrix_handle() = default;
  // `row_pointers` holds rows + 1 offsets, the other two arrays `num_entries` each.
  sparse_matrix_handle(index_t rows, index_t columns, index_t num_entries,
                       const double* values, const index_t* column_indices,
                       const index_t* row_pointers);
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
