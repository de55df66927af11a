// SPDX-License-Identifier: BSD-3-Clause
#include "common/interface_only/sparse_matrix_operation.h"

#include <fmt/format.h>

#include "n_array/panic.h"

namespace corvane {

namespace {

namespace kernel = compressed_rows;

constexpr const char* this_file = "src/common/sparse_matrix_operation";

kernel::structure structure_of(sparse_matrix_type type) {
  switch (type) {
    case sparse_matrix_type::general:
      return kernel::structure::general;
    case sparse_matrix_type::symmetric:
      return kernel::structure::symmetric;
    case sparse_matrix_type::triangular:
      return kernel::structure::triangular;
  }
  panic(fmt::format("unsupported matrix_type {}", static_cast<int>(type)), 26, this_file);
}

kernel::stored_diagonal diagonal_of(diagonal_kind kind) {
  if (kind == diagonal_kind::general) return kernel::stored_diagonal::non_unit;
  if (kind == diagonal_kind::unit) return kernel::stored_diagonal::unit;
  panic(fmt::format("unsupported diagonal fill {}", static_cast<int>(kind)), 44, this_file);
}

}  // namespace

kernel::descriptor make_descriptor(sparse_matrix_form form) {
  const kernel::structure type = structure_of(form.type);
  if (type == kernel::structure::general) return {};
  return {type,
          form.fill == triangle::lower ? kernel::stored_triangle::lower
                                       : kernel::stored_triangle::upper,
          diagonal_of(form.diagonal)};
}

void sparse_matrix_matrix_multiply(transposition op, double alpha,
                                   const sparse_matrix_handle& a, sparse_matrix_form form,
                                   const_matrix_block x, double beta, matrix_block y) {
  const auto result =
      kernel::multiply(op, alpha, a.handle(), make_descriptor(form), x, beta, y);
  if (result == kernel::status::success) return;
  panic(fmt::format("sparse matrix-matrix multiply failed: rcode {}",
                    static_cast<int>(result)),
        144, this_file);
}

}  // namespace corvane
