// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/free_set_leave_one_out.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "common/linear_algebra.h"
#include "model/linear_linked_regression/detail/total_loss.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

namespace corvane::model::sparse_path {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
// What counts as a direction of which the data know nothing, relative to the curvature.
constexpr double dependence = 1e-10;

std::size_t at(index_t i) { return static_cast<std::size_t>(i); }

// The columns that a row may make active, the active ones first.
struct candidate_set {
  std::vector<index_t> columns;
  index_t num_active = 0;
};

candidate_set find_candidates(const sparse_fit& fit) {
  candidate_set result;
  std::vector<index_t> outside;
  for (index_t j = 0; j < fit.weights.size(); ++j) {
    if (fit.weights[j] != 0.0)
      result.columns.push_back(j);
    else if (std::abs(fit.slopes[j]) >= 0.5 * fit.strengths.l1[j])
      outside.push_back(j);
  }
  result.num_active = static_cast<index_t>(result.columns.size());
  result.columns.insert(result.columns.end(), outside.begin(), outside.end());
  return result;
}

// The quadratic model, over the candidates.
struct local_model {
  dense_matrix X;  // centered
  dense_matrix H;
  dense_vector l1;
  dense_vector l2;
  dense_vector weights;
  dense_vector slopes;           // g - l2 w
  double variance_of_intercept;  // 1 / sum(v), 0 without an intercept
};

// M over a set of columns that grows and shrinks by one, by the formulas for bordered
// inverses. Columns that depend on those in the set stay out of it.
class active_inverse {
 public:
  explicit active_inverse(const local_model& model)
      : model_{&model}, M_{model.H.cols(), model.H.cols()} {}

  index_t size() const { return static_cast<index_t>(columns_.size()); }
  const std::vector<index_t>& columns() const { return columns_; }
  double operator()(index_t a, index_t b) const { return M_(a, b); }

  // With q = M H_Aj and s = H_jj + l2_j - H_jA q:
  //   [M + q q' / s, -q / s; -q' / s, 1 / s]
  bool try_add(index_t j) {
    const index_t m = size();
    dense_vector q{m};
    for (index_t a = 0; a < m; ++a) {
      q[a] = 0.0;
      for (index_t b = 0; b < m; ++b) q[a] += M_(b, a) * model_->H(columns_[at(b)], j);
    }
    const double own = model_->H(j, j) + model_->l2[j];
    double s = own;
    for (index_t a = 0; a < m; ++a) s -= model_->H(columns_[at(a)], j) * q[a];
    if (!(s > dependence * own)) return false;
    for (index_t b = 0; b < m; ++b) {
      for (index_t a = 0; a < m; ++a) M_(a, b) += q[a] * q[b] / s;
      M_(m, b) = M_(b, m) = -q[b] / s;
    }
    M_(m, m) = 1.0 / s;
    columns_.push_back(j);
    return true;
  }

  // M_BB - M_Bk M_kB / M_kk over the rest B; the last column takes the place.
  void remove(index_t place) {
    const index_t last = size() - 1;
    const double pivot = M_(place, place);
    for (index_t b = 0; b <= last; ++b) {
      if (b == place) continue;
      const double factor = M_(place, b) / pivot;
      for (index_t a = 0; a <= last; ++a)
        if (a != place) M_(a, b) -= M_(a, place) * factor;
    }
    for (index_t a = 0; a <= last; ++a) M_(a, place) = M_(a, last);
    for (index_t a = 0; a <= last; ++a) M_(place, a) = M_(last, a);
    M_(place, place) = M_(last, last);
    columns_[at(place)] = columns_[at(last)];
    columns_.pop_back();
  }

  dense_matrix matrix() const {
    dense_matrix result{size(), size()};
    for (index_t b = 0; b < size(); ++b)
      for (index_t a = 0; a < size(); ++a) result(a, b) = M_(a, b);
    return result;
  }

 private:
  const local_model* model_;
  dense_matrix M_;  // its leading part
  std::vector<index_t> columns_;
};

// What the solution without one row moves along: derivatives in f.
struct piece {
  dense_vector weights;  // of all candidates, 0 outside of A
  dense_vector slopes;
  double predictor;  // h
};

// Follows dw(f) of one row from f = 0 up to the solution.
class row_path {
 public:
  row_path(const local_model& model, const active_inverse& start, index_t row, double r,
           double v)
      : model_{model},
        inverse_{start},
        row_{row},
        r_{r},
        v_{v},
        weights_{model.weights},
        slopes_{model.slopes},
        is_active_(at(model.weights.size()), false) {
    for (const index_t k : inverse_.columns()) is_active_[at(k)] = true;
  }

