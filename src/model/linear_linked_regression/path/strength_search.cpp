// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/path/strength_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "model/linear_linked_regression/detail/logistic_problem.h"
#include "model/linear_linked_regression/path/free_set_leave_one_out.h"
#include "optimization/optimizer_error.h"

namespace corvane::model::sparse_path {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
// Of the logarithm of the strength on a path.
const double path_step = std::log(10.0) / 7.0;
const double pattern_step = std::log(2.0);

double root_mean_square(const_matrix_view X, const_index_view groups) {
  double sum = 0.0;
  double count = 0.0;
  for (index_t j = 0; j < X.cols(); ++j) {
    if (groups[j] < 0) continue;
    for (const double x : X.column(j)) sum += x * x;
    count += static_cast<double>(X.rows());
  }
  return sum > 0.0 ? std::sqrt(sum / count) : 1.0;
}

// The cost of a point grows with the cube of its weights: a path with more of them than
// these is not followed further.
bool is_dense(const sparse_fit& fit) {
  const auto count = std::count_if(fit.weights.begin(), fit.weights.end(),
                                   [](double w) { return w != 0.0; });
  return count > std::max<index_t>(512, 4 * fit.z.size());
}

// As exact as the comparison of points requires.
sparse_problem with_accuracy(sparse_problem problem, double accuracy) {
  problem.accuracy = std::clamp(accuracy, problem.accuracy, 1e-6);
  return problem;
}

// Where a path stops: at no improvement over several points, or at negligible ones.
class path_end {
 public:
  bool is_reached(double loss, double best_of_path, double tolerance) {
    ++count_;
    if (loss <= best_of_path) {
      const double gain = (previous_best_ - loss) / loss;
      previous_best_ = loss;
      since_best_ = 0;
      return count_ > usual_length && gain <= tolerance;
    }
    ++since_best_;
    return count_ > usual_length || since_best_ > most_past_best ||
           (since_best_ >= least_past_best && loss > 1.03 * best_of_path);
  }

 private:
  static constexpr int usual_length = 21;  // three powers of ten
  static constexpr int least_past_best = 6;
  static constexpr int most_past_best = 10;
  int count_ = 0;
  int since_best_ = 0;
  double previous_best_ = infinity;
};

}  // namespace

column_strengths spread(const group_strengths& strengths, const_index_view groups) {
  column_strengths result{dense_vector{groups.size()}, dense_vector{groups.size()}};
  for (index_t j = 0; j < groups.size(); ++j) {
    result.l1[j] = groups[j] < 0 ? 0.0 : strengths.l1[groups[j]];
    result.l2[j] = groups[j] < 0 ? 0.0 : strengths.l2[groups[j]];
  }
  return result;
}

group_strengths average_over_groups(const column_strengths& strengths,
                                    const_index_view groups) {
  const auto average = [&](const_vector_view of_columns) {
    const const_matrix_view table{of_columns.data(), of_columns.size(), 1};
    return linear_linked_regression_detail::average_over_groups(table, groups);
  };
  return {average(strengths.l1), average(strengths.l2)};
}

strength_search::strength_search(const sparse_problem& problem,
                                 const search_options& options)
    : problem_{with_accuracy(problem, 1e-2 * options.tolerance)},
      options_{options},
      num_groups_{linear_linked_regression_detail::count_groups(options.groups)},
      unit_{root_mean_square(problem.X, options.groups)},
      last_{
          null_fit(problem, spread(strengths_at(common_point(0.0, 0.0)), options.groups))},
      best_loss_{infinity} {
  null_loss_ = last_.loss;
}

strength_search::point strength_search::common_point(double l1, double l2) const {
  point x(static_cast<std::size_t>(num_groups_), l1);
  if (options_.with_l2) x.insert(x.end(), static_cast<std::size_t>(num_groups_), l2);
  return x;
}

group_strengths strength_search::strengths_at(const point& x) const {
  group_strengths result{dense_vector{num_groups_}, dense_vector{num_groups_}};
  for (index_t g = 0; g < num_groups_; ++g) {
    result.l1[g] = std::exp(x[static_cast<std::size_t>(g)]);
    result.l2[g] =
        options_.with_l2 ? std::exp(x[static_cast<std::size_t>(num_groups_ + g)]) : 0.0;
  }
  return result;
}

// Infinite where there is no minimum, or none without some row.
double strength_search::evaluate(const point& x) {
  if (num_evaluations_ > options_.max_evaluations) throw optimizer_iteration_limit_error{};
  const group_strengths strengths = strengths_at(x);
  sparse_fit fit = refit(problem_, last_, spread(strengths, options_.groups));
  double loss = infinity;
  if (fit.is_optimal) {
    loss = leave_each_row_out(problem_, fit).loss;
    last_ = std::move(fit);
  }
  if (loss < best_loss_) {
    best_loss_ = loss;
    best_ = x;
  }
  const int evaluation = num_evaluations_++;
  if (options_.observe) options_.observe(evaluation, loss, strengths);
  return loss;
}

