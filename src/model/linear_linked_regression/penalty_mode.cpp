// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/penalty_mode.h"

#include <stdexcept>
#include <utility>

#include "model/linear_linked_regression/bridge_regularizer.h"
#include "model/linear_linked_regression/ridge_lasso_regularizers.h"

namespace corvane::model {

namespace {

// Within this distance of zero a polynomial replaces the penalty, which has a kink at 0.
constexpr double smoothing_threshold = 0.01;

}  // namespace

std::optional<penalty_mode> find_penalty_mode(std::string_view word) {
  if (word == "l2") return penalty_mode::l2;
  if (word == "l1") return penalty_mode::l1;
  if (word == "elasticnet") return penalty_mode::elasticnet;
  if (word == "bridge") return penalty_mode::bridge;
  return std::nullopt;
}

// The l2 penalty is smooth through zero by itself.
std::shared_ptr<const regularizer> make_penalty(penalty_mode mode,
                                                variable_mapping&& mapping) {
  switch (mode) {
    case penalty_mode::l2:
      return std::make_shared<ridge_regularizer>(std::move(mapping));
    case penalty_mode::l1:
      return std::make_shared<lasso_regularizer>(std::move(mapping), smoothing_threshold);
    case penalty_mode::elasticnet:
      return std::make_shared<elastic_regularizer>(std::move(mapping), smoothing_threshold);
    case penalty_mode::bridge:
      return std::make_shared<bridge_regularizer>(std::move(mapping), smoothing_threshold);
  }
  throw std::invalid_argument{"unknown penalty mode"};
}

}  // namespace corvane::model
