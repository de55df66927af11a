// SPDX-License-Identifier: BSD-3-Clause
//
// Problems 1 to 5, 7, 13 and 14.
#include <cmath>
#include <numbers>

#include "problems/more_garbow_hillstrom.h"

namespace corvane::testing {

namespace {

numbers rosenbrock(const numbers& x) { return {10.0 * (x[1] - square(x[0])), 1.0 - x[0]}; }

numbers freudenstein_roth(const numbers& x) {
  return {-13.0 + x[0] + ((5.0 - x[1]) * x[1] - 2.0) * x[1],
          -29.0 + x[0] + ((x[1] + 1.0) * x[1] - 14.0) * x[1]};
}

numbers powell_badly_scaled(const numbers& x) {
  return {1e4 * x[0] * x[1] - 1.0, exp(-x[0]) + exp(-x[1]) - 1.0001};
}

numbers brown_badly_scaled(const numbers& x) {
  return {x[0] - 1e6, x[1] - 2e-6, x[0] * x[1] - 2.0};
}

numbers beale(const numbers& x) {
  return {1.5 - x[0] * (1.0 - x[1]), 2.25 - x[0] * (1.0 - square(x[1])),
          2.625 - x[0] * (1.0 - square(x[1]) * x[1])};
}

numbers helical_valley(const numbers& x) {
  // The angle of (x1, x2) in turns, with the branch of the left half plane.
  const double branch = x[0].value() < 0.0 ? 0.5 : 0.0;
  const second_order_number turns = atan(x[1] / x[0]) / (2.0 * std::numbers::pi) + branch;
  return {10.0 * (x[2] - 10.0 * turns), 10.0 * (sqrt(square(x[0]) + square(x[1])) - 1.0),
          x[2]};
}

numbers powell_singular(const numbers& x) {
  return {x[0] + 10.0 * x[1], std::sqrt(5.0) * (x[2] - x[3]), square(x[1] - 2.0 * x[2]),
          std::sqrt(10.0) * square(x[0] - x[3])};
}

numbers wood(const numbers& x) {
  return {10.0 * (x[1] - square(x[0])),
          1.0 - x[0],
          std::sqrt(90.0) * (x[3] - square(x[2])),
          1.0 - x[2],
          std::sqrt(10.0) * (x[1] + x[3] - 2.0),
          (x[1] - x[3]) / std::sqrt(10.0)};
}

}  // namespace

std::vector<least_squares_problem> problems_with_closed_residuals() {
  return {
      {"rosenbrock", {-1.2, 1.0}, {0.0}, rosenbrock},
      {"freudenstein_roth", {0.5, -2.0}, {0.0, 48.9842}, freudenstein_roth},
      {"powell_badly_scaled", {0.0, 1.0}, {0.0}, powell_badly_scaled},
      {"brown_badly_scaled", {1.0, 1.0}, {0.0}, brown_badly_scaled},
      {"beale", {1.0, 1.0}, {0.0}, beale},
      {"helical_valley", {-1.0, 0.0, 0.0}, {0.0}, helical_valley},
      {"powell_singular", {3.0, -1.0, 0.0, 1.0}, {0.0}, powell_singular},
      {"wood", {-3.0, -1.0, -3.0, -1.0}, {0.0}, wood},
  };
}

}  // namespace corvane::testing