void strength_search::follow_path(double share) {
  const auto at = [&](double log_lambda) {
    return common_point(std::log(share * unit_) + log_lambda,
                        std::log((1.0 - share) * unit_ * unit_) + log_lambda);
  };
  constexpr int most_points = 42;
  // The last fit may be that of much smaller strengths, a bad point to start from.
  last_ = null_fit(problem_, spread(strengths_at(at(0.0)), options_.groups));
  double first = -infinity;
  for (index_t j = 0; j < problem_.X.cols(); ++j)
    if (options_.groups[j] >= 0 && last_.strengths.l1[j] > 0.0)
      first = std::log(last_.strengths.l1[j] / (share * unit_));
  if (first == -infinity) first = 0.0;  // no penalized column has a slope
  path_end stop;
  double best_of_path = infinity;
  for (int k = 0; k < most_points; ++k) {
    const double loss = evaluate(at(first - k * path_step));
    const bool is_separated = last_.loss < 2e-4 * null_loss_;
    // Below, the loss only falls towards 0.
    if (is_separated && loss == best_loss_) end_ = run_end::infimum;
    if (is_separated || loss == infinity || is_dense(last_)) return;
    if (loss == best_loss_) end_ = run_end::within_tolerance;
    if (stop.is_reached(loss, best_of_path, options_.tolerance)) return;
    best_of_path = std::min(best_of_path, loss);
  }
}

// The smallest decrease of the loss that counts. Without it a strength whose best value is
// 0 would be reduced without end.
double strength_search::smallest_gain(double loss) const {
  return 0.1 * options_.tolerance * loss;
}

// Moves along each coordinate in turn; true where that has lowered the loss.
bool strength_search::explore(point& x, double& loss, double step, double& largest_change) {
  const double before = loss;
  for (double& coordinate : x) {
    if (coordinate == -infinity) continue;  // a strength of 0 stays 0
    const double from = coordinate;
    for (const double change : {-step, step}) {
      coordinate = from + change;
      const double trial = evaluate(x);
      largest_change = std::max(largest_change, std::abs(trial - loss));
      if (trial < loss - smallest_gain(loss)) {
        loss = trial;
        break;
      }
      coordinate = from;
    }
  }
  return loss < before;
}

void strength_search::search_pattern(double step) {
  constexpr double shortest = 1e-7;
  point base = best_;
  double loss = best_loss_;
  while (step > shortest) {
    double largest_change = 0.0;
    point x = base;
    if (explore(x, loss, step, largest_change)) {
      // The same move once more, as far as it lowers the loss.
      for (bool improves = x.size() > 1; improves;) {
        point further = x;
        for (std::size_t a = 0; a < x.size(); ++a)
          if (x[a] != -infinity) further[a] += x[a] - base[a];
        const double trial = evaluate(further);
        improves = trial < loss - smallest_gain(loss);
        base = x;
        if (improves) {
          x = further;
          loss = trial;
        }
      }
      base = x;
    } else {
      if (largest_change <= options_.tolerance * loss) return;
      step *= 0.5;
    }
  }
}

template <class Body>
search_result strength_search::run(Body&& body) {
  try {
    body();
  } catch (const optimizer_iteration_limit_error& limit) {
    end_ = limit.end();
  }
  if (best_loss_ == infinity) throw optimizer_undefined_error{};
  return {strengths_at(best_), best_loss_, end_, num_evaluations_};
}

search_result strength_search::find_common() {
  return run([this] {
    constexpr std::array shares{1.0, 0.5, 0.1, 0.02};
    for (const double share : shares) {
      follow_path(share);
      if (!options_.with_l2) break;
    }
  });
}

search_result strength_search::find() {
  search_result common = find_common();
  if (common.end != run_end::within_tolerance) return common;
  return run([this] { search_pattern(best_.size() > 1 ? pattern_step : 0.5 * path_step); });
}

search_result strength_search::find_from(const group_strengths& start) {
  return run([&] {
    point x = common_point(0.0, 0.0);
    for (index_t g = 0; g < num_groups_; ++g) {
      x[static_cast<std::size_t>(g)] = std::log(start.l1[g]);
      if (options_.with_l2)
        x[static_cast<std::size_t>(num_groups_ + g)] = std::log(start.l2[g]);
    }
    last_ = fit(problem_, spread(start, options_.groups));
    if (evaluate(x) < infinity) search_pattern(0.5 * path_step);
  });
}

}  // namespace corvane::model::sparse_path
