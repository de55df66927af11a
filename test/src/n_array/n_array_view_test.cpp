// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/n_array_view.h"

#include <gtest/gtest.h>

#include <numeric>
#include <type_traits>
#include <vector>

namespace corvane {
namespace {

// 0, 1, 2 and so on: the element at offset k is k.
std::vector<double> offsets(std::size_t count) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

TEST(n_array_view, a_general_matrix_is_column_major) {
  std::vector<double> storage = offsets(6);
  const matrix_view a{storage.data(), 2, 3};
  EXPECT_EQ(a(0, 0), 0.0);
  EXPECT_EQ(a(1, 0), 1.0);
  EXPECT_EQ(a(0, 2), 4.0);
  EXPECT_EQ(a(1, 2), 5.0);
  EXPECT_EQ(a.size(), 6);
}

TEST(n_array_view, a_column_is_contiguous) {
  std::vector<double> storage = offsets(6);
  const vector_view column = matrix_view{storage.data(), 2, 3}.column(1);
  ASSERT_EQ(column.size(), 2);
  EXPECT_EQ(column[0], 2.0);
  EXPECT_EQ(column[1], 3.0);
}

TEST(n_array_view, both_orders_of_a_symmetric_index_read_the_same_stored_double) {
  std::vector<double> storage = offsets(16);
  const symmetric_view a{storage.data(), 4, 4};
  EXPECT_EQ(&a(3, 1), &a(1, 3));
  EXPECT_EQ(&a(3, 1), storage.data() + 7);
}

TEST(n_array_view, a_symmetric_matrix_is_stored_in_its_lower_triangle) {
  std::vector<double> storage = offsets(9);
  const symmetric_view a{storage.data(), 3, 3};
  const matrix_view plain_look{storage.data(), 3, 3};
  for (index_t i = 0; i < 3; ++i)
    for (index_t j = 0; j <= i; ++j) EXPECT_EQ(&a(i, j), &plain_look(i, j)) << i << j;
}

TEST(n_array_view, the_diagonal_of_a_square_matrix_has_every_diagonal_element) {
  std::vector<double> storage = offsets(9);
  const auto d = diagonal(symmetric_view{storage.data(), 3, 3});
  ASSERT_EQ(d.size(), 3);
  for (index_t k = 0; k < 3; ++k) EXPECT_EQ(&d[k], storage.data() + k * 4);
}

TEST(n_array_view, the_diagonal_of_a_wide_matrix_has_as_many_elements_as_rows) {
  std::vector<double> storage = offsets(8);
  const auto d = diagonal(matrix_view{storage.data(), 2, 4});
  ASSERT_EQ(d.size(), 2);
  EXPECT_EQ(&d[1], storage.data() + 3);
}

TEST(n_array_view, the_diagonal_of_a_tall_matrix_has_as_many_elements_as_columns) {
  std::vector<double> storage = offsets(8);
  const auto d = diagonal(matrix_view{storage.data(), 4, 2});
  ASSERT_EQ(d.size(), 2);
  EXPECT_EQ(&d[1], storage.data() + 5);
}

TEST(n_array_view, the_diagonal_of_an_empty_matrix_is_empty) {
  EXPECT_EQ(diagonal(matrix_view{}).size(), 0);
  EXPECT_EQ(diagonal(matrix_view{nullptr, 0, 5}).size(), 0);
}

TEST(n_array_view, a_part_looks_at_the_same_elements) {
  std::vector<double> storage = offsets(5);
  const vector_view part = vector_view{storage.data(), 5}.part(2, 3);
  EXPECT_EQ(part.size(), 3);
  EXPECT_EQ(&part[0], storage.data() + 2);
  EXPECT_EQ(part.end(), storage.data() + 5);
}

TEST(n_array_view, converts_to_a_view_of_constants_and_never_back) {
  static_assert(std::is_convertible_v<vector_view, const_vector_view>);
  static_assert(std::is_convertible_v<matrix_view, const_matrix_view>);
  static_assert(std::is_convertible_v<symmetric_view, const_symmetric_view>);
  static_assert(!std::is_convertible_v<const_vector_view, vector_view>);
  static_assert(!std::is_convertible_v<const_matrix_view, matrix_view>);
  static_assert(!std::is_convertible_v<symmetric_view, matrix_view>);
  std::vector<double> storage = offsets(4);
  const const_matrix_view look = matrix_view{storage.data(), 2, 2};
  EXPECT_EQ(&look(1, 1), &storage[3]);
}

TEST(n_array_view, is_passed_in_registers) {
  static_assert(std::is_trivially_copyable_v<vector_view>);
  static_assert(std::is_trivially_copyable_v<symmetric_view>);
  EXPECT_EQ(sizeof(vector_view), 2 * sizeof(void*));
  EXPECT_EQ(sizeof(matrix_view), 3 * sizeof(void*));
}

}  // namespace
}  // namespace corvane
