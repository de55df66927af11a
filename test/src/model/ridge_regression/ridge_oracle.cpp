// SPDX-License-Identifier: BSD-3-Clause
#include "src/model/ridge_regression/ridge_oracle.h"

#include <algorithm>
#include <cmath>

namespace corvane::model::ridge_regression_detail {

namespace {

std::size_t at(index_t i) { return static_cast<std::size_t>(i); }

// D of the penalties: t_j where there is one, 1 for the rest.
real_vector penalty_roots(index_t p, const std::vector<double>& t) {
  real_vector d(at(p), 1.0L);
  std::copy(t.begin(), t.end(), d.begin());
  return d;
}

// M = inverse(D) X'X inverse(D) + E
real_matrix scaled_normal_matrix(const real_matrix& X, const std::vector<double>& t) {
  const real_vector d = penalty_roots(X.cols, t);
  real_matrix m = gram(X);
  for (index_t j = 0; j < m.rows; ++j)
    for (index_t k = 0; k < m.rows; ++k) {
      m(j, k) /= d[at(j)] * d[at(k)];
      if (j == k && at(j) < t.size()) m(j, k) += 1.0L;
    }
  return m;
}

// One observation: its parts share the derivatives of the leverage. Names as in the
// formulas.
struct observation {
  std::vector<real_vector> a;  // inverse(M) inverse(D) x of each part
  real_vector s;
  real d = 1.0L;
};

// The sums over one observation, term by term as the derivatives are written down.
class observation_terms {
 public:
  observation_terms(const observation& o, const real_vector& w,
                    const real_matrix& m_inverse, const std::vector<double>& t)
      : o_{o}, w_{w}, m_inverse_{m_inverse}, t_{t.begin(), t.end()} {}

  real gradient(index_t j) const {
    real sum = 0.0L;
    for (std::size_t r = 0; r < o_.s.size(); ++r)
      sum += 2.0L * o_.s[r] * residual_slope(r, j);
    return sum;
  }

  real hessian(index_t k, index_t j) const {
    real sum = 0.0L;
    for (std::size_t r = 0; r < o_.s.size(); ++r) {
      const real u = o_.s[r] / o_.d;
      const real v = 2.0L * u / o_.d;
      const real second = leverage_slope(j) * leverage_slope(k) * v +
                          leverage_curvature(k, j) * u -
                          (prediction_slope(r, j) * leverage_slope(k) +
                           prediction_slope(r, k) * leverage_slope(j)) /
                              o_.d / o_.d -
                          prediction_curvature(r, k, j) / o_.d;
      sum += 2.0L * o_.s[r] * second + 2.0L * residual_slope(r, j) * residual_slope(r, k);
    }
    return sum;
  }

 private:
  real a(std::size_t r, index_t j) const { return o_.a[r][at(j)]; }
  real prediction_slope(std::size_t r, index_t j) const {
    return -2.0L * a(r, j) * w_[at(j)] / t_[at(j)];
  }
  real leverage_slope(index_t j) const {
    real sum = 0.0L;
    for (std::size_t r = 0; r < o_.a.size(); ++r) sum += -2.0L * a(r, j) * a(r, j);
    return sum / t_[at(j)];
  }
  real residual_slope(std::size_t r, index_t j) const {
    return leverage_slope(j) * o_.s[r] / o_.d - prediction_slope(r, j) / o_.d;
  }
  real prediction_curvature(std::size_t r, index_t k, index_t j) const {
    const real m = m_inverse_(k, j);
    const real tt = t_[at(j)] * t_[at(k)];
    if (k == j)
      return 8.0L * a(r, j) * m * w_[at(j)] / tt + prediction_slope(r, j) / t_[at(j)];
    return 4.0L * (a(r, j) * w_[at(k)] + a(r, k) * w_[at(j)]) * m / tt;
  }
  real leverage_curvature(index_t k, index_t j) const {
    const real tt = t_[at(j)] * t_[at(k)];
    real sum = 0.0L;
    for (std::size_t r = 0; r < o_.a.size(); ++r) {
      sum += 8.0L * a(r, j) * a(r, k) * m_inverse_(k, j) / tt;
      if (k == j) sum -= 2.0L * a(r, j) * a(r, j) / tt;
    }
    return sum;
  }

