// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/large_pages.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "n_array/n_array.h"

namespace corvane {
namespace {

// Asked of the kernel itself: a container need not see /sys.
bool kernel_has_large_pages() {
  constexpr std::size_t bytes = std::size_t{1} << 22;
  void* const probe =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool accepted = madvise(probe, bytes, MADV_HUGEPAGE) == 0;
  munmap(probe, bytes);
  return accepted;
}

// Whether the kernel's own account of this process has the flag "hg", advised for huge
// pages, on the mapping around the address.
bool is_advised(const void* address) {
  const auto sought = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream mappings{"/proc/self/smaps"};
  bool inside = false;
  for (std::string line; std::getline(mappings, line);) {
    std::uintptr_t first = 0;
    std::uintptr_t last = 0;
    char dash = 0;
    std::istringstream range{line};
    if (range >> std::hex >> first >> dash >> last && dash == '-')
      inside = first <= sought && sought < last;
    else if (inside && line.starts_with("VmFlags:"))
      return line.find(" hg") != std::string::npos;
  }
  return false;
}

TEST(large_pages, a_large_array_is_advised_where_the_kernel_has_such_pages) {
  const dense_vector large(index_t{1} << 21);
  EXPECT_EQ(is_advised(large.data() + large.size() / 2), kernel_has_large_pages());
}

TEST(large_pages, a_small_array_in_a_mapping_of_its_own_is_not_advised) {
  const dense_vector small(index_t{large_array_bytes / sizeof(double)} - 1000);
  EXPECT_FALSE(is_advised(small.data() + small.size() / 2));
}

TEST(large_pages, advice_keeps_what_the_memory_holds) {
  std::vector<double> values(index_t{1} << 20, 3.0);
  advise_large_pages(values.data() + 1, values.size() * sizeof(double) - 16);
  EXPECT_TRUE(
      std::all_of(values.begin(), values.end(), [](double value) { return value == 3.0; }));
}

TEST(large_pages, memory_without_a_whole_page_is_left_alone) {
  std::vector<double> values(8, 5.0);
  advise_large_pages(values.data(), values.size() * sizeof(double));
  advise_large_pages(values.data(), 0);
  EXPECT_FALSE(is_advised(values.data()));
}

}  // namespace
}  // namespace corvane
