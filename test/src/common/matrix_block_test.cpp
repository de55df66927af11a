// SPDX-License-Identifier: BSD-3-Clause
#include "common/matrix_block.h"

#include <gtest/gtest.h>

#include <numeric>
#include <type_traits>
#include <vector>

namespace corvane {
namespace {

std::vector<double> offsets(std::size_t count) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

TEST(matrix_block, of_a_view_covers_all_of_it) {
  std::vector<double> storage = offsets(6);
  const matrix_block block = matrix_view{storage.data(), 2, 3};
  EXPECT_EQ(block.rows(), 2);
  EXPECT_EQ(block.cols(), 3);
  EXPECT_EQ(block.stride(), 2);
  EXPECT_EQ(&block(1, 2), &storage[5]);
}

TEST(matrix_block, of_an_array_covers_all_of_it) {
  dense_matrix general(2, 3);
  symmetric_matrix symmetric(3, 3);
  const matrix_block block = general;
  const const_matrix_block constant = std::as_const(symmetric);
  EXPECT_EQ(block.data(), general.data());
  EXPECT_EQ(block.cols(), 3);
  EXPECT_EQ(constant.data(), symmetric.data());
  EXPECT_EQ(constant.stride(), 3);
}

TEST(matrix_block, of_constants_is_never_written_through) {
  static_assert(std::is_convertible_v<matrix_block, const_matrix_block>);
  static_assert(std::is_convertible_v<dense_matrix&, const_matrix_block>);
  static_assert(!std::is_convertible_v<const_matrix_block, matrix_block>);
  static_assert(!std::is_convertible_v<const dense_matrix&, matrix_block>);
  static_assert(!std::is_convertible_v<const_matrix_view, matrix_block>);
}

TEST(matrix_block, a_part_keeps_the_leading_dimension) {
  std::vector<double> storage = offsets(20);
  const matrix_block whole = matrix_view{storage.data(), 4, 5};
  const matrix_block part = whole.part(1, 2, 2, 3);
  EXPECT_EQ(part.rows(), 2);
  EXPECT_EQ(part.cols(), 3);
  EXPECT_EQ(part.stride(), 4);
  EXPECT_EQ(part(0, 0), 9.0);
  EXPECT_EQ(part(1, 2), 18.0);
  EXPECT_EQ(whole.part_rows(2, 2)(0, 1), 6.0);
  EXPECT_EQ(whole.part_rows(2, 2).cols(), 5);
  EXPECT_EQ(whole.part_columns(3, 2)(0, 0), 12.0);
  EXPECT_EQ(whole.part_columns(3, 2).rows(), 4);
  EXPECT_EQ(part.column(1).size(), 2);
  EXPECT_EQ(part.column(1)[0], 13.0);
}

TEST(matrix_block, fill_and_copy_stay_inside_the_block) {
  std::vector<double> storage(20, -1.0);
  const matrix_block inner =
      matrix_block{matrix_view{storage.data(), 4, 5}}.part(1, 1, 2, 3);
  fill(inner, 7.0);
  std::vector<double> source = offsets(6);
  copy(matrix_view{source.data(), 2, 3}, inner.part_columns(0, 3));
  for (index_t j = 0; j < 5; ++j)
    for (index_t i = 0; i < 4; ++i) {
      const bool inside = i >= 1 && i < 3 && j >= 1 && j < 4;
      EXPECT_EQ(storage[static_cast<std::size_t>(j * 4 + i)],
                inside ? static_cast<double>((j - 1) * 2 + i - 1) : -1.0);
    }
}

TEST(matrix_block, the_lower_forms_leave_what_is_above_the_diagonal) {
  std::vector<double> storage(9, -1.0);
  std::vector<double> source = offsets(9);
  const matrix_block block = matrix_view{storage.data(), 3, 3};
  copy_lower(matrix_view{source.data(), 3, 3}, block);
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = 0; i < 3; ++i)
      EXPECT_EQ(block(i, j), i >= j ? static_cast<double>(j * 3 + i) : -1.0);
  fill_lower(block, 2.0);
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = 0; i < 3; ++i) EXPECT_EQ(block(i, j), i >= j ? 2.0 : -1.0);
}

}  // namespace
}  // namespace corvane
