// SPDX-License-Identifier: BSD-3-Clause
#include "common/scoped_allocator.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <new>
#include <thread>

#include "common/address_sanitizer.h"

namespace corvane {
namespace {

std::uintptr_t address(const void* block) {
  return reinterpret_cast<std::uintptr_t>(block);
}

bool in_arena(const scoped_allocator& scope, const void* block) {
  const std::uintptr_t base = address(scope.arena().base);
  return address(block) >= base && address(block) < base + scope.arena().capacity;
}

// Bytes that malloc has handed out; the sanitizers, which replace malloc, say 0.
std::size_t bytes_on_heap() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST(scoped_allocator, an_arena_has_2097152_bytes_and_a_fresh_one_is_unused) {
  const scoped_allocator scope;
  EXPECT_EQ(scope.arena().capacity, 2097152U);
  EXPECT_EQ(scope.arena().used, 0U);
}

TEST(scoped_allocator, an_inner_scope_gives_its_memory_back_to_the_outer_one) {
  scoped_allocator outer;
  outer.take<double>(3);
  void* of_inner = nullptr;
  const std::size_t used = outer.arena().used;
  {
    scoped_allocator inner;
    of_inner = inner.take<double>(100);
    inner.take<double>(50);
    EXPECT_GT(outer.arena().used, used);
  }
  EXPECT_EQ(outer.arena().used, used);
  EXPECT_EQ(outer.take<double>(7), of_inner);
}

TEST(scoped_allocator, the_end_of_the_outermost_scope_leaves_nothing_used) {
  {
    scoped_allocator scope;
    scope.do_allocate(3, 1);
    scope.vector(5);
    scope.matrix(7, 9);
    scope.symmetric(4);
    EXPECT_GT(scope.arena().used, 8U * (5 + 63 + 16));
  }
  EXPECT_EQ(scoped_allocator{}.arena().used, 0U);
}

TEST(scoped_allocator, blocks_do_not_overlap_and_have_their_alignment) {
  scoped_allocator scope;
  std::uintptr_t end = 0;
  for (const std::size_t alignment : {1U, 2U, 4U, 8U, 16U, 64U, 256U, 4096U})
    for (const std::size_t bytes : {1U, 7U, 8U, 100U}) {
      void* block = scope.do_allocate(bytes, alignment);
      ASSERT_TRUE(in_arena(scope, block));
      ASSERT_EQ(address(block) % alignment, 0U);
      ASSERT_GE(address(block), end);
      std::memset(block, 0xab, bytes);
      end = address(block) + bytes;
    }
}

TEST(scoped_allocator, the_views_have_their_shape_at_alignment_64) {
  scoped_allocator scope;
  scope.do_allocate(1, 1);
  const vector_view v = scope.vector(3);
  const matrix_view a = scope.matrix(2, 5);
  const symmetric_view s = scope.symmetric(4);
  EXPECT_EQ(v.size(), 3);
  EXPECT_EQ(a.rows(), 2);
  EXPECT_EQ(a.cols(), 5);
  EXPECT_EQ(s.rows(), 4);
  EXPECT_EQ(s.cols(), 4);
  for (const double* data : {v.data(), a.data(), s.data()})
    EXPECT_EQ(address(data) % 64, 0U);
}

TEST(scoped_allocator,
     a_request_of_3_mib_comes_from_the_heap_and_goes_back_with_the_scope) {
  { const scoped_allocator makes_the_arena; }
  const std::size_t before = bytes_on_heap();
  {
    scoped_allocator scope;
    constexpr std::size_t bytes = 3U << 20;
    void* block = scope.do_allocate(bytes, 64);
    EXPECT_FALSE(in_arena(scope, block));
    EXPECT_EQ(scope.arena().used, 0U);
    std::memset(block, 1, bytes);
    if (before > 0) {
      EXPECT_GE(bytes_on_heap(), before + bytes);
    }
  }
  EXPECT_EQ(bytes_on_heap(), before);
}

TEST(scoped_allocator, many_heap_blocks_all_go_back) {
  const auto take_many = [] {
    scoped_allocator scope;
    scope.do_allocate(scoped_arena::size_in_bytes, 1);
    for (const std::size_t alignment : {1U, 2U, 4U, 8U, 16U, 64U})
      for (const std::size_t bytes : {0U, 1U, 100U, 100000U})
        std::memset(scope.do_allocate(bytes, alignment), 1, bytes);
  };
  take_many();  // makes the arena, and fills malloc's own cache of small blocks
  const std::size_t before = bytes_on_heap();
  take_many();
  EXPECT_EQ(bytes_on_heap(), before);
}

TEST(scoped_allocator, a_heap_block_for_doubles_is_aligned_as_malloc_aligns) {
  scoped_allocator scope;
  EXPECT_EQ(address(scope.take<double>(1 << 20)) % 16, 0U);
}

TEST(scoped_allocator, a_request_that_fits_only_without_its_padding_goes_to_the_heap) {
  scoped_allocator scope;
  scope.do_allocate(1, 1);
  const std::size_t rest = scope.arena().capacity - 1;
  EXPECT_FALSE(in_arena(scope, scope.do_allocate(rest, 64)));
  EXPECT_EQ(scope.arena().used, 1U);
  EXPECT_TRUE(in_arena(scope, scope.do_allocate(rest, 1)));
  EXPECT_EQ(scope.arena().used, scope.arena().capacity);
}

TEST(scoped_allocator, a_full_arena_serves_from_the_heap_and_is_whole_again_afterwards) {
  {
    scoped_allocator scope;
    scope.do_allocate(scope.arena().capacity, 1);
    EXPECT_FALSE(in_arena(scope, scope.take<double>(1)));
  }
  scoped_allocator scope;
  EXPECT_TRUE(in_arena(scope, scope.take<double>(1)));
}

TEST(scoped_allocator, deallocation_leaves_the_used_bytes_unchanged) {
  scoped_allocator scope;
  void* block = scope.do_allocate(800, 64);
  const std::size_t used = scope.arena().used;
  scope.do_deallocate(block, 800, 64);
  EXPECT_EQ(scope.arena().used, used);
  std::pmr::memory_resource& resource = scope;
  resource.deallocate(block, 800, 64);
  EXPECT_EQ(scope.arena().used, used);
}

TEST(scoped_allocator, equals_itself_alone_even_on_the_same_arena) {
  const scoped_allocator outer;
  const scoped_allocator inner;
  EXPECT_EQ(&outer.arena(), &inner.arena());
  EXPECT_TRUE(outer.is_equal(outer));
  EXPECT_FALSE(outer.is_equal(inner));
  EXPECT_FALSE(inner.is_equal(outer));
}

TEST(scoped_allocator, each_thread_has_an_arena_of_its_own) {
  scoped_allocator scope;
  scope.take<double>(10);
  const std::size_t used = scope.arena().used;
  std::thread{[&] {
    scoped_allocator other;
    EXPECT_NE(other.arena().base, scope.arena().base);
    EXPECT_EQ(other.arena().used, 0U);
    other.take<double>(1000);
  }}.join();
  EXPECT_EQ(scope.arena().used, used);
}

// Built before the thread's arena, so that it goes after it.
struct last_of_the_thread {
  ~last_of_the_thread() {
    scoped_allocator scope;
    auto* block = scope.take<double>(8);
    block[7] = 1.0;
    served_by_heap = !in_arena(scope, block);
    served_zero_bytes = scope.do_allocate(0, 1) != nullptr;
  }
  static inline bool served_by_heap = false;
  static inline bool served_zero_bytes = false;
};

TEST(scoped_allocator, a_scope_that_opens_after_the_arena_is_freed_uses_the_heap) {
  std::thread{[] {
    thread_local const last_of_the_thread last;
    EXPECT_NE(&last, nullptr);
    scoped_allocator{}.take<double>(1);
  }}.join();
  EXPECT_TRUE(last_of_the_thread::served_by_heap);
  EXPECT_TRUE(last_of_the_thread::served_zero_bytes);
}

TEST(scoped_allocator, an_exhausted_heap_ends_the_process) {
  EXPECT_DEATH(scoped_allocator{}.vector(index_t{1} << 59), "");
}

// The child begins anew, so that its thread has no arena yet.
TEST(scoped_allocator, an_arena_that_finds_no_memory_ends_the_process) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        rlimit none{};
        getrlimit(RLIMIT_AS, &none);
        none.rlim_cur = 0;
        setrlimit(RLIMIT_AS, &none);
        const scoped_allocator scope;
      },
      "");
}

