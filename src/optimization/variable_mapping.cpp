// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/variable_mapping.h"

#include <cmath>
#include <map>
#include <utility>

namespace corvane {

namespace {

// An order of all doubles: NaN, which no comparison of numbers places, comes last.
struct ascending_nan_last {
  bool operator()(double a, double b) const {
    return std::isnan(b) ? !std::isnan(a) : a < b;
  }
};

}  // namespace

variable_mapping::variable_mapping(const std::vector<entry>& entries)
    : size_{static_cast<index_t>(entries.size())} {
  std::map<index_t, std::vector<index_t>> positions_of_group;
  std::map<double, std::vector<index_t>, ascending_nan_last> positions_of_value;
  for (index_t position = 0; position < size_; ++position) {
    const entry& which = entries[static_cast<std::size_t>(position)];
    if (const auto* group = std::get_if<index_t>(&which)) {
      positions_of_group[*group].push_back(position);
    } else {
      positions_of_value[std::get<double>(which)].push_back(position);
      ++num_fixed_;
    }
  }
  for (auto& [group, positions] : positions_of_group) {
    if (group != static_cast<index_t>(groups_.size()))
      throw model::invalid_variable_mapping{};
    groups_.push_back(std::move(positions));
  }
  fixed_.reserve(positions_of_value.size());
  for (auto& [value, positions] : positions_of_value)
    fixed_.push_back({value, std::move(positions)});
}

void variable_mapping::expand(const_vector_view x, vector_view out) const {
  for (std::size_t g = 0; g < groups_.size(); ++g)
    for (const index_t position : groups_[g]) out[position] = x[static_cast<index_t>(g)];
  for (const fixed_record& record : fixed_)
    for (const index_t position : record.positions) out[position] = record.value;
}

}  // namespace corvane
