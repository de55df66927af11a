// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/ridge_regression_model_descriptor.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <utility>

#include "common/blas_threads.h"
#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "model/ridge_regression/grouping/cluster_weights.h"
#include "model/ridge_regression/grouping/penalty_groups.h"
#include "model/ridge_regression/scores/make_ridge_score.h"
#include "n_array/panic.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

using ridge_regression_detail::common_penalty_design;
using ridge_regression_detail::count_groups;
using ridge_regression_detail::make_common_penalty_score;
using ridge_regression_detail::make_score;
using ridge_regression_detail::ridge_regression_objective;

namespace {

data_normalizer make_normalizer(const ridge_regression_model_options& options,
                                const_vector_view y, const_matrix_view X) {
  return {{options.center_target, options.center_features, options.with_bias,
           options.rescale_target, options.rescale_features},
          y,
          X};
}

bool penalizes_bias(const ridge_regression_model_options& options) {
  return options.with_bias && options.regularize_bias;
}

index_t count_hyperparameters(const ridge_regression_model_options& options,
                              index_t num_features) {
  return num_features + (penalizes_bias(options) ? 1 : 0);
}

// Every number below the count of coefficients, which bounds the size of the grouped
// problem too.
void check_groups(const_index_view groups, index_t num_coefficients) {
  if (groups.size() != num_coefficients)
    throw std::invalid_argument("groups and coefficients differ in number");
  for (const index_t group : groups)
    if (group < 0 || group >= num_coefficients)
      throw std::invalid_argument("a group number is out of range");
}

// Up to this rank the products of a fit are too small for several threads.
constexpr index_t small_rank = 128;

// One run of `fit`: the normalized problem, and the scratch memory that its stages share.
class ridge_fit {
 public:
  ridge_fit(const ridge_regression_model_options& options,
            const data_normalizer& normalizer, const_vector_view y, const_matrix_view X)
      : options_{options},
        y_{y},
        X_{X},
        limit_{std::min(X.rows(), X.cols()) <= small_rank},
        normalizer_{normalizer},
        design_{normalizer, y, X, penalizes_bias(options) || !options.with_bias,
                options.observer},
        num_hyperparameters_{count_hyperparameters(options, X.cols())} {}

  index_t num_hyperparameters() const { return num_hyperparameters_; }

  ridge_regression_model fit_ungrouped() {
    ridge_regression_objective& score = general_score();
    solution found = minimize(score, num_hyperparameters_);
    std::copy(found.result.x.begin(), found.result.x.end(), found.t.begin());
    // The optimizer ends at a point whose derivatives it has, which begin with the
    // factorization that gives the weights: a failure breaks an invariant.
    if (!score.compute_weights(found.t, found.weights))
      panic("failed to fit weight vector", 60,
            "src/model/ridge_regression/ridge_regression_model_descriptor");
    measure_influence(score, found);
    return make_model(std::move(found), {});
  }

  ridge_regression_model fit_grouped(index_vector groups) {
    check_groups(groups, num_hyperparameters_);
    if (count_groups(groups) == 1)
      if (auto found = solve_common())
        return make_model(std::move(*found), std::move(groups));
    return make_model(solve_grouped(groups), std::move(groups));
  }

  // Coefficients of similar size share a group, as they would share a prior variance.
  index_vector cluster_coefficients(index_t num_groups) {
    index_vector one_group(num_hyperparameters_);
    std::fill(one_group.begin(), one_group.end(), 0);
    const solution first = solve_grouped(one_group);
    const vector_view squares = scope_.vector(num_hyperparameters_);
    for (index_t j = 0; j < squares.size(); ++j)
      squares[j] = first.weights[j] * first.weights[j];
    return ridge_regression_detail::cluster_weights(squares, num_groups);
  }

 private:
  // The views lie in the scratch memory of the fit.
  struct solution {
    trust_region_result result;
    vector_view t;        // one entry per hyperparameter
    vector_view weights;  // p entries, normalized
    std::optional<ridge_row_influence> influence;
  };

