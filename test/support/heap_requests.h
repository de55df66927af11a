// SPDX-License-Identifier: BSD-3-Clause
//
// How often a program has asked the heap for memory: every operator new, and every malloc
// of the libraries under test. A program that links trevalon_counted_heap is linked with
// --wrap=malloc, which leads the calls of our own objects through the counter.
#pragma once

namespace corvane::testing {

long num_heap_requests();

// What `action` asks for the second time: the first run sets up what is made once in a
// process.
template <class Action>
long heap_requests_when_warm(Action action) {
  action();
  const long before = num_heap_requests();
  action();
  return num_heap_requests() - before;
}

}  // namespace corvane::testing
