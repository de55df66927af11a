// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/n_array.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

#include "support/recording_resource.h"

namespace corvane {
namespace {

using test::default_resource_scope;
using test::recording_resource;

constexpr index_t huge = std::numeric_limits<index_t>::max();

TEST(n_array, default_built_is_empty_on_the_default_resource) {
  recording_resource resource;
  const default_resource_scope scope{resource};
  const dense_vector v;
  const dense_matrix a;
  EXPECT_EQ(v.data(), nullptr);
  EXPECT_EQ(v.size(), 0);
  EXPECT_EQ(v.capacity(), 0);
  EXPECT_EQ(v.resource(), &resource);
  EXPECT_EQ(a.rows(), 0);
  EXPECT_EQ(a.cols(), 0);
}

TEST(n_array, default_built_can_be_move_assigned_to_and_from) {
  dense_vector source(3);
  source[2] = 7.0;
  dense_vector target;
  target = std::move(source);
  ASSERT_EQ(target.size(), 3);
  EXPECT_EQ(target[2], 7.0);
  target = dense_vector{};
  EXPECT_EQ(target.size(), 0);
  EXPECT_EQ(target.data(), nullptr);
  target = dense_vector{};
  EXPECT_EQ(target.size(), 0);
}

TEST(n_array, built_from_a_shape_of_no_elements_holds_null_and_never_calls_the_resource) {
  recording_resource resource;
  const default_resource_scope scope{resource};
  {
    const dense_vector v(0);
    const dense_matrix a(0, 5);
    const symmetric_matrix s(0, 0);
    EXPECT_EQ(v.data(), nullptr);
    EXPECT_EQ(a.data(), nullptr);
    EXPECT_EQ(a.cols(), 5);
    EXPECT_EQ(a.capacity(), 0);
    EXPECT_EQ(s.data(), nullptr);
    dense_matrix copied;
    copied = a;
    EXPECT_EQ(copied.cols(), 5);
  }
  EXPECT_EQ(resource.num_calls(), 0U);
}

TEST(n_array, built_from_a_shape_allocates_exactly_its_elements_at_alignment_64) {
  recording_resource resource;
  const default_resource_scope scope{resource};
  {
    const dense_matrix a(3, 5);
    EXPECT_EQ(a.capacity(), 15);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a.data()) % 64, 0U);
  }
  ASSERT_EQ(resource.allocations().size(), 1U);
  EXPECT_EQ(resource.allocations()[0].bytes, 120U);
  EXPECT_EQ(resource.allocations()[0].alignment, 64U);
  ASSERT_EQ(resource.deallocations().size(), 1U);
  EXPECT_EQ(resource.deallocations()[0].block, resource.allocations()[0].block);
  EXPECT_EQ(resource.deallocations()[0].bytes, 120U);
  EXPECT_EQ(resource.deallocations()[0].alignment, 64U);
}

TEST(n_array, a_shape_whose_elements_cannot_be_counted_is_refused) {
  EXPECT_THROW(dense_matrix(huge, 2), std::bad_array_new_length);
  EXPECT_THROW(dense_matrix(index_t{1} << 32, index_t{1} << 32), std::bad_array_new_length);
  EXPECT_THROW(dense_matrix(-1, 3), std::bad_array_new_length);
  EXPECT_THROW(dense_matrix(-1, -1), std::bad_array_new_length);
  EXPECT_THROW(dense_vector(-1), std::bad_array_new_length);
}

TEST(n_array, a_shape_whose_bytes_cannot_be_counted_is_refused) {
  EXPECT_THROW(dense_vector(huge / 8 + 1), std::bad_array_new_length);
  EXPECT_THROW(dense_matrix(index_t{1} << 31, index_t{1} << 31), std::bad_array_new_length);
}

TEST(n_array, a_copy_has_elements_of_its_own) {
  dense_matrix a(2, 2);
  for (double& entry : a) entry = 1.5;
  const dense_matrix copied{a};
  a(1, 0) = 9.0;
  EXPECT_NE(copied.data(), a.data());
  EXPECT_EQ(copied(1, 0), 1.5);
  EXPECT_EQ(copied.rows(), 2);
}

TEST(n_array, a_copy_takes_the_default_resource) {
  recording_resource resource;
  dense_vector on_another{&resource};
  on_another = const_vector_view{dense_vector(0)};
  const dense_vector copied{on_another};
  EXPECT_EQ(on_another.resource(), &resource);
  EXPECT_EQ(copied.resource(), std::pmr::get_default_resource());
}

TEST(n_array, built_by_move_takes_buffer_and_resource_and_leaves_the_source_empty) {
  recording_resource resource;
  dense_matrix source{&resource};
  const dense_matrix values(3, 2);
  source = values;
  const double* buffer = source.data();
  const dense_matrix target{std::move(source)};
  EXPECT_EQ(target.data(), buffer);
  EXPECT_EQ(target.resource(), &resource);
  EXPECT_EQ(target.rows(), 3);
  EXPECT_EQ(target.cols(), 2);
  EXPECT_EQ(target.capacity(), 6);
  EXPECT_EQ(source.data(), nullptr);  // NOLINT(bugprone-use-after-move): the promise tested
  EXPECT_EQ(source.rows(), 0);
  EXPECT_EQ(source.cols(), 0);
  EXPECT_EQ(source.capacity(), 0);
}

TEST(n_array, a_moved_shape_without_elements_arrives_and_leaves_the_source_empty) {
  dense_matrix source(0, 5);
  const dense_matrix target{std::move(source)};
  EXPECT_EQ(target.cols(), 5);
  EXPECT_EQ(source.cols(), 0);  // NOLINT(bugprone-use-after-move): the promise tested
}

TEST(n_array, can_grow_a_vector_without_copies) {
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<dense_vector>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<symmetric_matrix>);
}

TEST(n_array, symmetric_elements_are_the_same_in_both_orders) {
  symmetric_matrix a(4, 4);
  a(3, 1) = 2.5;
  EXPECT_EQ(a(1, 3), 2.5);
  EXPECT_EQ(&a(1, 3), &a(3, 1));
  EXPECT_EQ(&a(1, 3), a.data() + 7);
}

TEST(n_array, iterates_over_all_elements_in_storage_order) {
  dense_matrix a(2, 3);
  double next = 0.0;
  for (double& entry : a) entry = next++;
  EXPECT_EQ(a(1, 0), 1.0);
  EXPECT_EQ(a(0, 1), 2.0);
  EXPECT_EQ(a(1, 2), 5.0);
}

}  // namespace
}  // namespace corvane
