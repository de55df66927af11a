// SPDX-License-Identifier: BSD-3-Clause
#include "plain_loo_formulas.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace corvane::model {

namespace {

using vector = std::vector<double>;
using matrix = std::vector<vector>;
using std::size_t;

size_t size(index_t n) { return static_cast<size_t>(n); }

matrix zeros(size_t rows, size_t cols) { return {rows, vector(cols, 0.0)}; }

// Gauss-Jordan elimination with partial pivoting.
matrix inverse(matrix a) {
  const size_t n = a.size();
  matrix result = zeros(n, n);
  for (size_t i = 0; i < n; ++i) result[i][i] = 1.0;
  for (size_t k = 0; k < n; ++k) {
    size_t pivot = k;
    for (size_t i = k + 1; i < n; ++i)
      if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
    std::swap(a[k], a[pivot]);
    std::swap(result[k], result[pivot]);
    const double scale = 1.0 / a[k][k];
    for (size_t j = 0; j < n; ++j) {
      a[k][j] *= scale;
      result[k][j] *= scale;
    }
    for (size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const double factor = a[i][k];
      for (size_t j = 0; j < n; ++j) {
        a[i][j] -= factor * a[k][j];
        result[i][j] -= factor * result[k][j];
      }
    }
  }
  return result;
}

vector product(const matrix& a, const vector& x) {
  vector y(a.size(), 0.0);
  for (size_t i = 0; i < a.size(); ++i)
    for (size_t j = 0; j < x.size(); ++j) y[i] += a[i][j] * x[j];
  return y;
}

double bilinear(const vector& x, const matrix& a, const vector& y) {
  const vector ay = product(a, y);
  double sum = 0.0;
  for (size_t i = 0; i < x.size(); ++i) sum += x[i] * ay[i];
  return sum;
}

// X' diag(t) X + diag(d)
matrix gram(const matrix& X, const vector& t, const vector& d) {
  const size_t p = d.size();
  matrix result = zeros(p, p);
  for (size_t j = 0; j < p; ++j) {
    result[j][j] = d[j];
    for (size_t k = 0; k < p; ++k)
      for (size_t i = 0; i < X.size(); ++i) result[j][k] += X[i][j] * t[i] * X[i][k];
  }
  return result;
}

// Derivatives of l(y, z) = log(1 + exp(-y z)), the first to the fourth.
struct loss_derivatives {
  double first, second, third, fourth;
};

loss_derivatives differentiate_loss(double y, double z) {
  const double p = 1.0 / (1.0 + std::exp(-z));
  const double v = p * (1.0 - p);
  return {-y / (1.0 + std::exp(y * z)), v, v * (1.0 - 2.0 * p), v * (1.0 - 6.0 * v)};
}

using vector_operation = regularizer_status (regularizer::*)(const_vector_view,
                                                             const_vector_view,
                                                             vector_view) const;
using sparse_operation = regularizer_status (regularizer::*)(const_vector_view,
                                                             const_vector_view,
                                                             sparse_matrix&) const;

vector dense(const regularizer& penalty, vector_operation compute, const_vector_view theta,
             const_vector_view w) {
  vector out(size(w.size()), 0.0);
  const auto status = (penalty.*compute)(theta, w, {out.data(), w.size()});
  return status == regularizer_status::written ? out : vector(out.size(), 0.0);
}

matrix dense(const regularizer& penalty, sparse_operation compute, index_t rows,
             const_vector_view theta, const_vector_view w) {
  matrix out = zeros(size(rows), size(w.size()));
  sparse_matrix sparse;
  if ((penalty.*compute)(theta, w, sparse) != regularizer_status::written) return out;
  for (index_t row = 0; row < rows; ++row)
    for (index_t e = 0; e < sparse.row_values(row).size(); ++e)
      out[size(row)][size(sparse.row_columns(row)[e])] += sparse.row_values(row)[e];
  return out;
}

// All that the formulas are made of, under the names they have there.
struct plain_formulas {
  plain_formulas(const classification_problem& problem, const regularizer& penalty,
                 const_vector_view theta, const_vector_view w)
      : n{size(problem.X.rows())},
        p{size(problem.X.cols())},
        Q{size(theta.size())},
        X{zeros(n, p)},
        r3{dense(penalty, &regularizer::compute_third_derivative, theta, w)},
        r4{dense(penalty, &regularizer::compute_fourth_derivative, theta, w)} {
    const index_t pairs = num_pairs(theta.size());
    const index_t q = theta.size();
    G1 = dense(penalty, &regularizer::compute_gradient_hyperparameter_derivative, q, theta,
               w);
    G2 = dense(penalty, &regularizer::compute_gradient_hyperparameter_hessian, pairs, theta,
               w);
    D1 = dense(penalty, &regularizer::compute_second_derivative_hyperparameter_derivative,
               q, theta, w);
    D2 = dense(penalty, &regularizer::compute_second_derivative_hyperparameter_hessian,
               pairs, theta, w);
    T1 = dense(penalty, &regularizer::compute_third_derivative_hyperparameter_derivative, q,
               theta, w);
    vector curvature(n);
    for (size_t i = 0; i < n; ++i) {
      double z = 0.0;
      for (size_t j = 0; j < p; ++j) {
        X[i][j] = problem.X(static_cast<index_t>(i), static_cast<index_t>(j));
        z += X[i][j] * w[static_cast<index_t>(j)];
      }
      l.push_back(differentiate_loss(problem.y[static_cast<index_t>(i)], z));
      curvature[i] = l.back().second;
      predictions.push_back(z);
    }
    Hinv = inverse(gram(X, curvature,
                        dense(penalty, &regularizer::compute_second_derivative, theta, w)));
  }

