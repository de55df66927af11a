// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/tanh_step_moments.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/scoped_allocator.h"
#include "common/vector_math.h"
#include "model/warped_linear_regression/tanh_step_block.h"

namespace corvane::model::tanh_warper_detail {

namespace {

// The part of its squares that a column must keep outside of Q: two digits may be lost.
constexpr double smallest_share_outside = 0.01;

matrix_block as_row(vector_view entries) { return {entries.data(), 1, entries.size(), 1}; }

class moment_sums {
 public:
  moment_sums(const_vector_view theta, const projected_targets& targets,
              residual_moments& moments)
      : targets_{targets},
        moments_{moments},
        block_{scope_, theta, targets.mean},
        num_parameters_{theta.size()},
        products_{scope_.symmetric(1 + num_parameters_)},
        curvature_products_{scope_.vector(num_parameters_)},
        squares_{scope_.vector(1 + num_parameters_)},
        sums_{scope_.vector(1 + 2 * num_parameters_)},
        offsets_{scope_.vector(1 + 2 * num_parameters_)},
        inside_{scope_.matrix(targets.basis.cols(), 1 + 2 * num_parameters_)},
        slope_sums_{scope_.vector(block_.slope_columns().cols())},
        slope_products_{scope_.symmetric(num_parameters_)},
        ones_{scope_.matrix(step_block::max_rows, 1)} {
    std::fill(sums_.begin(), sums_.end(), 0.0);
    std::fill(slope_sums_.begin(), slope_sums_.end(), 0.0);
    fill(ones_, 1.0);
    fill(inside_, 0.0);
    fill_lower(slope_products_, 0.0);
  }

  void run() {
    sum_columns();
    subtract_means();
    subtract_inside();
    if (has_cancelled()) sum_residuals();
    write_latent_moments();
    write_log_jacobian_moments();
  }

 private:
  index_t num_rows() const { return targets_.y.size(); }

  template <class Visit>
  void for_each_block(const Visit& visit) {
    for (index_t first = 0; first < num_rows(); first += step_block::max_rows) {
      const index_t count = std::min(step_block::max_rows, num_rows() - first);
      block_.fill(targets_.y.part(first, count));
      visit(const_matrix_block{targets_.basis}.part_rows(first, count));
    }
  }

  void sum_columns() {
    double largest_slope = 1.0;
    for (index_t k = 0; k < block_.num_steps(); ++k) largest_slope += block_.step(k).slope;
    log_sum log_jacobian{largest_slope};
    clear_products();
    for_each_block([&](const_matrix_block basis) {
      log_jacobian.add(block_.slopes());
      const matrix_block columns = block_.latent_columns();
      add_products();
      add_sums(columns, sums_);
      add_narrow_products(basis, columns, inside_);
      add_slope_terms();
    });
    moments_.log_jacobian = log_jacobian.total();
  }

  void clear_products() {
    fill_lower(products_, 0.0);
    std::fill(curvature_products_.begin(), curvature_products_.end(), 0.0);
  }

  // Those of z and the raw gradients with one another, and of z with the raw curvatures.
  void add_products() {
    const const_matrix_block columns = block_.latent_columns();
    add_narrow_gram(columns.part_columns(0, 1 + num_parameters_), products_);
    add_narrow_products(columns.part_columns(0, 1),
                        columns.part_columns(1 + num_parameters_, num_parameters_),
                        as_row(curvature_products_));
  }

  void add_sums(const_matrix_block columns, vector_view sums) const {
    add_narrow_products(const_matrix_block{ones_}.part_rows(0, columns.rows()), columns,
                        as_row(sums));
  }

  void add_slope_terms() {
    if (num_parameters_ == 0) return;
    block_.fill_slope_terms();
    const const_matrix_block columns = block_.slope_columns();
    add_sums(columns, slope_sums_);
    add_narrow_gram(columns.part_columns(0, num_parameters_), slope_products_);
  }

  // The derivatives lose their means. The latents, which keep the mean of the targets, lose
  // what the anchor in the place of the means has added to it.
  void subtract_means() {
    const auto n = static_cast<double>(num_rows());
    for (index_t j = 1; j < sums_.size(); ++j) offsets_[j] = sums_[j] / n;
    offsets_[0] = 0.0;
    for (index_t k = 0; k < block_.num_steps(); ++k)
      offsets_[0] += block_.step(k).height * offsets_[1 + k * parameters_per_step];

    const auto change = [&](index_t i, index_t j) {
      return n * offsets_[i] * offsets_[j] - offsets_[i] * sums_[j] -
             offsets_[j] * sums_[i];
    };
    for (index_t j = 0; j < products_.cols(); ++j) {
      squares_[j] = products_(j, j);
      for (index_t i = j; i < products_.rows(); ++i) products_(i, j) += change(i, j);
    }
    for (index_t j = 0; j < num_parameters_; ++j)
      curvature_products_[j] += change(0, 1 + num_parameters_ + j);
    for (index_t j = 0; j < inside_.cols(); ++j)
      for (index_t i = 0; i < inside_.rows(); ++i)
        inside_(i, j) -= targets_.basis_sums[i] * offsets_[j];
  }

