// SPDX-License-Identifier: BSD-3-Clause
#include "common/finite.h"
#include "model/ridge_regression/common_penalty/common_penalty_scores.h"

namespace corvane::model::ridge_regression_detail {

std::optional<penalty_jet> generalized_jet(const penalty_spectrum& data, double t) {
  penalty_jet S{data.outside_squares, 0.0, 0.0};
  penalty_jet E{static_cast<double>(data.outside), 0.0, 0.0};
  for (index_t k = 0; k < data.s.size(); ++k) {
    const ridge_filter filter = filter_of(data.s[k], t);
    const double g = filter.complement;
    const double z_squared = data.z[k] * data.z[k];
    E.value += g;
    E.first += filter.first;
    E.second += filter.second;
    S.value += z_squared * g * g;
    S.first += 2.0 * z_squared * g * filter.first;
    S.second += 2.0 * z_squared * (filter.first * filter.first + g * filter.second);
  }
  // log value = log S - 2 log E + const, which gives both derivatives of the quotient:
  //   value' = (S' - 2 S e) (n / E)^2,                  e = E' / E,
  //   value'' = (S'' - 4 S' e + 6 S e^2 - 2 S E'' / E) (n / E)^2.
  const double n_over_E = static_cast<double>(data.observations) / E.value;
  const double factor = n_over_E * n_over_E;
  const double e = E.first / E.value;
  const penalty_jet score{S.value * factor, (S.first - 2.0 * S.value * e) * factor,
                          (S.second - 4.0 * S.first * e + 6.0 * S.value * e * e -
                           2.0 * S.value * E.second / E.value) *
                              factor};
  if (!is_finite(score.value) || !is_finite(score.first) || !is_finite(score.second))
    return std::nullopt;
  return score;
}

}  // namespace corvane::model::ridge_regression_detail
