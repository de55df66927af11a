// SPDX-License-Identifier: BSD-3-Clause
//
// Compiles a loop for every processor, for those with AVX2 and for those with AVX-512, and
// chooses when it runs. The loop is a callable whose argument is the number of doubles in a
// vector register, as a type. No variant reorders arithmetic, nor contracts it unless its
// source file is compiled to: what does not use that number gives the same results in all
// of them. Plain calls, since sanitizers do not support resolvers at load time.
#pragma once

#include <type_traits>

namespace corvane {

template <int Doubles>
using vector_width = std::integral_constant<int, Doubles>;

namespace vector_dispatch_detail {

// The largest number of doubles in a register that may be chosen. Tests reduce it before
// the first loop runs.
inline int& widest_register() {
  static int doubles = 8;
  return doubles;
}

}  // namespace vector_dispatch_detail

#if defined(__x86_64__) && defined(__GNUC__)

namespace vector_dispatch_detail {

enum class instruction_set { baseline, avx2, avx512 };

inline instruction_set detect() {
  const int widest = widest_register();
  if (widest >= 8 && __builtin_cpu_supports("avx512f") != 0 &&
      __builtin_cpu_supports("avx512dq") != 0)
    return instruction_set::avx512;
  return widest >= 4 && __builtin_cpu_supports("avx2") != 0 &&
                 __builtin_cpu_supports("fma") != 0
             ? instruction_set::avx2
             : instruction_set::baseline;
}

// These inline all of the loop, so that it is compiled for the instruction set as well.
// What the loop has captured is copied, so that the compiler sees that its writes do not
// change it.
template <class Loop>
__attribute__((target("avx2,fma"), flatten)) void run_with_avx2(const Loop& loop) {
  const Loop own = loop;
  own(vector_width<4>{});
}

template <class Loop>
__attribute__((target("avx512f,avx512dq"), flatten)) void run_with_avx512(
    const Loop& loop) {
  const Loop own = loop;
  own(vector_width<8>{});
}

}  // namespace vector_dispatch_detail

template <class Loop>
void run_vectorized(const Loop& loop) {
  using vector_dispatch_detail::instruction_set;
  static const instruction_set available = vector_dispatch_detail::detect();
  switch (available) {
    case instruction_set::avx512:
      return vector_dispatch_detail::run_with_avx512(loop);
    case instruction_set::avx2:
      return vector_dispatch_detail::run_with_avx2(loop);
    default:
      loop(vector_width<2>{});
  }
}

#else

template <class Loop>
void run_vectorized(const Loop& loop) {
  loop(vector_width<2>{});
}

#endif

}  // namespace corvane
