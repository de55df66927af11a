// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/sparse_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "common/compensated_sum.h"
#include "common/linear_algebra.h"
#include "common/matrix_block.h"
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/path/lasso_quadratic.h"

namespace corvane::model::sparse_path {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

dense_vector constant(index_t size, double value) {
  dense_vector result{size};
  std::fill(result.begin(), result.end(), value);
  return result;
}

double sum_of(const_vector_view x) { return std::accumulate(x.begin(), x.end(), 0.0); }

double penalty_of(const column_strengths& strengths, const_vector_view weights) {
  double sum = 0.0;
  for (index_t j = 0; j < weights.size(); ++j)
    if (const double w = weights[j]; w != 0.0)
      sum += strengths.l1[j] * std::abs(w) + 0.5 * strengths.l2[j] * w * w;
  return sum;
}

// Loss, residuals and curvature at fit.z.
void evaluate_loss(const sparse_problem& problem, sparse_fit& fit) {
  const index_t n = fit.z.size();
  dense_vector losses{n};
  fit.residuals = dense_vector{n};
  fit.curvature = dense_vector{n};
  loss_link_detail::logistic_log_likelihood_loss_link{}.compute_jointly(
      problem.s, fit.z,
      {.loss = losses,
       .first = fit.residuals,
       .second = fit.curvature,
       .third = {},
       .fourth = {}});
  for (double& r : fit.residuals) r = -r;
  fit.loss = compensated_total(losses);
}

// Slopes within this count as 0. It is far above rounding, 1e-16 of the bound.
double tolerance_of(const sparse_problem& problem, const sparse_fit& fit, index_t j) {
  return problem.accuracy * std::max(fit.strengths.l1[j], 1e-3 * problem.slope_bounds[j]);
}

class newton_run {
 public:
  newton_run(const sparse_problem& problem, sparse_fit& fit)
      : problem_{problem}, fit_{fit} {}

  // Over all columns, by working sets that only grow.
  void run(const column_strengths& before) {
    select_columns(before);
    constexpr double rounding = 1e3;  // what a run that makes no progress may leave
    do {
      check(problem_.interrupt);
      while (error() > 1.0 && num_steps_ < problem_.max_steps && take_newton_step())
        ++num_steps_;
      gemv(1.0, transposed, problem_.X, fit_.residuals, 0.0, fit_.slopes);
    } while (add_violators());
    fit_.num_steps += num_steps_;
    // Where all residuals vanish there is no finite minimum.
    fit_.is_optimal =
        error() <= rounding && fit_.loss > 1e-10 * static_cast<double>(fit_.z.size());
  }

 private:
  void select_columns(const column_strengths& before) {
    is_in_.assign(static_cast<std::size_t>(problem_.X.cols()), false);
    std::vector<index_t> strong;
    for (index_t j = 0; j < problem_.X.cols(); ++j) {
      const double l1 = fit_.strengths.l1[j];
      const double reach = std::abs(fit_.slopes[j]) + std::abs(l1 - before.l1[j]);
      if (fit_.weights[j] != 0.0 || l1 == 0.0)
        add_column(j);
      else if (l1 < infinity && reach >= l1)
        strong.push_back(j);
    }
    keep_nearest_to_bounds(problem_, fit_, strong);
    for (const index_t j : strong) add_column(j);
  }

  void add_column(index_t j) {
    columns_.push_back(j);
    is_in_[static_cast<std::size_t>(j)] = true;
  }

  bool add_violators() {
    const std::size_t before = columns_.size();
    for (index_t j = 0; j < problem_.X.cols(); ++j)
      if (!is_in_[static_cast<std::size_t>(j)] &&
          std::abs(fit_.slopes[j]) > fit_.strengths.l1[j] + tolerance_of(problem_, fit_, j))
        add_column(j);
    return columns_.size() > before;
  }

  double imbalance_of(index_t j) const {
    return imbalance(fit_.slopes[j], fit_.weights[j], fit_.strengths.l1[j],
                     fit_.strengths.l2[j]);
  }

  // In units of the tolerance, over the working set.
  double error() const {
    const auto n = static_cast<double>(fit_.z.size());
    double largest = problem_.with_intercept
                         ? std::abs(sum_of(fit_.residuals)) / (1e-3 * problem_.accuracy * n)
                         : 0.0;
    for (const index_t j : columns_) {
      const double tolerance = tolerance_of(problem_, fit_, j);
      if (tolerance > 0.0)
        largest = std::max(largest, std::abs(imbalance_of(j)) / tolerance);
    }
    return largest;
  }

