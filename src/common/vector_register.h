// SPDX-License-Identifier: BSD-3-Clause
//
// Vector registers as values, for the few loops that a compiler does not turn into vector
// instructions by itself. Arithmetic on them is by entry; the width is that which
// run_vectorized (common/vector_dispatch.h) passes to its loop.
#pragma once

#include <cstring>

namespace corvane {

template <int Width>
struct vector_register;  // spelled out: the attributes take no template argument
template <>
struct vector_register<2> {
  using lanes = double __attribute__((vector_size(16)));
};
template <>
struct vector_register<4> {
  using lanes = double __attribute__((vector_size(32)));
};
template <>
struct vector_register<8> {
  using lanes = double __attribute__((vector_size(64)));
};

// As many neighbouring doubles as a register holds. Copied bytes become loads and stores
// that need no alignment. Registers are passed by reference: by value the calling
// convention would depend on the instruction set.
template <class Lanes>
void load_lanes(const double* from, Lanes& loaded) {
  std::memcpy(&loaded, from, sizeof loaded);
}

template <class Lanes>
void store_lanes(const Lanes& stored, double* to) {
  std::memcpy(to, &stored, sizeof stored);
}

}  // namespace corvane
