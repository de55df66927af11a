// SPDX-License-Identifier: BSD-3-Clause
//
// Problems 20 to 28, 30 to 32 and 35, each at dimensions for which a minimum is published.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "problems/more_garbow_hillstrom.h"

namespace corvane::testing {

namespace {

double real(std::size_t i) { return static_cast<double>(i); }

second_order_number sum_of(const numbers& terms) {
  second_order_number sum{0.0};
  for (const second_order_number& term : terms) sum += term;
  return sum;
}

numbers watson(const numbers& x) {
  numbers r{x[0], x[1] - square(x[0]) - 1.0};
  for (std::size_t i = 1; i <= 29; ++i) {
    const double t = real(i) / 29.0;
    second_order_number value{0.0};
    second_order_number slope{0.0};
    for (std::size_t j = 0; j < x.size(); ++j) {
      value += x[j] * std::pow(t, real(j));
      if (j > 0) slope += x[j] * (real(j) * std::pow(t, real(j - 1)));
    }
    r.push_back(slope - square(value) - 1.0);
  }
  return r;
}

numbers extended_rosenbrock(const numbers& x) {
  numbers r;
  for (std::size_t i = 0; i + 1 < x.size(); i += 2) {
    r.push_back(10.0 * (x[i + 1] - square(x[i])));
    r.push_back(1.0 - x[i]);
  }
  return r;
}

numbers extended_powell_singular(const numbers& x) {
  numbers r;
  for (std::size_t i = 0; i + 3 < x.size(); i += 4) {
    r.push_back(x[i] + 10.0 * x[i + 1]);
    r.push_back(std::sqrt(5.0) * (x[i + 2] - x[i + 3]));
    r.push_back(square(x[i + 1] - 2.0 * x[i + 2]));
    r.push_back(std::sqrt(10.0) * square(x[i] - x[i + 3]));
  }
  return r;
}

constexpr double penalty = 1e-5;

numbers spherical_penalty(const numbers& x) {
  numbers r;
  second_order_number excess{-0.25};
  for (const second_order_number& entry : x) {
    r.push_back(std::sqrt(penalty) * (entry - 1.0));
    excess += square(entry);
  }
  r.push_back(excess);
  return r;
}

numbers exponential_penalty(const numbers& x) {
  const std::size_t n = x.size();
  numbers r{x[0] - 0.2};
  for (std::size_t i = 2; i <= n; ++i) {
    const double y = std::exp(real(i) / 10.0) + std::exp((real(i) - 1.0) / 10.0);
    r.push_back(std::sqrt(penalty) * (exp(x[i - 1] / 10.0) + exp(x[i - 2] / 10.0) - y));
    r.push_back(std::sqrt(penalty) * (exp(x[i - 1] / 10.0) - std::exp(-0.1)));
  }
  second_order_number excess{-1.0};
  for (std::size_t j = 1; j <= n; ++j) excess += (real(n - j) + 1.0) * square(x[j - 1]);
  r.push_back(excess);
  return r;
}

numbers variably_dimensioned(const numbers& x) {
  numbers r;
  second_order_number weighted{0.0};
  for (std::size_t j = 1; j <= x.size(); ++j) {
    r.push_back(x[j - 1] - 1.0);
    weighted += real(j) * (x[j - 1] - 1.0);
  }
  r.push_back(weighted);
  r.push_back(square(weighted));
  return r;
}

// The second minimum below is a local one, which the paper does not list.
numbers trigonometric(const numbers& x) {
  second_order_number rest{real(x.size())};
  for (const second_order_number& entry : x) rest = rest - cos(entry);
  numbers r;
  for (std::size_t i = 1; i <= x.size(); ++i)
    r.push_back(rest + real(i) * (1.0 - cos(x[i - 1])) - sin(x[i - 1]));
  return r;
}

numbers brown_almost_linear(const numbers& x) {
  const second_order_number sum = sum_of(x);
  second_order_number product{1.0};
  for (const second_order_number& entry : x) product *= entry;
  numbers r;
  for (std::size_t i = 0; i + 1 < x.size(); ++i)
    r.push_back(x[i] + sum - (real(x.size()) + 1.0));
  r.push_back(product - 1.0);
  return r;
}

// x at position i, counted from 0, and zero outside.
second_order_number at(const numbers& x, std::size_t i) {
  return i < x.size() ? x[i] : second_order_number{0.0};
}

numbers discrete_boundary_value(const numbers& x) {
  const double h = 1.0 / (real(x.size()) + 1.0);
  numbers r;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const second_order_number shifted = x[i] + (real(i) + 1.0) * h + 1.0;
    r.push_back(2.0 * x[i] - at(x, i - 1) - at(x, i + 1) +
                0.5 * h * h * shifted * square(shifted));
  }
  return r;
}

numbers broyden_tridiagonal(const numbers& x) {
  numbers r;
  for (std::size_t i = 0; i < x.size(); ++i)
    r.push_back((3.0 - 2.0 * x[i]) * x[i] - at(x, i - 1) - 2.0 * at(x, i + 1) + 1.0);
  return r;
}

numbers broyden_banded(const numbers& x) {
  numbers r;
  for (std::size_t i = 0; i < x.size(); ++i) {
    second_order_number band{0.0};
    for (std::size_t j = i < 5 ? 0 : i - 5; j < std::min(x.size(), i + 2); ++j)
      if (j != i) band += x[j] * (1.0 + x[j]);
    r.push_back(x[i] * (2.0 + 5.0 * square(x[i])) + 1.0 - band);
  }
  return r;
}

// With m = 10 residuals for n = 5 variables.
numbers linear_full_rank(const numbers& x) {
  constexpr std::size_t m = 10;
  const second_order_number common = -(2.0 / real(m)) * sum_of(x) - 1.0;
  numbers r;
  for (std::size_t i = 0; i < m; ++i) r.push_back(at(x, i) + common);
  return r;
}

// Means of the shifted Chebyshev polynomials T_i against their integrals on [0, 1].
numbers chebyquad(const numbers& x) {
  const std::size_t n = x.size();
  numbers r;
  numbers before(n, second_order_number{1.0});
  numbers current;
  for (const second_order_number& entry : x) current.push_back(2.0 * entry - 1.0);
  for (std::size_t i = 1; i <= n; ++i) {
    const double integral = i % 2 == 0 ? -1.0 / (real(i) * real(i) - 1.0) : 0.0;
    r.push_back(sum_of(current) / real(n) - integral);
    for (std::size_t j = 0; j < n; ++j) {
      const second_order_number next = 2.0 * (2.0 * x[j] - 1.0) * current[j] - before[j];
      before[j] = current[j];
      current[j] = next;
    }
  }
  return r;
}

// n entries, made from their numbers 1, ..., n.
template <class Entry>
std::vector<double> start_of(std::size_t n, Entry entry) {
  std::vector<double> start;
  for (std::size_t j = 1; j <= n; ++j) start.push_back(entry(real(j)));
  return start;
}

std::vector<double> repeat(std::size_t times, const std::vector<double>& block) {
  std::vector<double> start;
  for (std::size_t k = 0; k < times; ++k)
    start.insert(start.end(), block.begin(), block.end());
  return start;
}

}  // namespace