  // C'C - W'W
  void subtract_inside() {
    const const_matrix_block inside{inside_};
    if (inside.rows() == 0) return;
    syrk(-1.0, transposed, inside.part_columns(0, 1 + num_parameters_), 1.0, products_);
    gemv(-1.0, transposed, inside.part_columns(1 + num_parameters_, num_parameters_),
         inside.column(0), 1.0, curvature_products_);
  }

  bool has_cancelled() const {
    for (index_t j = 0; j < products_.cols(); ++j)
      if (products_(j, j) < smallest_share_outside * squares_[j]) return true;
    return false;
  }

  // The same products, of C - Q W itself.
  void sum_residuals() {
    clear_products();
    for_each_block([&](const_matrix_block basis) {
      const matrix_block columns = block_.latent_columns();
      for (index_t j = 0; j < columns.cols(); ++j)
        for (double& entry : columns.column(j)) entry -= offsets_[j];
      gemm(-1.0, plain, basis, plain, inside_, 1.0, columns);
      add_products();
    });
  }

  void write_latent_moments() {
    moments_.sum_of_squares = products_(0, 0);
    for (index_t k = 0; k < block_.num_steps(); ++k) write_curvature(k);
    for (index_t j = 0; j < num_parameters_; ++j) {
      moments_.slope[j] = latent_factor(j) * products_(1 + j, 0);
      for (index_t i = j; i < num_parameters_; ++i)
        moments_.gram.view()(i, j) =
            latent_factor(i) * latent_factor(j) * products_(1 + i, 1 + j);
    }
  }

  // dz/dtheta_j is this factor times the raw quantity of j.
  double latent_factor(index_t j) const {
    const step_coefficients& step = block_.step(j / parameters_per_step);
    switch (j % parameters_per_step) {
      case 0:
        return step.latent_by_alpha;
      case 1:
        return step.latent_by_beta;
      default:
        return step.latent_by_gamma;
    }
  }

  void write_curvature(index_t k) {
    const step_curvatures& factors = block_.curvatures(k);
    const index_t first = k * parameters_per_step;
    const auto shared = [&](index_t j) { return products_(1 + first + j, 0); };
    const vector_view packed =
        moments_.curvature.view().part(k * pairs_per_step, pairs_per_step);
    packed[0] = factors.alpha_alpha * shared(0);
    packed[1] = factors.alpha_beta * shared(1);
    packed[2] = factors.alpha_gamma * shared(2);
    packed[3] = factors.beta_beta * curvature_products_[first];
    packed[4] = factors.beta_gamma * curvature_products_[first + 1];
    packed[5] = factors.gamma_gamma * curvature_products_[first + 2];
  }

  // d2 log d = d'' / d - (d' / d)(d' / d)', where d'' is zero between steps.
  void write_log_jacobian_moments() {
    const symmetric_view hessian = moments_.log_jacobian_hessian.view();
    for (index_t j = 0; j < num_parameters_; ++j) {
      moments_.log_jacobian_gradient[j] = slope_sums_[j];
      for (index_t i = j; i < num_parameters_; ++i) hessian(i, j) = -slope_products_(i, j);
    }
    index_t packed = num_parameters_;
    for (index_t first = 0; first < num_parameters_; first += parameters_per_step)
      for (index_t a = 0; a < parameters_per_step; ++a)
        for (index_t b = a; b < parameters_per_step; ++b)
          hessian(first + b, first + a) += slope_sums_[packed++];
  }

  scoped_allocator scope_;
  const projected_targets& targets_;
  residual_moments& moments_;
  step_block block_;
  index_t num_parameters_;
  symmetric_view products_;         // of z and the raw gradients
  vector_view curvature_products_;  // of z with the raw curvatures
  vector_view squares_;             // the diagonal of the products of the columns as filled
  vector_view sums_;                // of the columns as filled
  vector_view offsets_;             // what the columns must lose of each entry
  matrix_view inside_;              // W
  vector_view slope_sums_;
  symmetric_view slope_products_;  // of d' / d
  matrix_view ones_;
};

}  // namespace

void sum_residual_moments(const_vector_view theta, const projected_targets& targets,
                          residual_moments& moments) {
  moment_sums{theta, targets, moments}.run();
}

}  // namespace corvane::model::tanh_warper_detail
