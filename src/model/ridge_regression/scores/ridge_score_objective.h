// SPDX-License-Identifier: BSD-3-Clause
//
// What the ridge scores have in common. Value, gradient and Hessian come from one
// evaluation that makes what is asked for: a combined call shares the factorization and the
// solves, and gives the same numbers as the separate calls. The weights depend on the data
// through R and b alone.
#pragma once

#include <optional>

#include "model/ridge_regression/factorization/ridge_normal_matrix.h"
#include "model/ridge_regression/grouping/penalty_groups.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"

namespace corvane::model::ridge_regression_detail {

// Where an evaluation writes; what is empty is not asked for.
struct ridge_outputs {
  double* value = nullptr;
  std::optional<vector_view> gradient;
  std::optional<symmetric_view> hessian;

  bool derivatives_wanted() const { return gradient.has_value() || hessian.has_value(); }
  // Of what was asked for and is now written.
  bool all_finite() const;
};

// The operations of an objective as one.
class ridge_evaluation : public ridge_regression_objective {
 public:
  bool compute_value(const_vector_view x, double& value) final;
  bool compute_gradient(const_vector_view x, vector_view gradient) final;
  bool compute_value_gradient(const_vector_view x, double& value,
                              vector_view gradient) final;
  bool compute_hessian(const_vector_view x, symmetric_view hessian) final;
  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) final;
  bool compute_value_gradient_hessian(const_vector_view x, double& value,
                                      vector_view gradient, symmetric_view hessian) final;

 private:
  // False where the score is undefined at x.
  virtual bool evaluate(const_vector_view x, const ridge_outputs& wanted) = 0;
};

// A score as a function of one root t_j per penalized column.
class ridge_score_objective : public ridge_evaluation {
 public:
  // The derivatives are those by the roots of the groups; t has one entry per column still.
  virtual bool evaluate_groups(const_vector_view t, const penalty_groups& groups,
                               const ridge_outputs& wanted) = 0;
  bool compute_weights(const_vector_view t, vector_view weights) final;

  // R and b of the data.
  const ridge_system& system() const { return system_; }

 protected:
  explicit ridge_score_objective(ridge_system&& system);

 private:
  bool evaluate(const_vector_view t, const ridge_outputs& wanted) final;

  ridge_system system_;
};

}  // namespace corvane::model::ridge_regression_detail