  const observation& o_;
  const real_vector& w_;
  const real_matrix& m_inverse_;
  real_vector t_;
};

real dot_product(const real_vector& x, const real_vector& y) {
  real sum = 0.0L;
  for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

real_vector scaled_row(const real_matrix& X, index_t row, const real_vector& d) {
  real_vector x(at(X.cols));
  for (index_t j = 0; j < X.cols; ++j) x[at(j)] = X(row, j) / d[at(j)];
  return x;
}

}  // namespace

score_derivatives leave_one_out_by_loops(const ridge_problem& problem,
                                         const ridge_problem& rotated, index_t parts,
                                         const std::vector<double>& t) {
  const auto q = static_cast<index_t>(t.size());
  const index_t count = rotated.X.rows / parts;
  const real_vector d = penalty_roots(problem.X.cols, t);
  const real_matrix m_inverse = inverse(scaled_normal_matrix(problem.X, t));
  real_vector b = correlation(problem.X, problem.y);
  for (std::size_t j = 0; j < b.size(); ++j) b[j] /= d[j];
  const real_vector w = product(m_inverse, b);

  score_derivatives score{0.0L, real_vector(t.size()), real_matrix{q, q}};
  for (index_t k = 0; k < count; ++k) {
    observation o;
    for (index_t r = 0; r < parts; ++r) {
      const index_t row = r * count + k;
      const real_vector x = scaled_row(rotated.X, row, d);
      o.a.push_back(product(m_inverse, x));
      o.s.push_back(rotated.y[at(row)] - dot_product(x, w));
      o.d -= dot_product(x, o.a.back());
    }
    for (real& s : o.s) {
      s /= o.d;
      score.value += s * s;
    }
    const observation_terms terms{o, w, m_inverse, t};
    for (index_t j = 0; j < q; ++j) {
      score.gradient[at(j)] += terms.gradient(j);
      for (index_t i = j; i < q; ++i) score.hessian(i, j) += terms.hessian(i, j);
    }
  }
  return score;
}

namespace {

// Residual variance of the fit without penalties, with n - p degrees of freedom.
real noise_variance(const ridge_problem& problem) {
  const real_vector fitted = product(problem.X, ridge_weights(problem, {}));
  real sum = 0.0L;
  for (std::size_t i = 0; i < fitted.size(); ++i)
    sum += (problem.y[i] - fitted[i]) * (problem.y[i] - fitted[i]);
  return sum / static_cast<real>(problem.X.rows - problem.X.cols);
}

}  // namespace

score_derivatives range_risk_by_loops(const ridge_problem& problem,
                                      const std::vector<double>& t) {
  const auto q = static_cast<index_t>(t.size());
  const real s2 = noise_variance(problem);
  const real_matrix a_inverse = inverse(normal_matrix(problem.X, t));
  const real_matrix hat_core = product(a_inverse, gram(problem.X));
  const real_matrix K = product(hat_core, a_inverse);  // inverse(A) X'X inverse(A)
  const real_vector beta = ridge_weights(problem, t);
  const real_vector v = product(hat_core, beta);
  const real_vector fitted = product(problem.X, beta);

  score_derivatives score{0.0L, real_vector(t.size()), real_matrix{q, q}};
  for (std::size_t i = 0; i < fitted.size(); ++i) {
    const real residual = problem.y[i] - fitted[i];
    score.value += residual * residual - problem.y[i] * problem.y[i];
  }
  for (index_t j = 0; j < problem.X.cols; ++j) score.value += 2.0L * s2 * hat_core(j, j);
  for (index_t j = 0; j < q; ++j) {
    const real tj = widened(t[at(j)]);
    const real bj = beta[at(j)];
    score.gradient[at(j)] = 4.0L * tj * (bj * bj - v[at(j)] * bj - K(j, j) * s2);
    for (index_t k = j; k < q; ++k) {
      const real bk = beta[at(k)];
      const real tt = tj * widened(t[at(k)]);
      const real direct = k == j ? 4.0L * (bj * bj - v[at(j)] * bj - s2 * K(j, j)) : 0.0L;
      score.hessian(k, j) = direct +
                            16.0L * tt * (s2 * K(k, j) - bj * bk) * a_inverse(k, j) +
                            8.0L * tt * bj * bk * K(k, j) +
                            8.0L * tt * a_inverse(k, j) * (v[at(j)] * bk + v[at(k)] * bj);
    }
  }
  return score;
}

::testing::AssertionResult agrees(second_order_objective& objective,
                                  const std::vector<double>& t,
                                  const score_derivatives& expected, double tolerance) {
  const auto q = static_cast<index_t>(t.size());
  double value = 0.0;
  dense_vector gradient{q};
  symmetric_matrix hessian{q, q};
  if (!objective.compute_value_gradient_hessian(view_of(t), value, gradient, hessian))
    return ::testing::AssertionFailure() << "undefined";
  const real value_error =
      std::abs(widened(value) - expected.value) / std::abs(expected.value);
  real gradient_scale = 0.0L;
  real gradient_error = 0.0L;
  real hessian_scale = 0.0L;
  real hessian_error = 0.0L;
  for (index_t j = 0; j < q; ++j) {
    const real entry = expected.gradient[at(j)];
    gradient_scale = std::max(gradient_scale, std::abs(entry));
    gradient_error = std::max(gradient_error, std::abs(widened(gradient[j]) - entry));
    for (index_t i = j; i < q; ++i) {
      hessian_scale = std::max(hessian_scale, std::abs(expected.hessian(i, j)));
      hessian_error = std::max(hessian_error,
                               std::abs(widened(hessian(i, j)) - expected.hessian(i, j)));
    }
  }
  // The comparisons are written so that a NaN fails them.
  const real share = widened(tolerance);
  const bool agree = value_error <= share && gradient_error <= share * gradient_scale &&
                     hessian_error <= share * hessian_scale;
  if (agree) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "relative errors: value " << value_error
                                       << ", gradient " << gradient_error / gradient_scale
                                       << ", hessian " << hessian_error / hessian_scale;
}

::testing::AssertionResult combined_calls_repeat_separate_calls(
    second_order_objective& objective, const std::vector<double>& t) {
  const auto q = static_cast<index_t>(t.size());
  struct evaluation {
    double value = 0.0;
    dense_vector gradient;
    symmetric_matrix hessian;
  };
  const auto fresh = [q] {
    evaluation e{0.0, dense_vector{q}, symmetric_matrix{q, q}};
    std::fill(e.gradient.begin(), e.gradient.end(), 0.0);
    std::fill(e.hessian.begin(), e.hessian.end(), 0.0);
    return e;
  };
  const const_vector_view x = view_of(t);
  evaluation separate = fresh();
  evaluation all = fresh();
  evaluation derivatives = fresh();
  evaluation first_order = fresh();
  const bool defined =
      objective.compute_value(x, separate.value) &&
      objective.compute_gradient(x, separate.gradient) &&
      objective.compute_hessian(x, separate.hessian) &&
      objective.compute_value_gradient_hessian(x, all.value, all.gradient, all.hessian) &&
      objective.compute_gradient_hessian(x, derivatives.gradient, derivatives.hessian) &&
      objective.compute_value_gradient(x, first_order.value, first_order.gradient);
  if (!defined) return ::testing::AssertionFailure() << "undefined";
  const auto same = [](const auto& a, const auto& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  };
  if (separate.value != all.value || separate.value != first_order.value)
    return ::testing::AssertionFailure() << "values differ";
  for (const dense_vector* g :
       {&all.gradient, &derivatives.gradient, &first_order.gradient})
    if (!same(separate.gradient, *g))
      return ::testing::AssertionFailure() << "gradients differ";
  for (const symmetric_matrix* h : {&all.hessian, &derivatives.hessian})
    if (!same(separate.hessian, *h))
      return ::testing::AssertionFailure() << "Hessians differ";
  return ::testing::AssertionSuccess();
}

}  // namespace corvane::model::ridge_regression_detail