std::vector<least_squares_problem> problems_of_any_dimension() {
  const auto number = [](double j) { return j; };
  const auto below_one = [](double j) { return 1.0 - j / 10.0; };
  const auto parabola = [](double j) { return j / 11.0 * (j / 11.0 - 1.0); };
  const auto eighths = [](double j) { return j / 9.0; };
  const auto ninths = [](double j) { return j / 10.0; };
  return {
      {"watson_of_6", repeat(6, {0.0}), {2.28767e-3}, watson},
      {"watson_of_9", repeat(9, {0.0}), {1.39976e-6}, watson},
      {"watson_of_12", repeat(12, {0.0}), {4.72238e-10}, watson},
      {"extended_rosenbrock", repeat(10, {-1.2, 1.0}), {0.0}, extended_rosenbrock},
      {"extended_powell_singular",
       repeat(4, {3.0, -1.0, 0.0, 1.0}),
       {0.0},
       extended_powell_singular},
      {"spherical_penalty_of_4", start_of(4, number), {2.24997e-5}, spherical_penalty},
      {"spherical_penalty_of_10", start_of(10, number), {7.08765e-5}, spherical_penalty},
      {"exponential_penalty_of_4", repeat(4, {0.5}), {9.37629e-6}, exponential_penalty},
      {"exponential_penalty_of_10", repeat(10, {0.5}), {2.93660e-4}, exponential_penalty},
      {"variably_dimensioned", start_of(10, below_one), {0.0}, variably_dimensioned},
      {"trigonometric", repeat(10, {0.1}), {0.0, 2.79506e-5}, trigonometric},
      {"brown_almost_linear", repeat(10, {0.5}), {0.0, 1.0}, brown_almost_linear},
      {"discrete_boundary_value", start_of(10, parabola), {0.0}, discrete_boundary_value},
      {"broyden_tridiagonal", repeat(10, {-1.0}), {0.0}, broyden_tridiagonal},
      {"broyden_banded", repeat(10, {-1.0}), {0.0}, broyden_banded},
      {"linear_full_rank", repeat(5, {1.0}), {5.0}, linear_full_rank},
      {"chebyquad_of_8", start_of(8, eighths), {3.51687e-3}, chebyquad},
      {"chebyquad_of_9", start_of(9, ninths), {0.0}, chebyquad},
  };
}

const std::vector<least_squares_problem>& more_garbow_hillstrom_problems() {
  static const std::vector<least_squares_problem> all = [] {
    std::vector<least_squares_problem> problems = problems_with_closed_residuals();
    for (auto part : {problems_with_data(), problems_of_any_dimension()})
      problems.insert(problems.end(), part.begin(), part.end());
    return problems;
  }();
  return all;
}

}  // namespace corvane::testing
