// SPDX-License-Identifier: BSD-3-Clause
//
// The objective of warped linear regression: the negative log likelihood of the targets
// under z(y; theta) = X beta + normal noise, with beta and the noise variance at their
// optimum. For X = Q R and r the residual of z on the columns of X,
//
//   F(theta) = (n / 2) log S - L + B,   S = r'r,  L = sum over i of log dz/dy,  B the
//   boundary
//
// G. Box, D. Cox, "An analysis of transformations", J. R. Stat. Soc. B 26 (1964),
// section 3.
#pragma once

#include <cstdint>
#include <memory>
#include <random>

#include "common/interruption.h"
#include "common/matrix_block.h"
#include "common/qr_factorization.h"
#include "model/warped_linear_regression/map/target_warper_descriptor.h"
#include "n_array/n_array.h"
#include "optimization/evaluation_cache.h"
#include "optimization/objective.h"

namespace corvane::model::warped_linear_regression_detail {

class objective final : public second_order_objective {
 public:
  // `design` is n by p with p < n; both are normalized. Throws std::invalid_argument on
  // shapes that do not fit, and std::runtime_error on dependent columns. `interrupt`, not
  // owned, is checked while the columns are factored.
  objective(std::shared_ptr<const target_warper_descriptor> descriptor,
            dense_matrix&& design, dense_vector&& target, std::int64_t num_restarts,
            interruption* interrupt = nullptr);

  index_t num_parameters() const { return descriptor_->num_parameters(); }
  std::int64_t remaining_restarts() const { return remaining_restarts_; }
  const_vector_view target() const { return target_; }
  const qr_factorization& qr() const { return qr_; }
  const_matrix_block r_factor() const { return r_factor_; }

  bool compute_value(const_vector_view x, double& value) override;
  bool compute_gradient(const_vector_view x, vector_view gradient) override;
  bool compute_hessian(const_vector_view x, symmetric_view hessian) override;

  // A step of height zero contributes nothing, and its gradient and Hessian can vanish
  // together: the optimizer would stop there as at an optimum. These two reject such a
  // point and draw new parameters for its degenerate steps, as long as restarts remain.
  bool adjust_point(vector_view x, double& value, vector_view gradient,
                    symmetric_view hessian) override;
  bool accept_convergence(const_vector_view x, double value, const_vector_view gradient,
                          const_symmetric_view hessian) override;

 private:
  void factor_design(interruption* interrupt);
  void check_rank() const;
  void project_targets(interruption* interrupt);

  void evaluate(const_vector_view x);
  bool write_value(const_vector_view x, double& value) const;
  void write_gradient(const_vector_view x, vector_view gradient) const;
  void write_hessian(const_vector_view x, symmetric_view hessian) const;

  bool can_restart() const;
  bool is_degenerate(const_symmetric_view hessian, index_t first) const;
  bool redraw_degenerate_steps(vector_view x, const_symmetric_view hessian);

  std::mt19937 generator_{0};
  std::int64_t remaining_restarts_;
  std::shared_ptr<const target_warper_descriptor> descriptor_;
  dense_matrix design_;  // as geqrf packs its factors
  dense_vector target_;
  dense_vector reflectors_;
  qr_factorization qr_;
  const_matrix_block r_factor_;  // p by p, its upper triangle
  projected_targets projected_;  // on the first p columns of Q
  residual_moments moments_;     // at `evaluated_`
  evaluated_point evaluated_;
  int failed_redraws_ = 0;  // since the last restart that succeeded
};

}  // namespace corvane::model::warped_linear_regression_detail
