// SPDX-License-Identifier: BSD-3-Clause
//
// variable_mapping: which parameters share a variable, and which are held at a fixed value.
#pragma once

#include <exception>
#include <variant>
#include <vector>

#include "n_array/n_array_view.h"

namespace corvane::model {

// The group indices of a mapping are not 0, 1, 2 and so on.
class invalid_variable_mapping : public std::exception {
 public:
  const char* what() const noexcept override { return "invalid_variable_mapping"; }
};

}  // namespace corvane::model

namespace corvane {

class variable_mapping {
 public:
  // A group index, or the value at which the parameter is held.
  using entry = std::variant<index_t, double>;

  struct fixed_record {
    double value;
    std::vector<index_t> positions;
  };

  // One entry per parameter. Throws model::invalid_variable_mapping when the group indices
  // have a hole.
  explicit variable_mapping(const std::vector<entry>& entries);

  index_t size() const { return size_; }
  index_t num_fixed() const { return num_fixed_; }
  // In ascending group index; the positions of each ascend.
  const std::vector<std::vector<index_t>>& groups() const { return groups_; }
  // In ascending value.
  const std::vector<fixed_record>& fixed() const { return fixed_; }

  // Writes one value per parameter: x[g] for those of group g, the fixed value for the
  // rest.
  void expand(const_vector_view x, vector_view out) const;

 private:
  index_t size_;
  index_t num_fixed_ = 0;
  std::vector<std::vector<index_t>> groups_;
  std::vector<fixed_record> fixed_;
};

}  // namespace corvane