TEST(scoped_allocator, a_block_that_no_heap_can_hold_ends_the_process) {
  EXPECT_EXIT(scoped_allocator{}.do_allocate(~std::size_t{0}, 64),
              testing::KilledBySignal(SIGABRT), "");
}

TEST(scoped_allocator, a_size_that_does_not_exist_is_an_exception) {
  EXPECT_THROW(scoped_allocator{}.matrix(index_t{1} << 40, index_t{1} << 40),
               std::bad_array_new_length);
  EXPECT_THROW(scoped_allocator{}.vector(-1), std::bad_array_new_length);
}

TEST(scoped_allocator, an_exhausted_heap_is_an_exception_where_that_is_chosen) {
  set_scratch_exhaustion(scratch_exhaustion::throws_bad_alloc);
  scoped_allocator outer;
  const std::size_t used = outer.arena().used;
  const auto exhaust = [] {
    scoped_allocator scope;
    scope.vector(100);
    scope.vector(index_t{1} << 59);
  };
  EXPECT_THROW(exhaust(), std::bad_alloc);
  EXPECT_THROW(scoped_allocator{}.do_allocate(~std::size_t{0}, 64), std::bad_alloc);
  set_scratch_exhaustion(scratch_exhaustion::ends_process);
  // The scope that could not serve has given back what it held.
  EXPECT_EQ(outer.arena().used, used);
}

#ifdef CORVANE_ADDRESS_SANITIZER

bool may_touch(const void* block, std::size_t bytes) {
  return __asan_region_is_poisoned(const_cast<void*>(block), bytes) == nullptr;
}

TEST(scoped_allocator, no_block_is_ever_half_forbidden) {
  scoped_allocator outer;
  const void* kept = outer.do_allocate(13, 1);
  for (const std::size_t alignment : {1U, 2U, 4U, 8U, 16U, 64U})
    for (std::size_t bytes = 1; bytes < 40; ++bytes) {
      scoped_allocator inner;
      const void* first = inner.do_allocate(bytes, alignment);
      const void* second = inner.do_allocate(bytes, alignment);
      ASSERT_TRUE(may_touch(kept, 13));
      ASSERT_TRUE(may_touch(first, bytes)) << bytes << " at " << alignment;
      ASSERT_TRUE(may_touch(second, bytes)) << bytes << " at " << alignment;
    }
  EXPECT_TRUE(may_touch(kept, 13));
}

TEST(scoped_allocator, a_block_is_forbidden_after_its_scope) {
  const double* block = scoped_allocator{}.take<double>(100);
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(may_touch(block + i, 8));
}

TEST(scoped_allocator, the_byte_behind_the_last_block_is_forbidden) {
  scoped_allocator scope;
  const auto* block = static_cast<const char*>(scope.do_allocate(13, 8));
  EXPECT_TRUE(may_touch(block, 13));
  EXPECT_FALSE(may_touch(block + 13, 1));
}

#endif

}  // namespace
}  // namespace corvane