  // False where no step lowers the objective.
  bool take_newton_step() {
    check(problem_.interrupt);
    const auto count = static_cast<index_t>(columns_.size());
    const centered_gram model = center(problem_, fit_.curvature, columns_);
    dense_vector start{count};
    dense_vector target{count};
    dense_vector slopes{count};
    dense_vector l1{count};
    dense_vector l2{count};
    for (index_t k = 0; k < count; ++k) {
      const index_t j = columns_[static_cast<std::size_t>(k)];
      start[k] = target[k] = fit_.weights[j];
      l1[k] = fit_.strengths.l1[j];
      l2[k] = fit_.strengths.l2[j];
    }
    const double excess = sum_of(fit_.residuals);
    for (index_t k = 0; k < count; ++k)
      slopes[k] =
          fit_.slopes[columns_[static_cast<std::size_t>(k)]] - model.mean[k] * excess;
    minimize({model.gram, l1, l2, problem_.interrupt}, target, slopes);
    dense_vector change{count};
    for (index_t k = 0; k < count; ++k) change[k] = target[k] - start[k];
    return move(model, change);
  }

  // By `change` of the working set's weights and the intercept that goes with it, or by a
  // part of that.
  bool move(const centered_gram& model, const_vector_view change) {
    const double shift =
        problem_.with_intercept ? sum_of(fit_.residuals) / sum_of(fit_.curvature) : 0.0;
    const double intercept_change = shift - dot(model.mean, change);
    const dense_vector direction = predictor_change(change, intercept_change);
    const double objective = fit_.loss + penalty_of(fit_.strengths, fit_.weights);
    const double slack = 1e-13 * (1.0 + std::abs(objective));
    // The linear model of the loss, and the penalty as it is.
    const double linear = -dot(fit_.residuals, direction);
    constexpr int most_halvings = 33;
    for (int halvings = 0; halvings < most_halvings; ++halvings) {
      const double length = std::ldexp(1.0, -halvings);
      sparse_fit next;
      next.weights = fit_.weights;
      for (index_t k = 0; k < change.size(); ++k)
        next.weights[columns_[static_cast<std::size_t>(k)]] += length * change[k];
      next.z = fit_.z;
      for (index_t i = 0; i < next.z.size(); ++i) next.z[i] += length * direction[i];
      evaluate_loss(problem_, next);
      const double penalty = penalty_of(fit_.strengths, next.weights);
      const double penalty_change = penalty - (objective - fit_.loss);
      const double predicted = length * linear + penalty_change;
      if (!(next.loss + penalty <= objective + 1e-4 * std::min(predicted, 0.0) + slack))
        continue;
      next.intercept = fit_.intercept + length * intercept_change;
      accept(std::move(next));
      return true;
    }
    return false;
  }

  bool has_most_columns() const {
    return 2 * static_cast<index_t>(columns_.size()) > problem_.X.cols();
  }

  // intercept + X change
  dense_vector predictor_change(const_vector_view change, double intercept) const {
    dense_vector result = constant(fit_.z.size(), intercept);
    if (has_most_columns()) {
      dense_vector of_all = constant(problem_.X.cols(), 0.0);
      for (index_t k = 0; k < change.size(); ++k)
        of_all[columns_[static_cast<std::size_t>(k)]] = change[k];
      gemv(1.0, plain, problem_.X, of_all, 1.0, result);
      return result;
    }
    for (index_t k = 0; k < change.size(); ++k) {
      if (change[k] == 0.0) continue;
      const const_vector_view x = problem_.X.column(columns_[static_cast<std::size_t>(k)]);
      for (index_t i = 0; i < x.size(); ++i) result[i] += change[k] * x[i];
    }
    return result;
  }

  // Of the working set.
  void update_slopes() {
    if (has_most_columns()) {
      gemv(1.0, transposed, problem_.X, fit_.residuals, 0.0, fit_.slopes);
      return;
    }
    for (const index_t j : columns_)
      fit_.slopes[j] = dot(problem_.X.column(j), fit_.residuals);
  }

  void accept(sparse_fit next) {
    fit_.weights = std::move(next.weights);
    fit_.intercept = next.intercept;
    fit_.z = std::move(next.z);
    fit_.loss = next.loss;
    fit_.residuals = std::move(next.residuals);
    fit_.curvature = std::move(next.curvature);
    update_slopes();
  }

  const sparse_problem& problem_;
  sparse_fit& fit_;
  std::vector<index_t> columns_;  // the working set
  std::vector<bool> is_in_;
  int num_steps_ = 0;
};

// How many times as large l1 strengths must be for weights of 0.
double largest_ratio(const sparse_fit& fit, const column_strengths& strengths) {
  double ratio = 0.0;
  for (index_t j = 0; j < fit.slopes.size(); ++j)
    if (strengths.l1[j] > 0.0)
      ratio = std::max(ratio, std::abs(fit.slopes[j]) / strengths.l1[j]);
  return ratio;
}

column_strengths scaled_l1(const column_strengths& strengths, double factor) {
  column_strengths result = strengths;
  for (double& l1 : result.l1) l1 *= factor;
  return result;
}

sparse_fit zero_weights(const sparse_problem& problem) {
  sparse_fit start;
  start.weights = constant(problem.X.cols(), 0.0);
  start.z = constant(problem.X.rows(), 0.0);
  evaluate_loss(problem, start);
  start.slopes = dense_vector{problem.X.cols()};
  gemv(1.0, transposed, problem.X, start.residuals, 0.0, start.slopes);
  return start;
}

}  // namespace

