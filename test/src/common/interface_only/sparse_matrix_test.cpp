// SPDX-License-Identifier: BSD-3-Clause
//
// The handle of a compressed-sparse-row object and the product through it. The oracle of a
// product is the dense matrix that the descriptor stands for, multiplied entry by entry.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "common/interface_only/sparse_matrix_handle.h"
#include "common/interface_only/sparse_matrix_operation.h"
#include "n_array/n_array.h"

namespace corvane {

namespace {

// A matrix with its arrays. The columns of a row stand in any order.
struct stored_matrix {
  index_t rows;
  index_t columns;
  std::vector<double> values;
  std::vector<index_t> column_indices;
  std::vector<index_t> row_pointers;

  sparse_matrix_handle handle() const {
    const auto count = static_cast<index_t>(values.size());
    return {rows,
            columns,
            {values.data(), count},
            {column_indices.data(), static_cast<index_t>(column_indices.size())},
            {row_pointers.data(), static_cast<index_t>(row_pointers.size())}};
  }
};

// Row 1 is empty, row 2 runs backwards.
const stored_matrix wide{3, 4, {2.0, -1.5, 0.5, 4.0, -3.0}, {0, 2, 3, 1, 0}, {0, 2, 2, 5}};
const stored_matrix square{
    3, 3, {2.0, 7.0, -1.0, 3.0, 0.25, 5.0, -4.0}, {0, 2, 0, 1, 2, 1, 2}, {0, 2, 5, 7}};

// The dense matrix that the stored entries stand for under a form.
dense_matrix meaning(const stored_matrix& a, sparse_matrix_form form) {
  dense_matrix dense(a.rows, a.columns);
  fill(dense, 0.0);
  for (index_t i = 0; i < a.rows; ++i) {
    const auto row = static_cast<std::size_t>(i);
    for (index_t k = a.row_pointers[row]; k < a.row_pointers[row + 1]; ++k)
      dense(i, a.column_indices[static_cast<std::size_t>(k)]) =
          a.values[static_cast<std::size_t>(k)];
  }
  if (form.type == sparse_matrix_type::general) return dense;
  for (index_t i = 0; i < a.rows; ++i) {
    if (form.diagonal == diagonal_kind::unit) dense(i, i) = 1.0;
    for (index_t j = 0; j < i; ++j) {
      double& kept = form.fill == triangle::lower ? dense(i, j) : dense(j, i);
      double& other = form.fill == triangle::lower ? dense(j, i) : dense(i, j);
      other = form.type == sparse_matrix_type::symmetric ? kept : 0.0;
    }
  }
  return dense;
}

// Numbers without a pattern, exact in binary.
dense_matrix sample_matrix(index_t rows, index_t cols) {
  dense_matrix filled(rows, cols);
  for (index_t k = 0; k < filled.size(); ++k)
    filled.data()[k] = static_cast<double>((k * 37 + 11) % 23 - 11) / 8.0;
  return filled;
}

// Every entry of the product against the sum that defines it; all numbers are exact.
void expect_product(const stored_matrix& a, sparse_matrix_form form, transposition op,
                    double alpha, double beta) {
  const dense_matrix dense = meaning(a, form);
  const bool swaps = op != transposition::none;
  const index_t rows = swaps ? a.columns : a.rows;
  const index_t inner = swaps ? a.rows : a.columns;
  const dense_matrix x = sample_matrix(inner, 2);
  const dense_matrix before = sample_matrix(rows, 2);
  dense_matrix y = before;
  sparse_matrix_matrix_multiply(op, alpha, a.handle(), form, x, beta, y);
  for (index_t i = 0; i < rows; ++i) {
    for (index_t j = 0; j < 2; ++j) {
      double expected = beta * before(i, j);
      for (index_t k = 0; k < inner; ++k)
        expected += alpha * (swaps ? dense(k, i) : dense(i, k)) * x(k, j);
      EXPECT_EQ(y(i, j), expected) << "entry (" << i << ", " << j << ")";
    }
  }
}

constexpr std::array all_operations{transposition::none, transposition::transpose,
                                    transposition::conjugate};

TEST(sparse_matrix_handle, an_empty_one_is_destroyed_without_the_kernel) {
  // The kernel refuses to destroy nothing, so asking it would end the process.
  compressed_rows::object* nothing = nullptr;
  EXPECT_EQ(compressed_rows::destroy(nothing), compressed_rows::status::not_initialized);
  sparse_matrix_handle empty;
  EXPECT_EQ(empty.handle(), nullptr);
  empty.reset();
  EXPECT_EQ(empty.handle(), nullptr);
}

TEST(sparse_matrix_handle, moved_twice_leaves_the_last_target_as_the_only_owner) {
  sparse_matrix_handle first = wide.handle();
  const auto* object = first.handle();
  sparse_matrix_handle second = std::move(first);
  sparse_matrix_handle third;
  third = std::move(second);
  // That a moved-from handle is empty is what is proved here.
  EXPECT_EQ(first.handle(), nullptr);   // NOLINT(bugprone-use-after-move,clang-analyzer*)
  EXPECT_EQ(second.handle(), nullptr);  // NOLINT(bugprone-use-after-move,clang-analyzer*)
  EXPECT_EQ(third.handle(), object);
}

TEST(sparse_matrix_handle, assignment_releases_what_the_target_owned) {
  sparse_matrix_handle target = wide.handle();
  sparse_matrix_handle source = square.handle();
  const auto* object = source.handle();
  target = std::move(source);
  EXPECT_EQ(target.handle(), object);
  target.reset();
  EXPECT_EQ(target.handle(), nullptr);
}

TEST(sparse_matrix_handle, an_object_with_inconsistent_arrays_panics) {
  constexpr auto text =
      "^src/common/sparse_matrix_handle:49 panic: failed to construct sparse matrix: rcode "
      "3$";
  stored_matrix broken = wide;
  broken.column_indices[3] = 4;  // behind the last column
  EXPECT_DEATH(broken.handle(), text);
  broken = wide;
  broken.row_pointers = {0, 3, 2, 5};  // falls
  EXPECT_DEATH(broken.handle(), text);
  broken = wide;
  broken.row_pointers = {0, 2, 2, 6};  // more than there is
  EXPECT_DEATH(broken.handle(), text);
  broken = wide;
  broken.column_indices.pop_back();
  EXPECT_DEATH(broken.handle(), text);
  broken = wide;
  broken.rows = -1;
  EXPECT_DEATH(broken.handle(), text);
}

TEST(sparse_matrix_handle, an_object_that_cannot_be_destroyed_panics) {
  const auto destroy_a_dead_object = [] {
    compressed_rows::object dead;
    sparse_matrix_handle handle{&dead};
  };
  EXPECT_DEATH(destroy_a_dead_object(),
               "^src/common/sparse_matrix_handle:92 panic: "
               "failed to destroy sparse matrix: rcode 3$");
}

TEST(make_descriptor, maps_the_words_of_the_system_to_those_of_the_kernel) {
  const auto words = [](sparse_matrix_form form) {
    const auto how = make_descriptor(form);
    return std::vector<int>{static_cast<int>(how.type), static_cast<int>(how.fill),
                            static_cast<int>(how.diagonal)};
  };
  using enum sparse_matrix_type;
  EXPECT_EQ(words({general, triangle::lower, diagonal_kind::unit}),
            (std::vector<int>{20, 0, 0}));
  EXPECT_EQ(words({symmetric, triangle::lower, diagonal_kind::general}),
            (std::vector<int>{21, 40, 50}));
  EXPECT_EQ(words({triangular, triangle::upper, diagonal_kind::unit}),
            (std::vector<int>{23, 41, 51}));
}

TEST(make_descriptor, a_matrix_type_of_three_panics) {
  EXPECT_DEATH(make_descriptor({static_cast<sparse_matrix_type>(3)}),
               "^src/common/sparse_matrix_operation:26 panic: unsupported matrix_type 3$");
}

TEST(make_descriptor, an_absurd_diagonal_panics_unless_the_matrix_is_general) {
  const auto absurd = static_cast<diagonal_kind>(77);
  for (const auto type : {sparse_matrix_type::symmetric, sparse_matrix_type::triangular})
    EXPECT_DEATH(
        make_descriptor({type, triangle::lower, absurd}),
        "^src/common/sparse_matrix_operation:44 panic: unsupported diagonal fill 77$");
  EXPECT_EQ(make_descriptor({sparse_matrix_type::general, triangle::lower, absurd}).type,
            compressed_rows::structure::general);
}

TEST(sparse_product, a_general_matrix_is_multiplied_as_the_dense_one) {
  for (const auto op : all_operations)
    for (const double beta : {0.0, 1.0, -0.5}) {
      expect_product(wide, {}, op, -1.0, beta);
      expect_product(square, {}, op, 0.75, beta);
    }
}

TEST(sparse_product, a_triangle_stands_for_a_symmetric_or_a_triangular_matrix) {
  for (const auto type : {sparse_matrix_type::symmetric, sparse_matrix_type::triangular})
    for (const auto which : {triangle::lower, triangle::upper})
      for (const auto diagonal : {diagonal_kind::general, diagonal_kind::unit})
        for (const auto op : all_operations)
          expect_product(square, {type, which, diagonal}, op, 2.0, 0.25);
}

TEST(sparse_product, with_beta_zero_the_old_output_is_not_read) {
  const dense_matrix x = sample_matrix(4, 2);
  dense_matrix y(3, 2);
  fill(y, std::numeric_limits<double>::quiet_NaN());
  sparse_matrix_matrix_multiply(transposition::none, 1.0, wide.handle(), {}, x, 0.0, y);
  for (const double entry : y) EXPECT_TRUE(std::isfinite(entry));
}

TEST(sparse_product, leading_dimensions_are_those_of_the_blocks) {
  dense_matrix x = sample_matrix(6, 3);
  dense_matrix y(5, 3);
  fill(y, 9.0);
  const matrix_block inside = matrix_block{y}.part(1, 1, 3, 2);
  const const_matrix_block from = const_matrix_block{x}.part(2, 0, 4, 2);
  sparse_matrix_matrix_multiply(transposition::none, 1.0, wide.handle(), {}, from, 0.0,
                                inside);
  for (index_t j = 0; j < 2; ++j) {
    EXPECT_EQ(inside(0, j), 2.0 * from(0, j) - 1.5 * from(2, j));
    EXPECT_EQ(inside(1, j), 0.0);
    EXPECT_EQ(inside(2, j), 0.5 * from(3, j) + 4.0 * from(1, j) - 3.0 * from(0, j));
  }
  EXPECT_EQ(y(0, 1), 9.0);
  EXPECT_EQ(y(4, 2), 9.0);
  EXPECT_EQ(y(1, 0), 9.0);
}

TEST(sparse_product, through_an_empty_handle_panics) {
  const dense_matrix x = sample_matrix(4, 2);
  dense_matrix y(3, 2);
  EXPECT_DEATH(sparse_matrix_matrix_multiply(transposition::none, -1.0, {}, {}, x, 0.0, y),
               "^src/common/sparse_matrix_operation:144 panic: "
               "sparse matrix-matrix multiply failed: rcode 1$");
}

TEST(sparse_product, of_shapes_that_do_not_agree_panics) {
  const dense_matrix x = sample_matrix(4, 2);
  dense_matrix too_few_rows(2, 2);
  EXPECT_DEATH(sparse_matrix_matrix_multiply(transposition::none, 1.0, wide.handle(), {}, x,
                                             0.0, too_few_rows),
               "^src/common/sparse_matrix_operation:144 panic: "
               "sparse matrix-matrix multiply failed: rcode 3$");
}

}  // namespace

}  // namespace corvane
