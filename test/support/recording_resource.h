// SPDX-License-Identifier: BSD-3-Clause
//
// recording_resource: a memory resource over the heap that writes down every request, so
// that a test can say what an array asks of its resource and what it gives back.
#pragma once

#include <cstddef>
#include <memory_resource>
#include <new>
#include <vector>

namespace corvane::test {

class recording_resource final : public std::pmr::memory_resource {
 public:
  struct call {
    void* block;
    std::size_t bytes;
    std::size_t alignment;
  };

  const std::vector<call>& allocations() const { return allocations_; }
  const std::vector<call>& deallocations() const { return deallocations_; }
  std::size_t num_calls() const { return allocations_.size() + deallocations_.size(); }
  // From now on every allocation throws std::bad_alloc.
  void fail() { fails_ = true; }

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (fails_) throw std::bad_alloc{};
    void* block = std::pmr::new_delete_resource()->allocate(bytes, alignment);
    allocations_.push_back({block, bytes, alignment});
    return block;
  }

  void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override {
    deallocations_.push_back({block, bytes, alignment});
    if (block != nullptr)
      std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
  }

  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
    return this == &other;
  }

  std::vector<call> allocations_;
  std::vector<call> deallocations_;
  bool fails_ = false;
};

// Makes a resource the default one for a scope.
class default_resource_scope {
 public:
  explicit default_resource_scope(std::pmr::memory_resource& resource)
      : before_{std::pmr::set_default_resource(&resource)} {}
  default_resource_scope(const default_resource_scope&) = delete;
  default_resource_scope& operator=(const default_resource_scope&) = delete;
  default_resource_scope(default_resource_scope&&) = delete;
  default_resource_scope& operator=(default_resource_scope&&) = delete;
  ~default_resource_scope() { std::pmr::set_default_resource(before_); }

 private:
  std::pmr::memory_resource* before_;
};

}  // namespace corvane::test
