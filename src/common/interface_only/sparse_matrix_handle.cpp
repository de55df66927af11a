// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/sparse_matrix_handle.h"

#include <fmt/format.h>

#include <utility>

#include "n_array/panic.h"

namespace corvane {

namespace {

constexpr const char* this_file = "src/common/sparse_matrix_handle";

}  // namespace

sparse_matrix_handle::sparse_matrix_handle(index_t rows, index_t columns,
                                           const_vector_view values,
                                           const_index_view column_indices,
                                           const_index_view row_pointers) {
  const auto result = compressed_rows::create(
      handle_, {rows, columns, values, column_indices, row_pointers});
  if (result == compressed_rows::status::success) return;
  panic(
      fmt::format("failed to construct sparse matrix: rcode {}", static_cast<int>(result)),
      49, this_file);
}

sparse_matrix_handle::sparse_matrix_handle(sparse_matrix_handle&& other) noexcept
    : handle_{std::exchange(other.handle_, nullptr)} {}

sparse_matrix_handle& sparse_matrix_handle::operator=(
    sparse_matrix_handle&& other) noexcept {
  if (this == &other) return *this;
  reset();
  handle_ = std::exchange(other.handle_, nullptr);
  return *this;
}

void sparse_matrix_handle::reset() noexcept {
  if (handle_ == nullptr) return;
  const auto result = compressed_rows::destroy(handle_);
  if (result != compressed_rows::status::success)
    panic(
        fmt::format("failed to destroy sparse matrix: rcode {}", static_cast<int>(result)),
        92, this_file);
  handle_ = nullptr;
}

}  // namespace corvane