  // Leaves t and the weights to be written.
  solution minimize(second_order_objective& objective, index_t num_variables) {
    const vector_view start = scope_.vector(num_variables);
    options_.initializer(start);
    if (!all_finite(start))
      throw std::invalid_argument("the start point holds a value that is not finite");
    return {optimize(*options_.optimizer, objective, start),
            scope_.vector(num_hyperparameters_), scope_.vector(normalizer_.num_columns),
            std::nullopt};
  }

  solution solve_grouped(const index_vector& groups) {
    ridge_regression_objective& score = general_score();
    score.set_groups(index_vector{groups});
    solution found = minimize(score, count_groups(groups));
    for (index_t j = 0; j < groups.size(); ++j) found.t[j] = found.result.x[groups[j]];
    require_weights(score.compute_weights(found.result.x, found.weights));
    measure_influence(score, found);
    return found;
  }

  // Empty where the score has no short form.
  std::optional<solution> solve_common() {
    const auto score = make_common_penalty_score(options_.objective_mode,
                                                 options_.center_features, design_);
    if (score == nullptr) return std::nullopt;
    solution found = minimize(*score, 1);
    std::fill(found.t.begin(), found.t.end(), found.result.x[0]);
    require_weights(score->compute_weights(found.result.x, found.weights));
    if (options_.with_influence)
      found.influence = {score->influence(found.result.x[0]), dense_vector{0}};
    return found;
  }

  // An unpenalized bias is orthogonal to the features where these are centered, and the
  // first rows and columns of R are the R of the features.
  void measure_influence(const ridge_regression_objective& score, solution& found) const {
    if (!options_.with_influence) return;
    const index_t p = num_hyperparameters_;
    const auto root = ridge_regression_detail::invert_root(
        const_matrix_block{score.system().triangle}.part(0, 0, p, p), found.t);
    found.influence = {
        ridge_regression_detail::measure_influence(design_, root, found.weights),
        column_dof(root, found.t)};
  }

  // Broken as in the ungrouped fit.
  static void require_weights(bool are_computed) {
    if (are_computed) return;
    std::fputs("failed to fit weight vector\n", stderr);
    std::terminate();
  }

  // Made where it is needed, and once: the stages of a fit share it.
  ridge_regression_objective& general_score() {
    if (score_ == nullptr)
      score_ = make_score(options_.objective_mode, normalizer_, y_, X_, options_.observer);
    return *score_;
  }

  // Undoes the normalization.
  ridge_regression_model make_model(solution&& found, index_vector&& groups) const {
    ridge_regression_model model;
    model.target_mean = normalizer_.target_mean;
    model.with_bias = normalizer_.with_bias;
    model.score = found.result.value;
    model.regularization = found.result.x;
    model.result = std::move(found.result);
    model.influence = std::move(found.influence);

    model.weights = normalizer_.raw_weights(found.weights);
    model.regularization_scaled = dense_vector(num_hyperparameters_);
    for (index_t j = 0; j < num_hyperparameters_; ++j) {
      const double t =
          found.t[j] * normalizer_.target_scale / normalizer_.feature_scales[j];
      model.regularization_scaled[j] = t * t;
    }
    model.intercept = normalizer_.raw_intercept(model.weights);
    if (!all_finite(const_vector_view{model.weights}) || !is_finite(model.intercept))
      throw std::overflow_error{"the weights are beyond the range of doubles"};

    if (groups.size() > 0) {
      model.regularization_groups = std::move(groups);
    } else {
      model.regularization_groups = index_vector(normalizer_.num_columns);
      std::iota(model.regularization_groups.begin(), model.regularization_groups.end(), 0);
    }
    return model;
  }

  const ridge_regression_model_options& options_;
  const_vector_view y_;
  const_matrix_view X_;
  single_blas_thread limit_;
  scoped_allocator scope_;
  const data_normalizer& normalizer_;
  common_penalty_design design_;
  std::unique_ptr<ridge_regression_objective> score_;
  index_t num_hyperparameters_;
};

}  // namespace