sparse_problem::sparse_problem(const_matrix_view design, const_vector_view classes,
                               bool intercept, interruption* asked)
    : X{design},
      s{classes},
      with_intercept{intercept},
      interrupt{asked},
      slope_bounds{design.cols()} {
  const double largest_norm = std::sqrt(static_cast<double>(design.rows()));
  for (index_t j = 0; j < X.cols(); ++j) slope_bounds[j] = norm(X.column(j)) * largest_norm;
}

void keep_nearest_to_bounds(const sparse_problem& problem, const sparse_fit& fit,
                            std::vector<index_t>& columns) {
  const index_t most = std::max<index_t>(256, 2 * problem.X.rows());
  if (static_cast<index_t>(columns.size()) <= most) return;
  const auto is_nearer = [&](index_t a, index_t b) {
    return std::abs(fit.slopes[a]) * fit.strengths.l1[b] >
           std::abs(fit.slopes[b]) * fit.strengths.l1[a];
  };
  std::nth_element(columns.begin(), columns.begin() + most, columns.end(), is_nearer);
  columns.resize(static_cast<std::size_t>(most));
}

// The root of V joins the columns, so that one product gives their means as well:
//   X~' V X~ = X' V X - (X' v) (X' v)' / sum(v).
// The normalized columns have a mean of 0: the difference loses few digits.
centered_gram center(const sparse_problem& problem, const_vector_view curvature,
                     const std::vector<index_t>& columns) {
  constexpr index_t block_size = 512;  // of rows, which stay in the cache
  const index_t n = problem.X.rows();
  const auto count = static_cast<index_t>(columns.size());
  dense_matrix products{count + 1, count + 1};
  fill(products, 0.0);
  dense_matrix block{std::min(n, block_size), count + 1};
  for (index_t first = 0; first < n; first += block_size) {
    const index_t rows = std::min(block_size, n - first);
    const matrix_block weighted = matrix_block{block}.part_rows(0, rows);
    const vector_view roots = weighted.column(count);
    for (index_t i = 0; i < rows; ++i) roots[i] = std::sqrt(curvature[first + i]);
    for (index_t k = 0; k < count; ++k) {
      const double* const x =
          problem.X.column(columns[static_cast<std::size_t>(k)]).data() + first;
      const vector_view to = weighted.column(k);
      for (index_t i = 0; i < rows; ++i) to[i] = roots[i] * x[i];
    }
    syrk(1.0, transposed, weighted, 1.0, products);
  }
  centered_gram result{constant(count, 0.0), dense_matrix{count, count}};
  const double total = products(count, count);
  for (index_t k = 0; k < count; ++k)
    if (problem.with_intercept) result.mean[k] = products(count, k) / total;
  for (index_t b = 0; b < count; ++b)
    for (index_t a = b; a < count; ++a)
      result.gram(a, b) = result.gram(b, a) =
          products(a, b) - total * result.mean[a] * result.mean[b];
  return result;
}

sparse_fit refit(const sparse_problem& problem, const sparse_fit& before,
                 const column_strengths& strengths) {
  sparse_fit result = before;
  result.strengths = strengths;
  newton_run{problem, result}.run(before.strengths);
  return result;
}

sparse_fit null_fit(const sparse_problem& problem, const column_strengths& strengths) {
  sparse_fit start = zero_weights(problem);
  start.strengths = scaled_l1(strengths, 0.0);
  column_strengths without = strengths;
  for (double& l1 : without.l1)
    if (l1 > 0.0) l1 = infinity;
  sparse_fit result = refit(problem, start, without);
  result.strengths = scaled_l1(strengths, largest_ratio(result, strengths));
  return result;
}

sparse_fit fit(const sparse_problem& problem, const column_strengths& strengths) {
  sparse_fit current = null_fit(problem, strengths);
  // A working set of all columns is small enough.
  constexpr index_t few_columns = 256;
  if (problem.X.cols() <= few_columns) return refit(problem, current, strengths);
  double ratio = 0.5 * largest_ratio(current, strengths);
  while (ratio > 1.0) {
    current = refit(problem, current, scaled_l1(strengths, ratio));
    ratio *= 0.5;
  }
  return refit(problem, current, strengths);
}

}  // namespace corvane::model::sparse_path