  // dz_i, NaN where there is no solution.
  double run() {
    const index_t max_events = 20 * weights_.size() + 100;
    for (index_t event = 0; event < max_events; ++event) {
      const piece along = current_piece();
      const double slope = 1.0 - v_ * along.predictor;
      const double excess = f_ - v_ * predictor_ + r_;
      const double remaining = slope > dependence ? std::abs(excess) / slope : infinity;
      const double direction = excess > 0.0 ? -1.0 : 1.0;
      const auto [distance, column] = next_event(along, direction);
      if (remaining <= distance)
        return predictor_ + direction * remaining * along.predictor;
      if (distance == infinity) break;
      move(along, direction * distance);
      change_state(column);
    }
    return std::numeric_limits<double>::quiet_NaN();
  }

 private:
  struct event_ahead {
    double distance;
    index_t column;
  };

  double x(index_t k) const { return model_.X(row_, k); }

  piece current_piece() const {
    const index_t count = weights_.size();
    piece along{dense_vector{count}, dense_vector{count}, model_.variance_of_intercept};
    std::fill(along.weights.begin(), along.weights.end(), 0.0);
    for (index_t k = 0; k < count; ++k) along.slopes[k] = x(k);
    for (index_t a = 0; a < inverse_.size(); ++a) {
      const index_t k = inverse_.columns()[at(a)];
      double change = 0.0;
      for (index_t b = 0; b < inverse_.size(); ++b)
        change += inverse_(b, a) * x(inverse_.columns()[at(b)]);
      along.weights[k] = change;
      along.slopes[k] -= model_.l2[k] * change;
      along.predictor += x(k) * change;
      for (index_t j = 0; j < count; ++j) along.slopes[j] -= model_.H(j, k) * change;
    }
    return along;
  }

  // The nearest point where a weight becomes 0 or a column reaches its bound. Not at once
  // for the column that has just changed.
  event_ahead next_event(const piece& along, double direction) const {
    event_ahead nearest{infinity, -1};
    for (index_t k = 0; k < weights_.size(); ++k) {
      const double bound = model_.l1[k];
      if (bound == 0.0) continue;
      double distance = infinity;
      if (is_active_[at(k)]) {
        const double rate = direction * along.weights[k];
        if (rate * weights_[k] < 0.0) distance = -weights_[k] / rate;
      } else {
        const double rate = direction * along.slopes[k];
        const bool is_real = std::abs(rate) > dependence * std::abs(x(k));
        const double reached = rate > 0.0 ? bound : -bound;
        const bool has_just_left = k == changed_ && slopes_[k] * rate > 0.0;
        if (is_real && !has_just_left)
          distance = std::max((reached - slopes_[k]) / rate, 0.0);
      }
      if (distance < nearest.distance) nearest = {distance, k};
    }
    return nearest;
  }

  void move(const piece& along, double change) {
    f_ += change;
    predictor_ += change * along.predictor;
    for (index_t k = 0; k < weights_.size(); ++k) {
      weights_[k] += change * along.weights[k];
      slopes_[k] += change * along.slopes[k];
    }
  }

  void change_state(index_t column) {
    if (is_active_[at(column)]) {
      const auto& columns = inverse_.columns();
      inverse_.remove(static_cast<index_t>(
          std::find(columns.begin(), columns.end(), column) - columns.begin()));
      is_active_[at(column)] = false;
    } else {
      is_active_[at(column)] = inverse_.try_add(column);
    }
    weights_[column] = 0.0;
    changed_ = column;
  }