index_vector make_variable_groups(ridge_grouping_mode mode, index_t count, bool with_flag) {
  if (mode == ridge_grouping_mode::none) return {};
  index_vector groups(count + (with_flag ? 1 : 0));
  std::fill(groups.begin(), groups.end(), 0);
  if (mode == ridge_grouping_mode::feature_bias && with_flag) groups[count] = 1;
  return groups;
}

ridge_regression_model_descriptor::ridge_regression_model_descriptor(
    ridge_regression_model_options&& options)
    : options_{std::move(options)} {
  if (!options_.optimizer)
    options_.optimizer =
        make_trust_region_optimizer({.tolerance = 0.0001, .tolerance2 = 0.001});
  if (!options_.initializer)
    options_.initializer = [](vector_view point) {
      std::fill(point.begin(), point.end(), 0.1);
    };
}

data_normalizer ridge_regression_model_descriptor::normalize(const_vector_view y,
                                                             const_matrix_view X) const {
  return make_normalizer(options_, y, X);
}

ridge_regression_model ridge_regression_model_descriptor::fit(const_vector_view y,
                                                              const_matrix_view X,
                                                              index_vector groups) const {
  return fit(y, X, std::move(groups), make_normalizer(options_, y, X));
}

ridge_regression_model ridge_regression_model_descriptor::fit(
    const_vector_view y, const_matrix_view X, index_vector groups,
    const data_normalizer& normalizer) const {
  ridge_fit run(options_, normalizer, y, X);
  if (groups.size() == 0)
    groups =
        make_variable_groups(options_.grouping_mode, X.cols(), penalizes_bias(options_));
  if (groups.size() == 0) return run.fit_ungrouped();
  return run.fit_grouped(std::move(groups));
}

index_vector ridge_regression_model_descriptor::cluster_coefficients(
    const_vector_view y, const_matrix_view X, std::uint64_t num_groups,
    const data_normalizer& normalizer) const {
  if (num_groups < 1) throw std::invalid_argument("num_groups must be at least 1");
  const index_t count = count_hyperparameters(options_, X.cols());
  if (num_groups >= static_cast<std::uint64_t>(count)) return {};
  if (num_groups == 1) return make_variable_groups(ridge_grouping_mode::all, count, false);
  ridge_fit run(options_, normalizer, y, X);
  return run.cluster_coefficients(static_cast<index_t>(num_groups));
}

ridge_regression_model ridge_regression_model_descriptor::fit_with_num_groups(
    const_vector_view y, const_matrix_view X, std::uint64_t num_groups) const {
  if (num_groups < 1) throw std::invalid_argument("num_groups must be at least 1");
  const data_normalizer normalizer = make_normalizer(options_, y, X);
  ridge_fit run(options_, normalizer, y, X);
  const index_t num_hyperparameters = run.num_hyperparameters();
  if (num_groups >= static_cast<std::uint64_t>(num_hyperparameters))
    return run.fit_ungrouped();
  if (num_groups == 1)
    return run.fit_grouped(
        make_variable_groups(ridge_grouping_mode::all, num_hyperparameters, false));
  return run.fit_grouped(run.cluster_coefficients(static_cast<index_t>(num_groups)));
}

ridge_regression_model_descriptor::inspected_objective
ridge_regression_model_descriptor::make_objective(const_vector_view y, const_matrix_view X,
                                                  index_vector groups) const {
  const data_normalizer normalizer = make_normalizer(options_, y, X);
  auto score = make_score(options_.objective_mode, normalizer, y, X);
  if (groups.size() == 0)
    groups = make_variable_groups(options_.grouping_mode, X.cols(), options_.with_bias);
  if (groups.size() == 0)
    return {std::move(score), count_hyperparameters(options_, X.cols())};
  check_groups(groups, normalizer.num_columns);
  const index_t num_groups = count_groups(groups);
  score->set_groups(std::move(groups));
  return {std::move(score), num_groups};
}

}  // namespace corvane::model
