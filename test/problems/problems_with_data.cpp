// SPDX-License-Identifier: BSD-3-Clause
//
// Problems 6, 8 to 12 and 15 to 18: residuals over a table or a grid of points.
#include <array>
#include <cmath>
#include <cstddef>

#include "problems/more_garbow_hillstrom.h"

namespace corvane::testing {

namespace {

// The residuals at points i = 1, ..., m.
template <class Residual>
numbers over_points(std::size_t m, Residual residual) {
  numbers r;
  for (std::size_t i = 1; i <= m; ++i) r.push_back(residual(i));
  return r;
}

double real(std::size_t i) { return static_cast<double>(i); }

numbers jennrich_sampson(const numbers& x) {
  return over_points(10, [&](std::size_t i) {
    return 2.0 + 2.0 * real(i) - (exp(real(i) * x[0]) + exp(real(i) * x[1]));
  });
}

numbers bard(const numbers& x) {
  constexpr std::array y{0.14, 0.18, 0.22, 0.25, 0.29, 0.32, 0.35, 0.39,
                         0.37, 0.58, 0.73, 0.96, 1.34, 2.10, 4.39};
  return over_points(y.size(), [&](std::size_t i) {
    const double u = real(i);
    const double v = 16.0 - u;
    return y[i - 1] - (x[0] + u / (v * x[1] + std::min(u, v) * x[2]));
  });
}

numbers gaussian(const numbers& x) {
  constexpr std::array y{0.0009, 0.0044, 0.0175, 0.0540, 0.1295, 0.2420, 0.3521, 0.3989,
                         0.3521, 0.2420, 0.1295, 0.0540, 0.0175, 0.0044, 0.0009};
  return over_points(y.size(), [&](std::size_t i) {
    const double t = (8.0 - real(i)) / 2.0;
    return x[0] * exp(-0.5 * x[1] * square(t - x[2])) - y[i - 1];
  });
}

numbers meyer(const numbers& x) {
  constexpr std::array y{34780.0, 28610.0, 23650.0, 19630.0, 16370.0, 13720.0,
                         11540.0, 9744.0,  8261.0,  7030.0,  6005.0,  5147.0,
                         4427.0,  3820.0,  3307.0,  2872.0};
  return over_points(y.size(), [&](std::size_t i) {
    const double t = 45.0 + 5.0 * real(i);
    return x[0] * exp(x[1] / (t + x[2])) - y[i - 1];
  });
}

// The printed formula holds a misprint; this is the one that the minimum (50, 25, 1.5)
// fits.
numbers gulf(const numbers& x) {
  return over_points(99, [&](std::size_t i) {
    const double t = real(i) / 100.0;
    const double y = 25.0 + std::pow(-50.0 * std::log(t), 2.0 / 3.0);
    const second_order_number distance = sqrt(square(y - x[1]));
    return exp(-exp(x[2] * log(distance)) / x[0]) - t;
  });
}

numbers box(const numbers& x) {
  return over_points(10, [&](std::size_t i) {
    const double t = 0.1 * real(i);
    return exp(-t * x[0]) - exp(-t * x[1]) - x[2] * (std::exp(-t) - std::exp(-10.0 * t));
  });
}

numbers kowalik_osborne(const numbers& x) {
  constexpr std::array y{0.1957, 0.1947, 0.1735, 0.1600, 0.0844, 0.0627,
                         0.0456, 0.0342, 0.0323, 0.0235, 0.0246};
  constexpr std::array u{4.0,   2.0, 1.0,    0.5,    0.25,  0.167,
                         0.125, 0.1, 0.0833, 0.0714, 0.0625};
  return over_points(y.size(), [&](std::size_t i) {
    const double t = u[i - 1];
    return y[i - 1] - x[0] * (t * t + t * x[1]) / (t * t + t * x[2] + x[3]);
  });
}

numbers brown_dennis(const numbers& x) {
  return over_points(20, [&](std::size_t i) {
    const double t = real(i) / 5.0;
    return square(x[0] + t * x[1] - std::exp(t)) +
           square(x[2] + x[3] * std::sin(t) - std::cos(t));
  });
}

numbers osborne_exponentials(const numbers& x) {
  constexpr std::array y{0.844, 0.908, 0.932, 0.936, 0.925, 0.908, 0.881, 0.850, 0.818,
                         0.784, 0.751, 0.718, 0.685, 0.658, 0.628, 0.603, 0.580, 0.558,
                         0.538, 0.522, 0.506, 0.490, 0.478, 0.467, 0.457, 0.448, 0.438,
                         0.431, 0.424, 0.420, 0.414, 0.411, 0.406};
  return over_points(y.size(), [&](std::size_t i) {
    const double t = 10.0 * (real(i) - 1.0);
    return y[i - 1] - (x[0] + x[1] * exp(-t * x[3]) + x[2] * exp(-t * x[4]));
  });
}

numbers biggs_exponentials(const numbers& x) {
  return over_points(13, [&](std::size_t i) {
    const double t = 0.1 * real(i);
    const double y = std::exp(-t) - 5.0 * std::exp(-10.0 * t) + 3.0 * std::exp(-4.0 * t);
    return x[2] * exp(-t * x[0]) - x[3] * exp(-t * x[1]) + x[5] * exp(-t * x[4]) - y;
  });
}

}  // namespace

std::vector<least_squares_problem> problems_with_data() {
  return {
      {"jennrich_sampson", {0.3, 0.4}, {124.362}, jennrich_sampson},
      {"bard", {1.0, 1.0, 1.0}, {8.21487e-3, 17.4286}, bard},
      {"gaussian", {0.4, 1.0, 0.0}, {1.12793e-8}, gaussian},
      {"meyer", {0.02, 4000.0, 250.0}, {87.9458}, meyer},
      {"gulf", {5.0, 2.5, 0.15}, {0.0}, gulf},
      {"box", {0.0, 10.0, 20.0}, {0.0}, box},
      {"kowalik_osborne",
       {0.25, 0.39, 0.415, 0.39},
       {3.07505e-4, 1.02734e-3},
       kowalik_osborne},
      {"brown_dennis", {25.0, 5.0, -5.0, -1.0}, {85822.2}, brown_dennis},
      {"osborne_exponentials",
       {0.5, 1.5, -1.0, 0.01, 0.02},
       {5.46489e-5},
       osborne_exponentials},
      {"biggs_exponentials",
       {1.0, 2.0, 1.0, 1.0, 1.0, 1.0},
       {0.0, 5.65565e-3},
       biggs_exponentials},
  };
}

}  // namespace corvane::testing