  const local_model& model_;
  active_inverse inverse_;
  index_t row_;
  double r_;
  double v_;
  double f_ = 0.0;
  double predictor_ = 0.0;
  dense_vector weights_;
  dense_vector slopes_;
  std::vector<bool> is_active_;
  index_t changed_ = -1;
};

local_model build_model(const sparse_problem& problem, const sparse_fit& fit,
                        const candidate_set& candidates) {
  const auto count = static_cast<index_t>(candidates.columns.size());
  centered_columns centered = center(problem, fit.curvature, candidates.columns);
  const double total = std::accumulate(fit.curvature.begin(), fit.curvature.end(), 0.0);
  local_model model{std::move(centered.X),
                    std::move(centered.gram),
                    dense_vector{count},
                    dense_vector{count},
                    dense_vector{count},
                    dense_vector{count},
                    problem.with_intercept ? 1.0 / total : 0.0};
  for (index_t k = 0; k < count; ++k) {
    const index_t j = candidates.columns[at(k)];
    model.l1[k] = fit.strengths.l1[j];
    model.l2[k] = fit.strengths.l2[j];
    model.weights[k] = fit.weights[j];
    model.slopes[k] = fit.slopes[j] - model.l2[k] * fit.weights[j];
  }
  return model;
}

// dz of each row where its active set stays, and whether it does.
struct first_pieces {
  dense_vector changes;
  std::vector<bool> hold;
};

first_pieces take_first_pieces(const local_model& model, const active_inverse& inverse,
                               const sparse_fit& fit) {
  const index_t n = model.X.rows();
  const index_t count = model.weights.size();
  const index_t m = inverse.size();
  dense_matrix X_active{n, m};
  dense_matrix H_active{m, count};
  for (index_t a = 0; a < m; ++a) {
    const index_t k = inverse.columns()[at(a)];
    std::copy_n(model.X.view().column(k).data(), n, X_active.view().column(a).data());
    for (index_t j = 0; j < count; ++j) H_active(a, j) = model.H(k, j);
  }
  dense_matrix by_weight{n, m};     // x~_iA M
  dense_matrix by_slope = model.X;  // x~_i - x~_iA M H_A
  if (m > 0) {
    gemm(1.0, plain, X_active, plain, inverse.matrix(), 0.0, by_weight);
    gemm(-1.0, plain, by_weight, plain, H_active, 1.0, by_slope);
  }
  first_pieces result{dense_vector{n}, std::vector<bool>(at(n), true)};
  dense_vector f{n};
  for (index_t i = 0; i < n; ++i) {
    double h = model.variance_of_intercept;
    for (index_t a = 0; a < m; ++a) h += by_weight(i, a) * X_active(i, a);
    const double slope = 1.0 - fit.curvature[i] * h;
    result.hold[at(i)] = slope > dependence;
    f[i] = -fit.residuals[i] / slope;
    result.changes[i] = f[i] * h;
  }
  std::vector<bool> is_active(at(count), false);
  for (index_t a = 0; a < m; ++a) {
    const index_t k = inverse.columns()[at(a)];
    is_active[at(k)] = true;
    if (model.l1[k] == 0.0) continue;
    for (index_t i = 0; i < n; ++i)
      if (!(model.weights[k] * (model.weights[k] + f[i] * by_weight(i, a)) > 0.0))
        result.hold[at(i)] = false;
  }
  for (index_t k = 0; k < count; ++k) {
    if (is_active[at(k)] || model.l1[k] == 0.0) continue;
    for (index_t i = 0; i < n; ++i)
      if (!(std::abs(model.slopes[k] + f[i] * by_slope(i, k)) <= model.l1[k]))
        result.hold[at(i)] = false;
  }
  return result;
}

}  // namespace

leave_one_out leave_each_row_out(const sparse_problem& problem, const sparse_fit& fit) {
  const candidate_set candidates = find_candidates(fit);
  const local_model model = build_model(problem, fit, candidates);
  active_inverse inverse{model};
  leave_one_out result;
  result.effective_dof = dense_vector{fit.weights.size()};
  std::fill(result.effective_dof.begin(), result.effective_dof.end(), 0.0);
  for (index_t k = 0; k < candidates.num_active; ++k) inverse.try_add(k);
  for (index_t a = 0; a < inverse.size(); ++a) {
    const index_t k = inverse.columns()[at(a)];
    result.effective_dof[candidates.columns[at(k)]] = 1.0 - model.l2[k] * inverse(a, a);
  }
  const index_t n = fit.z.size();
  const first_pieces first = take_first_pieces(model, inverse, fit);
  result.predictors = dense_vector{n};
  for (index_t i = 0; i < n; ++i) {
    double change = first.changes[i];
    if (!first.hold[at(i)]) {
      check(problem.interrupt);
      change = row_path{model, inverse, i, fit.residuals[i], fit.curvature[i]}.run();
    }
    result.predictors[i] = fit.z[i] + change;
  }
  dense_vector losses{n};
  loss_link_detail::logistic_log_likelihood_loss_link{}.compute_loss(
      problem.s, result.predictors, losses);
  const double loss = linear_linked_regression_detail::total_loss(losses);
  result.loss = std::isnan(loss) ? infinity : loss;
  return result;
}

}  // namespace corvane::model::sparse_path