  size_t pair(size_t a, size_t b) const {
    const auto index = [](size_t i) { return static_cast<index_t>(i); };
    return size(a <= b ? pair_index(index(a), index(b), index(Q))
                       : pair_index(index(b), index(a), index(Q)));
  }

  size_t n, p, Q;
  matrix X;
  vector r3, r4;
  matrix G1, G2, D1, D2, T1, Hinv;
  std::vector<loss_derivatives> l;
  vector predictions;
};

// dw, dz and dH along one hyperparameter.
struct first_move {
  vector dw, dz;
  matrix dH;
};

first_move move_once(const plain_formulas& f, size_t a) {
  first_move move{product(f.Hinv, f.G1[a]), {}, {}};
  for (double& entry : move.dw) entry = -entry;
  move.dz = product(f.X, move.dw);
  vector t(f.n);
  for (size_t i = 0; i < f.n; ++i) t[i] = f.l[i].third * move.dz[i];
  vector d(f.p);
  for (size_t k = 0; k < f.p; ++k) d[k] = f.D1[a][k] + f.r3[k] * move.dw[k];
  move.dH = gram(f.X, t, d);
  return move;
}

// d2z and d2H along a pair.
struct second_move {
  vector d2z;
  matrix d2H;
};

second_move move_twice(const plain_formulas& f, const first_move& a, const first_move& b,
                       size_t row_a, size_t row_b) {
  const size_t ab = f.pair(row_a, row_b);
  vector rhs(f.p);
  for (size_t k = 0; k < f.p; ++k) {
    rhs[k] = -f.D1[row_a][k] * b.dw[k] - f.D1[row_b][k] * a.dw[k] - f.G2[ab][k] -
             f.r3[k] * a.dw[k] * b.dw[k];
    for (size_t i = 0; i < f.n; ++i) rhs[k] -= f.X[i][k] * f.l[i].third * a.dz[i] * b.dz[i];
  }
  const vector d2w = product(f.Hinv, rhs);
  second_move move{product(f.X, d2w), {}};
  vector t(f.n);
  for (size_t i = 0; i < f.n; ++i)
    t[i] = f.l[i].fourth * a.dz[i] * b.dz[i] + f.l[i].third * move.d2z[i];
  vector d(f.p);
  for (size_t k = 0; k < f.p; ++k)
    d[k] = f.D2[ab][k] + f.T1[row_a][k] * b.dw[k] + f.T1[row_b][k] * a.dw[k] +
           f.r3[k] * d2w[k] + f.r4[k] * a.dw[k] * b.dw[k];
  move.d2H = gram(f.X, t, d);
  return move;
}

// Along a direction: the derivative of zeta = z + h l1 / (1 - h l2), and along two
// directions its second derivative, by the quotient rule on N = h l1 and D = 1 - h l2.
struct sample_motion {
  double dz, dh;
};

double loo_slope(double h, const loss_derivatives& l, sample_motion a) {
  const double N = h * l.first;
  const double D = 1.0 - h * l.second;
  const double dN = a.dh * l.first + h * l.second * a.dz;
  const double dD = -a.dh * l.second - h * l.third * a.dz;
  return a.dz + dN / D - N * dD / (D * D);
}

double loo_curvature(double h, const loss_derivatives& l, sample_motion a, sample_motion b,
                     sample_motion ab) {
  const double N = h * l.first;
  const double D = 1.0 - h * l.second;
  const auto dN = [&](sample_motion m) { return m.dh * l.first + h * l.second * m.dz; };
  const auto dD = [&](sample_motion m) { return -m.dh * l.second - h * l.third * m.dz; };
  const double cross = a.dh * b.dz + b.dh * a.dz;
  const double square = a.dz * b.dz;
  const double d2N = dN(ab) + cross * l.second + h * l.third * square;
  const double d2D = dD(ab) - cross * l.third - h * l.fourth * square;
  return ab.dz + d2N / D - (dN(a) * dD(b) + dN(b) * dD(a) + N * d2D) / (D * D) +
         2.0 * N * dD(a) * dD(b) / (D * D * D);
}

}  // namespace

