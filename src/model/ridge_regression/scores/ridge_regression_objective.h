// SPDX-License-Identifier: BSD-3-Clause
//
// What the three scores of a ridge model share. The point holds square roots of ridge
// strengths, one per penalized column or one per group of them: the penalty on coefficient
// j is t_j^2. Columns behind the last t_j are not penalized. Value, gradient and Hessian
// come from one evaluation that writes the requested outputs: a combined call shares the
// factorization and the solves, and gives the same numbers as the separate calls.
#pragma once

#include <cstdint>
#include <optional>

#include "model/ridge_regression/factorization/ridge_normal_matrix.h"
#include "model/ridge_regression/grouping/penalty_groups.h"
#include "optimization/objective.h"

namespace corvane {
class scoped_allocator;
}

namespace corvane::model {

enum class ridge_objective_mode : std::int32_t { loocv = 0, gcv = 1, range_risk = 2 };

}  // namespace corvane::model

namespace corvane::model::ridge_regression_detail {

// Where an evaluation writes; what is empty is not computed.
struct ridge_outputs {
  double* value = nullptr;
  std::optional<vector_view> gradient;
  std::optional<symmetric_view> hessian;

  bool derivatives_wanted() const { return gradient.has_value() || hessian.has_value(); }
  // Of the outputs that are not empty, once they are written.
  bool all_finite() const;
};

class ridge_regression_objective : public second_order_objective {
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

  // Writes the p coefficients of the normalized problem, (X'X + diag(t)^2)^-1 X'y. False
  // when the normal matrix is not positive definite. It depends on the data through R and b
  // only.
  virtual bool compute_weights(const_vector_view x, vector_view weights);

  // From here on the point has one root for each group. of_column[j] is the group of column
  // j.
  void set_groups(index_vector&& of_column);

  // R and b of the data.
  const ridge_system& system() const { return system_; }

 protected:
  explicit ridge_regression_objective(ridge_system&& system);

 private:
  // False where the score is undefined at t, which has one root for each penalized column.
  // The derivatives are those by the roots of the groups. Sums within a group come before
  // the products over the observations: tables have a column per group where the
  // derivatives by all t_j would need one per column.
  virtual bool evaluate(const_vector_view t, const penalty_groups& groups,
                        const ridge_outputs& wanted) = 0;
  bool evaluate_point(const_vector_view x, const ridge_outputs& wanted);
  const_vector_view column_roots(scoped_allocator& scope, const_vector_view x) const;

  ridge_system system_;
  std::optional<penalty_groups> groups_;  // empty: each column alone
};

}  // namespace corvane::model::ridge_regression_detail
