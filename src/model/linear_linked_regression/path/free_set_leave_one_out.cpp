// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/free_set_leave_one_out.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "common/compensated_sum.h"
#include "common/linear_algebra.h"
#include "common/matrix_block.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

namespace corvane::model::sparse_path {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
// A direction with less than this part of the curvature counts as one without curvature.
constexpr double dependence = 1e-10;

std::size_t at(index_t i) { return static_cast<std::size_t>(i); }

// The columns that a row may make active, the active ones first.
struct candidate_set {
  std::vector<index_t> columns;
  index_t num_active = 0;
};

// A slope changes by about f_i x_ij where row i is left out, and f_i is at most three times
// the residual of a row whose leverage v_i h_i is below 2/3.
bool may_enter(const sparse_problem& problem, const sparse_fit& fit, index_t j) {
  constexpr double factor = 3.0;
  const double needed = fit.strengths.l1[j] - std::abs(fit.slopes[j]);
  const const_vector_view x = problem.X.column(j);
  for (index_t i = 0; i < x.size(); ++i)
    if (factor * std::abs(fit.residuals[i] * x[i]) >= needed) return true;
  return false;
}

candidate_set find_candidates(const sparse_problem& problem, const sparse_fit& fit) {
  candidate_set result;
  std::vector<index_t> outside;
  for (index_t j = 0; j < fit.weights.size(); ++j) {
    if (fit.weights[j] != 0.0)
      result.columns.push_back(j);
    else if (may_enter(problem, fit, j))
      outside.push_back(j);
  }
  result.num_active = static_cast<index_t>(result.columns.size());
  keep_nearest_to_bounds(problem, fit, outside);
  result.columns.insert(result.columns.end(), outside.begin(), outside.end());
  return result;
}

// The quadratic model over the active columns A of the fit and the rest R of the
// candidates, with what the model of every row is made of.
struct local_model {
  std::vector<index_t> columns;  // A, then R
  index_t num_active;
  dense_vector mean;
  dense_vector l1;
  dense_vector weights;
  dense_vector slopes;           // g - l2 w
  double variance_of_intercept;  // 1 / sum(v), 0 without an intercept
  dense_matrix M;                // (H_AA + l2)^-1
  dense_matrix P;                // M H_AR
  dense_matrix C;                // H_RR + l2 - H_RA P
  dense_vector curvature;        // H_jj + l2_j of R
  dense_vector effective_dof;    // of A
};

// (H_AA + l2)^-1 in `M`, both triangles. Else the position of a column that depends on
// those before it.
std::optional<index_t> invert(const_matrix_view H, const_vector_view l2, dense_matrix& M) {
  const index_t m = M.rows();
  if (m == 0) return std::nullopt;
  for (index_t b = 0; b < m; ++b)
    for (index_t a = b; a < m; ++a) M(a, b) = H(a, b) + (a == b ? l2[a] : 0.0);
  if (const int status = potrf(M); status != 0) return status - 1;
  for (index_t a = 0; a < m; ++a)
    if (!(M(a, a) * M(a, a) > dependence * (H(a, a) + l2[a]))) return a;
  potri(M);
  for (index_t b = 0; b < m; ++b)
    for (index_t a = b + 1; a < m; ++a) M(b, a) = M(a, b);
  return std::nullopt;
}

dense_vector gather(const_vector_view of_all, const std::vector<index_t>& columns) {
  dense_vector result{static_cast<index_t>(columns.size())};
  for (index_t k = 0; k < result.size(); ++k) result[k] = of_all[columns[at(k)]];
  return result;
}

// Active columns that depend on others keep their weights: they are left out.
local_model build_model(const sparse_problem& problem, const sparse_fit& fit,
                        candidate_set candidates) {
  while (true) {
    const index_t m = candidates.num_active;
    const auto count = static_cast<index_t>(candidates.columns.size());
    centered_gram centered = center(problem, fit.curvature, candidates.columns);
    const dense_vector l2 = gather(fit.strengths.l2, candidates.columns);
    dense_matrix M{m, m};
    if (const auto dependent = invert(centered.gram, l2, M)) {
      candidates.columns.erase(candidates.columns.begin() + *dependent);
      --candidates.num_active;
      continue;
    }
    local_model model{candidates.columns,
                      m,
                      std::move(centered.mean),
                      gather(fit.strengths.l1, candidates.columns),
                      gather(fit.weights, candidates.columns),
                      gather(fit.slopes, candidates.columns),
                      0.0,
                      std::move(M),
                      dense_matrix{m, count - m},
                      dense_matrix{count - m, count - m},
                      dense_vector{count - m},
                      dense_vector{m}};
    for (index_t k = 0; k < count; ++k) model.slopes[k] -= l2[k] * model.weights[k];
    for (index_t a = 0; a < m; ++a) model.effective_dof[a] = 1.0 - l2[a] * model.M(a, a);
    if (problem.with_intercept)
      model.variance_of_intercept =
          1.0 / std::accumulate(fit.curvature.begin(), fit.curvature.end(), 0.0);
    const const_matrix_block H{centered.gram};
    copy(H.part(m, m, count - m, count - m), model.C);
    for (index_t k = m; k < count; ++k)
      model.curvature[k - m] = model.C(k - m, k - m) += l2[k];
    if (m > 0 && count > m) {
      gemm(1.0, plain, model.M, plain, H.part(0, m, m, count - m), 0.0, model.P);
      gemm(-1.0, plain, H.part(m, 0, count - m, m), plain, model.P, 1.0, model.C);
    }
    return model;
  }
}

// Where the active set is A: derivatives in f of one row.
struct first_piece {
  const_vector_view weights;  // t = M x~_A
  const_vector_view slopes;   // b = x~_R - H_RA t
  double predictor;           // h
  double r;
  double v;
};

// Follows dw(f) of one row from f = 0 up to the solution. Where columns E of R have become
// active and columns D of A no longer are, the derivatives d of the weights and mu of the
// slopes of D solve
//   [C_EE, -P_DE'; -P_DE, -M_DD] [d_E; mu] = [b_E; -t_D],
//   d_A = t - P_E d_E - M_D mu,    those of the slopes of R:  b - C_RE d_E + P_D' mu,
//   h + b_E . d_E - t_D . mu.
class row_path {
 public:
  row_path(const local_model& model, const first_piece& first)
      : model_{model},
        first_{first},
        weights_{model.weights},
        slopes_{model.slopes},
        weight_rates_{model.weights.size()},
        slope_rates_{model.weights.size()},
        is_active_(at(model.weights.size()), false),
        is_blocked_(at(model.weights.size()), false) {
    std::fill_n(is_active_.begin(), model.num_active, true);
  }