plain_loo_loss compute_plain_loo_loss(const classification_problem& problem,
                                      const regularizer& penalty, const_vector_view theta,
                                      const_vector_view w) {
  const plain_formulas f{problem, penalty, theta, w};
  plain_loo_loss result{0.0, vector(f.Q, 0.0), zeros(f.Q, f.Q)};
  std::vector<first_move> first;
  for (size_t a = 0; a < f.Q; ++a) first.push_back(move_once(f, a));
  matrix motion_h = zeros(f.Q, f.n);
  std::vector<loss_derivatives> c;  // at zeta
  vector h(f.n);
  for (size_t i = 0; i < f.n; ++i) {
    const double y = problem.y[static_cast<index_t>(i)];
    h[i] = bilinear(f.X[i], f.Hinv, f.X[i]);
    const double zeta =
        f.predictions[i] + h[i] * f.l[i].first / (1.0 - h[i] * f.l[i].second);
    result.value += std::log1p(std::exp(-y * zeta));
    c.push_back(differentiate_loss(y, zeta));
    const vector B = product(f.Hinv, f.X[i]);
    for (size_t a = 0; a < f.Q; ++a) {
      motion_h[a][i] = -bilinear(B, first[a].dH, B);
      result.gradient[a] +=
          c[i].first * loo_slope(h[i], f.l[i], {first[a].dz[i], motion_h[a][i]});
    }
  }
  for (size_t a = 0; a < f.Q; ++a)
    for (size_t b = 0; b < f.Q; ++b) {
      const second_move second = move_twice(f, first[a], first[b], a, b);
      for (size_t i = 0; i < f.n; ++i) {
        const vector B = product(f.Hinv, f.X[i]);
        const double d2h =
            2.0 * bilinear(product(first[a].dH, B), f.Hinv, product(first[b].dH, B)) -
            bilinear(B, second.d2H, B);
        const sample_motion along_a{first[a].dz[i], motion_h[a][i]};
        const sample_motion along_b{first[b].dz[i], motion_h[b][i]};
        result.hessian[a][b] += c[i].second * loo_slope(h[i], f.l[i], along_a) *
                                    loo_slope(h[i], f.l[i], along_b) +
                                c[i].first * loo_curvature(h[i], f.l[i], along_a, along_b,
                                                           {second.d2z[i], d2h});
      }
    }
  return result;
}

}  // namespace corvane::model
