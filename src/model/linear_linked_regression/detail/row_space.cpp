// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/row_space.h"

#include <algorithm>
#include <utility>

#include "common/linear_algebra.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"

namespace corvane::model::linear_linked_regression_detail {

std::optional<row_space> row_space::find(const_matrix_view X, const regularizer& penalty) {
  const variable_mapping& mapping = penalty.mapping();
  const auto is_wide = [&](const std::vector<index_t>& columns) {
    return static_cast<index_t>(columns.size()) > X.rows();
  };
  if (dynamic_cast<const ridge_regularizer*>(&penalty) == nullptr ||
      std::none_of(mapping.groups().begin(), mapping.groups().end(), is_wide))
    return std::nullopt;

  row_space found;
  found.num_weights_ = X.cols();
  std::vector<variable_mapping::entry> entries;
  const auto extend = [&](variable_mapping::entry entry) {
    entries.resize(static_cast<std::size_t>(found.num_reduced_), entry);
  };
  for (std::size_t g = 0; g < mapping.groups().size(); ++g) {
    found.append(X, mapping.groups()[g], true);
    extend(static_cast<index_t>(g));
  }
  for (const variable_mapping::fixed_record& fixed : mapping.fixed()) {
    found.append(X, fixed.positions, false);
    extend(fixed.value);
  }
  found.penalty = std::make_shared<ridge_regularizer>(variable_mapping{entries});
  found.fill_design(X);
  return found;
}

void row_space::append(const_matrix_view X, const std::vector<index_t>& columns,
                       bool may_rotate) {
  const index_t n = X.rows();
  const auto count = static_cast<index_t>(columns.size());
  part next{columns, num_reduced_, {}, {}};
  if (may_rotate && count > n) {
    next.factor = dense_matrix{count, n};
    next.tau = dense_vector{n};
    for (index_t i = 0; i < n; ++i)
      for (index_t k = 0; k < count; ++k)
        next.factor(k, i) = X(i, columns[static_cast<std::size_t>(k)]);
    geqrf(next.factor, next.tau);
  }
  num_reduced_ += next.tau.size() > 0 ? n : count;
  parts_.push_back(std::move(next));
}

void row_space::fill_design(const_matrix_view X) {
  const index_t n = X.rows();
  design = dense_matrix{n, num_reduced_};
  for (const part& from : parts_) {
    if (from.tau.size() == 0) {
      for (std::size_t k = 0; k < from.columns.size(); ++k)
        std::copy_n(X.column(from.columns[k]).begin(), n,
                    design.view().column(from.first + static_cast<index_t>(k)).begin());
      continue;
    }
    for (index_t k = 0; k < n; ++k)
      for (index_t i = 0; i < n; ++i)
        design(i, from.first + k) = k <= i ? from.factor(k, i) : 0.0;
  }
}

dense_vector row_space::expand(const_vector_view u) const {
  dense_vector w{num_weights_};
  for (const part& from : parts_) {
    const auto count = static_cast<index_t>(from.columns.size());
    dense_vector part_weights{count};
    const index_t reduced = from.tau.size() > 0 ? from.tau.size() : count;
    std::fill(part_weights.begin(), part_weights.end(), 0.0);
    std::copy_n(u.begin() + from.first, reduced, part_weights.begin());
    if (from.tau.size() > 0)
      ormqr(plain, from.factor, from.tau, {part_weights.data(), count, 1, count});
    for (index_t k = 0; k < count; ++k)
      w[from.columns[static_cast<std::size_t>(k)]] = part_weights[k];
  }
  return w;
}

}  // namespace corvane::model::linear_linked_regression_detail