  // dz_i, NaN where there is no solution.
  double run() {
    const index_t max_events = 20 * weights_.size() + 100;
    for (index_t event = 0; event < max_events; ++event) {
      const double h = find_rates();
      const double excess = f_ - first_.v * predictor_ + first_.r;
      const double direction = excess > 0.0 ? -1.0 : 1.0;
      const double slope = 1.0 - first_.v * h;
      const double remaining = slope > dependence ? std::abs(excess) / slope : infinity;
      const auto [distance, column] = next_event(direction);
      if (remaining <= distance) return predictor_ + direction * remaining * h;
      if (distance == infinity) break;
      move(direction * distance, h);
      change_state(column);
    }
    return std::numeric_limits<double>::quiet_NaN();
  }

 private:
  struct event_ahead {
    double distance;
    index_t column;
  };

  // Entry of the matrix above between two columns that have changed.
  double entry(index_t j, index_t k) const {
    const index_t m = model_.num_active;
    if (j >= m && k >= m) return model_.C(j - m, k - m);
    if (j < m && k < m) return -model_.M(j, k);
    return j < m ? -model_.P(j, k - m) : -model_.P(k, j - m);
  }

  // The matrix is quasidefinite: elimination needs no exchange of rows. False where a
  // column of E depends on the other active ones.
  bool solve_changed(std::vector<double>& solution) const {
    const std::size_t count = changed_.size();
    const index_t m = model_.num_active;
    std::vector<double> matrix(count * count);
    solution.resize(count);
    for (std::size_t a = 0; a < count; ++a) {
      const index_t j = changed_[a];
      solution[a] = j < m ? -first_.weights[j] : first_.slopes[j - m];
      for (std::size_t b = 0; b < count; ++b) matrix[a * count + b] = entry(j, changed_[b]);
    }
    for (std::size_t a = 0; a < count; ++a) {
      const double pivot = matrix[a * count + a];
      const index_t j = changed_[a];
      const double own = j < m ? entry(j, j) : model_.curvature[j - m];
      if (!(pivot / own > dependence)) return false;
      for (std::size_t row = a + 1; row < count; ++row) {
        const double factor = matrix[row * count + a] / pivot;
        for (std::size_t b = a; b < count; ++b)
          matrix[row * count + b] -= factor * matrix[a * count + b];
        solution[row] -= factor * solution[a];
      }
    }
    for (std::size_t a = count; a-- > 0;) {
      for (std::size_t b = a + 1; b < count; ++b)
        solution[a] -= matrix[a * count + b] * solution[b];
      solution[a] /= matrix[a * count + a];
    }
    return true;
  }

