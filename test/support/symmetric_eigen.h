// SPDX-License-Identifier: BSD-3-Clause
//
// Eigenvalues and eigenvectors of a symmetric matrix by cyclic Jacobi rotations, as an
// oracle that shares nothing with the factorizations under test. G. Golub, C. Van Loan,
// Matrix Computations, 4th ed. (2013), section 8.5.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace corvane::testing {

using square_rows = std::vector<std::vector<double>>;  // [row][column]

struct symmetric_eigen {
  std::vector<double> values;  // ascending
  square_rows vectors;         // vectors[k] belongs to values[k], of length 1
};

namespace symmetric_eigen_detail {

// The rotation by which entry (p, q) vanishes, applied to A and to the rows of V.
inline void rotate(square_rows& a, square_rows& v, std::size_t p, std::size_t q) {
  const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
  const double t = std::copysign(1.0, theta) / (std::abs(theta) + std::hypot(theta, 1.0));
  const double c = 1.0 / std::hypot(t, 1.0);
  const double s = t * c;
  for (std::vector<double>& row : a) {
    const double left = row[p];
    const double right = row[q];
    row[p] = c * left - s * right;
    row[q] = s * left + c * right;
  }
  for (std::size_t k = 0; k < a.size(); ++k) {
    const double upper = a[p][k];
    const double lower = a[q][k];
    a[p][k] = c * upper - s * lower;
    a[q][k] = s * upper + c * lower;
    const double first = v[p][k];
    const double second = v[q][k];
    v[p][k] = c * first - s * second;
    v[q][k] = s * first + c * second;
  }
}

}  // namespace symmetric_eigen_detail

inline symmetric_eigen decompose_symmetric(square_rows a) {
  const std::size_t n = a.size();
  square_rows v(n, std::vector<double>(n, 0.0));
  for (std::size_t i = 0; i < n; ++i) v[i][i] = 1.0;
  // Convergence is quadratic: ten sweeps are plenty.
  constexpr int sweeps = 20;
  for (int sweep = 0; sweep < sweeps; ++sweep)
    for (std::size_t p = 0; p < n; ++p)
      for (std::size_t q = p + 1; q < n; ++q)
        if (a[p][q] != 0.0) symmetric_eigen_detail::rotate(a, v, p, q);

  std::vector<std::size_t> order(n);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t i, std::size_t j) { return a[i][i] < a[j][j]; });
  symmetric_eigen out;
  for (const std::size_t k : order) {
    out.values.push_back(a[k][k]);
    out.vectors.push_back(v[k]);
  }
  return out;
}

}  // namespace corvane::testing
