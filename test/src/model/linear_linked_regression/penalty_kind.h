// SPDX-License-Identifier: BSD-3-Clause
//
// The four penalties by name, over any grouping of the weights.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "model/linear_linked_regression/bridge_regularizer.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

enum class penalty_kind { ridge, lasso, elastic, bridge };

inline constexpr penalty_kind all_penalties[] = {  // NOLINT(modernize-avoid-c-arrays)
    penalty_kind::ridge, penalty_kind::lasso, penalty_kind::elastic, penalty_kind::bridge};

inline constexpr double smoothing_threshold = 0.01;

inline std::shared_ptr<const regularizer> penalty_of(penalty_kind kind,
                                                     variable_mapping mapping) {
  switch (kind) {
    case penalty_kind::ridge:
      return std::make_shared<ridge_regularizer>(std::move(mapping));
    case penalty_kind::lasso:
      return std::make_shared<lasso_regularizer>(std::move(mapping), smoothing_threshold);
    case penalty_kind::elastic:
      return std::make_shared<elastic_regularizer>(std::move(mapping), smoothing_threshold);
    case penalty_kind::bridge:
      break;
  }
  return std::make_shared<bridge_regularizer>(std::move(mapping), smoothing_threshold);
}

// Weight k belongs to group k modulo num_groups; with `free_last` the last one to none.
inline variable_mapping cyclic_groups(index_t p, index_t num_groups,
                                      bool free_last = false) {
  std::vector<variable_mapping::entry> entries;
  for (index_t k = 0; k < p; ++k) entries.emplace_back(k % num_groups);
  if (free_last) entries.back() = 0.0;
  return variable_mapping{entries};
}

}  // namespace corvane::model