  // Sets the derivatives and returns that of the predictor.
  double find_rates() {
    const index_t m = model_.num_active;
    std::vector<double> solution;
    while (!solve_changed(solution)) {
      is_active_[at(changed_.back())] = false;
      is_blocked_[at(changed_.back())] = true;
      changed_.pop_back();
    }
    std::fill(weight_rates_.begin(), weight_rates_.end(), 0.0);
    std::fill(slope_rates_.begin(), slope_rates_.end(), 0.0);
    std::copy(first_.weights.begin(), first_.weights.end(), weight_rates_.begin());
    std::copy(first_.slopes.begin(), first_.slopes.end(), slope_rates_.begin() + m);
    double h = first_.predictor;
    for (std::size_t a = 0; a < changed_.size(); ++a) {
      const index_t j = changed_[a];
      const double rate = solution[a];
      const bool is_in_A = j < m;
      h += rate * (is_in_A ? -first_.weights[j] : first_.slopes[j - m]);
      for (index_t k = 0; k < m; ++k)
        weight_rates_[k] -= rate * (is_in_A ? model_.M(k, j) : model_.P(k, j - m));
      for (index_t k = m; k < weights_.size(); ++k)
        slope_rates_[k] += rate * (is_in_A ? model_.P(j, k - m) : -model_.C(k - m, j - m));
    }
    // By definition, in place of what rounding leaves.
    for (std::size_t a = 0; a < changed_.size(); ++a) {
      const index_t j = changed_[a];
      (j < m ? slope_rates_ : weight_rates_)[j] = solution[a];
      (j < m ? weight_rates_ : slope_rates_)[j] = 0.0;
    }
    return h;
  }

  // The nearest point where a weight becomes 0 or a column reaches its bound. Not at once
  // for the column that has just changed.
  event_ahead next_event(double direction) const {
    event_ahead nearest{infinity, -1};
    for (index_t k = 0; k < weights_.size(); ++k) {
      const double bound = model_.l1[k];
      if (bound == 0.0 || is_blocked_[at(k)]) continue;
      double distance = infinity;
      if (is_active_[at(k)]) {
        const double rate = direction * weight_rates_[k];
        if (rate * weights_[k] < 0.0) distance = -weights_[k] / rate;
      } else {
        const double rate = direction * slope_rates_[k];
        const bool has_just_left = k == last_ && slopes_[k] * rate > 0.0;
        if (rate != 0.0 && !has_just_left)
          distance = std::max((std::copysign(bound, rate) - slopes_[k]) / rate, 0.0);
      }
      if (distance < nearest.distance) nearest = {distance, k};
    }
    return nearest;
  }

  void move(double change, double h) {
    f_ += change;
    predictor_ += change * h;
    for (index_t k = 0; k < weights_.size(); ++k) {
      weights_[k] += change * weight_rates_[k];
      slopes_[k] += change * slope_rates_[k];
    }
  }

  void change_state(index_t column) {
    is_active_[at(column)] = !is_active_[at(column)];
    const auto known = std::find(changed_.begin(), changed_.end(), column);
    if (known == changed_.end())
      changed_.push_back(column);
    else
      changed_.erase(known);
    weights_[column] = 0.0;
    last_ = column;
  }

