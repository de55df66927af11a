// SPDX-License-Identifier: BSD-3-Clause
//
// What an assignment asks of the memory resource, and which elements it carries.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <new>
#include <vector>

#include "n_array/n_array.h"
#include "support/recording_resource.h"

namespace corvane {
namespace {

using test::recording_resource;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// 1, 2, 3 and so on in storage order.
dense_matrix counted(index_t rows, index_t cols) {
  dense_matrix a(rows, cols);
  double next = 1.0;
  for (double& entry : a) entry = next++;
  return a;
}

TEST(n_array_assignment, of_a_smaller_matrix_keeps_the_buffer_and_its_capacity) {
  recording_resource resource;
  dense_matrix target{&resource};
  target = counted(3, 3).view();
  const double* buffer = target.data();
  const dense_matrix small = counted(2, 2);
  target = small;
  EXPECT_EQ(target.data(), buffer);
  EXPECT_EQ(target.capacity(), 9);
  EXPECT_EQ(target.rows(), 2);
  EXPECT_EQ(target.cols(), 2);
  EXPECT_EQ(target(0, 1), 3.0);
  EXPECT_EQ(resource.num_calls(), 1U);
}

TEST(n_array_assignment, of_no_elements_keeps_the_buffer) {
  dense_matrix target = counted(3, 3);
  const double* buffer = target.data();
  target = dense_matrix(0, 4).view();
  EXPECT_EQ(target.data(), buffer);
  EXPECT_EQ(target.capacity(), 9);
  EXPECT_EQ(target.size(), 0);
  EXPECT_EQ(target.cols(), 4);
}

TEST(n_array_assignment, of_a_larger_matrix_releases_first_and_allocates_exactly) {
  recording_resource resource;
  {
    dense_matrix target{&resource};
    target = counted(2, 2).view();
    target = counted(3, 3).view();
    EXPECT_EQ(target.capacity(), 9);
    EXPECT_EQ(target(2, 2), 9.0);
  }
  ASSERT_EQ(resource.allocations().size(), 2U);
  EXPECT_EQ(resource.allocations()[1].bytes, 72U);
  EXPECT_EQ(resource.allocations()[1].alignment, 64U);
  ASSERT_EQ(resource.deallocations().size(), 2U);
  EXPECT_EQ(resource.deallocations()[0].block, resource.allocations()[0].block);
  EXPECT_EQ(resource.deallocations()[0].bytes, 32U);
}

TEST(n_array_assignment, into_an_array_without_a_buffer_releases_nothing) {
  recording_resource resource;
  dense_vector target{&resource};
  target = dense_vector(4).view();
  EXPECT_EQ(resource.deallocations().size(), 0U);
  EXPECT_EQ(resource.allocations().size(), 1U);
}

TEST(n_array_assignment, that_finds_no_memory_leaves_an_array_of_no_elements) {
  recording_resource resource;
  dense_matrix target{&resource};
  target = counted(2, 2).view();
  resource.fail();
  const dense_matrix large = counted(5, 5);
  EXPECT_THROW(target = large, std::bad_alloc);
  EXPECT_EQ(target.data(), nullptr);
  EXPECT_EQ(target.size(), 0);
  EXPECT_EQ(target.capacity(), 0);
}

TEST(n_array_assignment, of_itself_changes_nothing) {
  dense_matrix a = counted(2, 3);
  const double* buffer = a.data();
  const dense_matrix& same = a;
  a = same;
  a = a.view();
  EXPECT_EQ(a.data(), buffer);
  EXPECT_EQ(a(1, 2), 6.0);
  EXPECT_EQ(a.cols(), 3);
}

TEST(n_array_assignment, of_a_part_of_itself_keeps_the_part) {
  dense_vector v(5);
  for (index_t i = 0; i < 5; ++i) v[i] = static_cast<double>(i);
  v = v.view().part(2, 3);
  ASSERT_EQ(v.size(), 3);
  EXPECT_EQ(v[0], 2.0);
  EXPECT_EQ(v[2], 4.0);
}

TEST(n_array_assignment, of_a_symmetric_matrix_leaves_the_other_triangle_untouched) {
  symmetric_matrix target(3, 3);
  std::fill(target.begin(), target.end(), -1.0);
  std::vector<double> storage(9, nan);
  const symmetric_view source{storage.data(), 3, 3};
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = j; i < 3; ++i) source(i, j) = static_cast<double>(10 * i + j);
  target = source;
  for (index_t j = 0; j < 3; ++j)
    for (index_t i = 0; i < 3; ++i)
      EXPECT_EQ(target.data()[j * 3 + i], i >= j ? static_cast<double>(10 * i + j) : -1.0);
}

TEST(n_array_assignment, of_a_matrix_that_is_not_square_to_a_symmetric_one_panics) {
  std::vector<double> storage(6);
  const symmetric_view source{storage.data(), 2, 3};
  const char* text = "^src/n_array/n_array:145 panic: shape must be equal dimensional$";
  EXPECT_EXIT(symmetric_matrix{source}, testing::KilledBySignal(SIGABRT), text);
  symmetric_matrix target;
  EXPECT_EXIT(target = source, testing::KilledBySignal(SIGABRT), text);
}

TEST(n_array_move, into_itself_changes_nothing_and_releases_nothing) {
  recording_resource resource;
  dense_matrix a{&resource};
  a = counted(2, 2).view();
  const double* buffer = a.data();
  dense_matrix& same = a;
  a = std::move(same);
  EXPECT_EQ(a.data(), buffer);
  EXPECT_EQ(a.rows(), 2);
  EXPECT_EQ(a(1, 1), 4.0);
  EXPECT_EQ(resource.deallocations().size(), 0U);
}

TEST(n_array_move, takes_the_buffer_from_an_equal_resource) {
  recording_resource resource;
  dense_vector source{&resource};
  dense_vector target{&resource};
  source = dense_vector(3).view();
  target = dense_vector(5).view();
  const double* buffer = source.data();
  const double* released = target.data();
  target = std::move(source);
  EXPECT_EQ(target.data(), buffer);
  EXPECT_EQ(target.size(), 3);
  EXPECT_EQ(target.capacity(), 3);
  EXPECT_EQ(source.data(), nullptr);  // NOLINT(bugprone-use-after-move): the promise tested
  EXPECT_EQ(source.size(), 0);
  EXPECT_EQ(source.capacity(), 0);
  ASSERT_EQ(resource.deallocations().size(), 1U);
  EXPECT_EQ(resource.deallocations()[0].block, released);
  EXPECT_EQ(resource.deallocations()[0].bytes, 40U);
}

TEST(n_array_move, releases_the_target_also_when_it_holds_nothing) {
  recording_resource resource;
  dense_vector source{&resource};
  dense_vector target{&resource};
  source = dense_vector(3).view();
  target = std::move(source);
  ASSERT_EQ(resource.deallocations().size(), 1U);
  EXPECT_EQ(resource.deallocations()[0].block, nullptr);
  EXPECT_EQ(resource.deallocations()[0].bytes, 0U);
  EXPECT_EQ(resource.deallocations()[0].alignment, 64U);
}

TEST(n_array_move, between_unequal_resources_copies_and_the_source_keeps_its_elements) {
  recording_resource first;
  recording_resource second;
  dense_matrix source{&first};
  dense_matrix target{&second};
  source = counted(2, 3).view();
  target = std::move(source);
  EXPECT_EQ(target.resource(), &second);
  EXPECT_EQ(target(1, 2), 6.0);
  EXPECT_EQ(second.allocations().size(), 1U);
  EXPECT_EQ(source.rows(), 2);  // NOLINT(bugprone-use-after-move): the promise tested
  EXPECT_EQ(source(1, 2), 6.0);
}

TEST(n_array_move, between_unequal_resources_may_fail_and_leaves_the_source_whole) {
  recording_resource first;
  recording_resource second;
  dense_matrix source{&first};
  dense_matrix target{&second};
  source = counted(2, 3).view();
  second.fail();
  EXPECT_THROW(target = std::move(source), std::bad_alloc);
  EXPECT_EQ(target.size(), 0);
  EXPECT_EQ(source(1, 2), 6.0);  // NOLINT(bugprone-use-after-move): the promise tested
}

}  // namespace
}  // namespace corvane
