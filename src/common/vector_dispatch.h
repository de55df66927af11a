// SPDX-License-Identifier: BSD-3-Clause
//
// Compiles a loop twice, for every processor and for those with AVX2, and chooses between
// the two when it runs. Neither contracts or reorders arithmetic: the results are the same.
// Plain calls rather than resolvers at load time, which sanitizers do not get along with.
#pragma once

namespace corvane {

#if defined(__x86_64__) && defined(__GNUC__)

// Inlines all of the loop, so that it is compiled for AVX2 as well. The copy of what the
// loop has captured is out of reach of what it writes.
template <class Loop>
__attribute__((target("avx2"), flatten)) void run_with_avx2(const Loop& loop) {
  const Loop own = loop;
  own();
}

template <class Loop>
void run_vectorized(const Loop& loop) {
  static const bool has_avx2 = __builtin_cpu_supports("avx2") != 0;
  if (has_avx2)
    run_with_avx2(loop);
  else
    loop();
}

#else

template <class Loop>
void run_vectorized(const Loop& loop) {
  loop();
}

#endif

}  // namespace corvane