  const local_model& model_;
  const first_piece& first_;
  double f_ = 0.0;
  double predictor_ = 0.0;
  dense_vector weights_;
  dense_vector slopes_;
  dense_vector weight_rates_;
  dense_vector slope_rates_;
  std::vector<bool> is_active_;
  std::vector<bool> is_blocked_;
  std::vector<index_t> changed_;  // E and D
  index_t last_ = -1;             // that changed
};

// Whether the signs of A and the bounds of R hold all the way to `f`.
bool holds(const local_model& model, const first_piece& first, double f) {
  for (index_t k = 0; k < first.weights.size(); ++k)
    if (model.l1[k] > 0.0 &&
        !(model.weights[k] * (model.weights[k] + f * first.weights[k]) > 0.0))
      return false;
  for (index_t k = 0; k < first.slopes.size(); ++k) {
    const index_t j = model.num_active + k;
    if (model.l1[j] > 0.0 &&
        !(std::abs(model.slopes[j] + f * first.slopes[k]) <= model.l1[j]))
      return false;
  }
  return true;
}

double predictor_change(const local_model& model, const first_piece& first) {
  const double slope = 1.0 - first.v * first.predictor;
  const double f = -first.r / slope;
  if (slope > dependence && holds(model, first, f)) return f * first.predictor;
  return row_path{model, first}.run();
}

// Rows from `begin` on, as columns of blocks that stay in the cache.
void leave_rows_out(const sparse_problem& problem, const sparse_fit& fit,
                    const local_model& model, index_t begin, vector_view predictors) {
  const index_t rows = predictors.size();
  const index_t m = model.num_active;
  const index_t rest = model.weights.size() - m;
  dense_matrix active{m, rows};
  dense_matrix slopes{rest, rows};
  for (index_t k = 0; k < model.weights.size(); ++k) {
    const double* const x = problem.X.column(model.columns[at(k)]).data() + begin;
    double* const to = k < m ? &active(k, 0) : &slopes(k - m, 0);
    for (index_t i = 0; i < rows; ++i) to[i * (k < m ? m : rest)] = x[i] - model.mean[k];
  }
  dense_matrix weights{m, rows};
  if (m > 0) gemm(1.0, plain, model.M, plain, active, 0.0, weights);
  // H_RA M x~_A = P' x~_A
  if (m > 0 && rest > 0) gemm(-1.0, transposed, model.P, plain, active, 1.0, slopes);
  for (index_t i = 0; i < rows; ++i) {
    const const_vector_view t = const_matrix_view{weights}.column(i);
    const first_piece first{
        t, const_matrix_view{slopes}.column(i),
        model.variance_of_intercept + dot(const_matrix_view{active}.column(i), t),
        fit.residuals[begin + i], fit.curvature[begin + i]};
    predictors[i] = fit.z[begin + i] + predictor_change(model, first);
  }
}

}  // namespace

leave_one_out leave_each_row_out(const sparse_problem& problem, const sparse_fit& fit) {
  const local_model model = build_model(problem, fit, find_candidates(problem, fit));
  const index_t n = fit.z.size();
  leave_one_out result{dense_vector{n}, 0.0, dense_vector{fit.weights.size()}};
  std::fill(result.effective_dof.begin(), result.effective_dof.end(), 0.0);
  for (index_t a = 0; a < model.num_active; ++a)
    result.effective_dof[model.columns[at(a)]] = model.effective_dof[a];
  constexpr index_t block_size = 256;
  for (index_t begin = 0; begin < n; begin += block_size) {
    check(problem.interrupt);
    leave_rows_out(problem, fit, model, begin,
                   result.predictors.view().part(begin, std::min(block_size, n - begin)));
  }
  dense_vector losses{n};
  loss_link_detail::logistic_log_likelihood_loss_link{}.compute_loss(
      problem.s, result.predictors, losses);
  const double loss = compensated_total(losses);
  result.loss = loss;
  if (std::isnan(loss)) result.loss = infinity;
  return result;
}

}  // namespace corvane::model::sparse_path
