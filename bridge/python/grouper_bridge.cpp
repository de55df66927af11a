// SPDX-License-Identifier: BSD-3-Clause
#include "python/grouper_bridge.h"

#include <algorithm>
#include <cmath>

#include "python/array_conversion.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

[[noreturn]] void raise_not_correct() {
  raise_error(PyExc_RuntimeError, "variable groupings not correct");
}

// Truncates. A number without a representation, a NaN among them, is no group.
index_t to_group(double number) {
  constexpr double bound = 9223372036854775808.0;  // 2^63
  if (!(std::abs(number) < bound)) raise_not_correct();
  return static_cast<index_t>(number);
}

// Whether the distinct numbers, in order, are 0, 1, 2 and so on, with -1 left out where it
// stands for something else.
bool are_groups_complete(index_vector groups, fixed_parameters fixed) {
  std::sort(groups.begin(), groups.end());
  // Once sorted, each number repeats the one before it or is the next one expected.
  index_t expected = 0;
  index_t previous = -1;
  for (const index_t group : groups) {
    if (group == -1 && fixed == fixed_parameters::allowed) continue;
    if (group != previous || group < 0) {
      if (group != expected) return false;
      ++expected;
    }
    previous = group;
  }
  return true;
}

}  // namespace

index_vector grouper_bridge::operator()(const python_object& X, const python_object& y,
                                        index_t count) const {
  const python_object call{PyObject_GetAttrString(callable_.get(), "__call__")};
  const python_object arguments{pass_size_
                                    ? Py_BuildValue("(OOl)", X.get(), y.get(), long{count})
                                    : Py_BuildValue("(OO)", X.get(), y.get())};
  const python_object result{PyObject_CallObject(call.get(), arguments.get())};
  const dense_vector numbers = to_double_vector(result.get());
  if (numbers.size() != count)
    raise_error(PyExc_RuntimeError, "variable groupings not sized correct");
  return with_memory_error([&] {
    index_vector groups(count);
    std::transform(numbers.begin(), numbers.end(), groups.begin(), to_group);
    if (!are_groups_complete(groups, fixed_)) raise_not_correct();
    return groups;
  });
}

}  // namespace corvane::python_bridge
