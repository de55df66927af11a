// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/tanh_step_moments.h"

#include <algorithm>

#include "common/linear_algebra.h"
#include "common/narrow_products.h"
#include "common/scoped_allocator.h"
#include "common/vector_math.h"
#include "model/warped_linear_regression/likelihood/step_summation.h"
#include "model/warped_linear_regression/likelihood/tanh_step_block.h"

namespace corvane::model::tanh_warper_detail {

namespace {

// The smallest fraction of a column's squares outside the span of Q at which C'C - W'W is
// used, with a loss of two digits.
constexpr double smallest_fraction_outside = 0.01;

matrix_block as_row(vector_view entries) { return {entries.data(), 1, entries.size(), 1}; }

class moment_sums {
 public:
  moment_sums(const_vector_view theta, const projected_targets& targets,
              residual_moments& moments)
      : targets_{targets},
        moments_{moments},
        block_{scope_, theta, targets.mean()},
        num_parameters_{theta.size()},
        products_{scope_.symmetric(1 + num_parameters_)},
        curvature_products_{scope_.vector(num_parameters_)},
        squares_{scope_.vector(1 + num_parameters_)},
        inside_{scope_.matrix(1 + targets.num_basis_columns(), 1 + 2 * num_parameters_)},
        offsets_{scope_.vector(1 + 2 * num_parameters_)},
        logs_{scope_.vector(step_block::max_rows)},
        weighted_{scope_.matrix(step_block::max_rows, 1 + num_parameters_)},
        slope_sums_{scope_.vector(block_.slope_columns().cols())},
        slope_products_{scope_.symmetric(num_parameters_)} {
    std::fill(slope_sums_.begin(), slope_sums_.end(), 0.0);
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
  index_t num_targets() const { return targets_.num_targets(); }

  // At the nodes of the cells that replace their targets, and at the other targets.
  template <class Visit>
  void for_each_block(const Visit& visit) {
    if (!targets_.cells().has_cells()) return for_each_block_of_targets(visit);
    const step_resolution resolution{block_.steps(), block_.num_steps()};
    summation_blocks blocks{targets_.cells(), resolution, step_block::max_rows};
    while (blocks.next()) {
      const summation_block next = blocks.block();
      block_.fill(next.y);
      visit(next.rows);
    }
  }

  template <class Visit>
  void for_each_block_of_targets(const Visit& visit) {
    const target_cells& cells = targets_.cells();
    for (index_t first = 0; first < num_targets(); first += step_block::max_rows) {
      const index_t count = std::min(step_block::max_rows, num_targets() - first);
      block_.fill(cells.y().part(first, count));
      visit(cells.rows().part_rows(first, count));
    }
  }

  void sum_columns() {
    moments_.log_jacobian = 0.0;
    clear_products();
    for_each_block([&](const_matrix_block rows) {
      add_products(rows.column(0));
      add_narrow_products(rows, block_.latent_columns(), inside_);
      add_log_jacobian(rows.column(0));
      add_slope_terms(rows.column(0));
    });
  }

  void clear_products() {
    fill_lower(products_, 0.0);
    std::fill(curvature_products_.begin(), curvature_products_.end(), 0.0);
  }

  // Those of z and the raw gradients with one another, and of z with the raw curvatures.
  void add_products(const_vector_view weights) {
    const const_matrix_block columns = block_.latent_columns();
    const const_matrix_block first = columns.part_columns(0, 1 + num_parameters_);
    const const_matrix_block weighted = weigh(first, weights);
    add_narrow_lower_products(weighted, first, products_);
    add_narrow_products(weighted.part_columns(0, 1),
                        columns.part_columns(1 + num_parameters_, num_parameters_),
                        as_row(curvature_products_));
  }

  // The columns with each row times its weight; lasts until the next call.
  const_matrix_block weigh(const_matrix_block columns, const_vector_view weights) const {
    const matrix_block weighted =
        matrix_block{weighted_}.part(0, 0, columns.rows(), columns.cols());
    for (index_t j = 0; j < columns.cols(); ++j)
      for (index_t i = 0; i < columns.rows(); ++i)
        weighted(i, j) = columns(i, j) * weights[i];
    return weighted;
  }

  void add_log_jacobian(const_vector_view weights) {
    const vector_view logs = logs_.part(0, weights.size());
    compute_log(block_.slopes(), logs);
    moments_.log_jacobian += dot(weights, logs);
  }

  void add_slope_terms(const_vector_view weights) {
    if (num_parameters_ == 0) return;
    block_.fill_slope_terms();
    const const_matrix_block columns = block_.slope_columns();
    add_narrow_products({weights.data(), weights.size(), 1, weights.size()}, columns,
                        as_row(slope_sums_));
    const const_matrix_block gradient = columns.part_columns(0, num_parameters_);
    add_narrow_lower_products(weigh(gradient, weights), gradient, slope_products_);
  }

  // Subtracts the means of the derivatives. The latents keep the mean of the targets; what
  // the anchor in place of the means of the steps has added is subtracted.
  void subtract_means() {
    const auto n = static_cast<double>(num_targets());
    const const_matrix_block inside{inside_};
    for (index_t j = 1; j < offsets_.size(); ++j) offsets_[j] = inside(0, j) / n;
    offsets_[0] = 0.0;
    for (index_t k = 0; k < block_.num_steps(); ++k)
      offsets_[0] += block_.step(k).height * offsets_[1 + k * parameters_per_step];

    const auto change = [&](index_t i, index_t j) {
      return n * offsets_[i] * offsets_[j] - offsets_[i] * inside(0, j) -
             offsets_[j] * inside(0, i);
    };
    for (index_t j = 0; j < products_.cols(); ++j) {
      squares_[j] = products_(j, j);
      for (index_t i = j; i < products_.rows(); ++i) products_(i, j) += change(i, j);
    }
    for (index_t j = 0; j < num_parameters_; ++j)
      curvature_products_[j] += change(0, 1 + num_parameters_ + j);
    for (index_t j = 0; j < inside_.cols(); ++j)
      for (index_t i = 0; i < targets_.num_basis_columns(); ++i)
        inside_(1 + i, j) -= targets_.basis_sums()[i] * offsets_[j];
  }

  // C'C - W'W
  void subtract_inside() {
    const const_matrix_block inside = basis_products();
    if (inside.rows() == 0) return;
    syrk(-1.0, transposed, inside.part_columns(0, 1 + num_parameters_), 1.0, products_);
    gemv(-1.0, transposed, inside.part_columns(1 + num_parameters_, num_parameters_),
         inside.column(0), 1.0, curvature_products_);
  }

  // W
  const_matrix_block basis_products() const {
    return const_matrix_block{inside_}.part_rows(1, targets_.num_basis_columns());
  }

  bool has_cancelled() const {
    for (index_t j = 0; j < products_.cols(); ++j)
      if (products_(j, j) < smallest_fraction_outside * squares_[j]) return true;
    return false;
  }

  // The same products of C - Q W itself, summed over all targets, since Q W is no smooth
  // function of the target.
  void sum_residuals() {
    clear_products();
    for_each_block_of_targets([&](const_matrix_block rows) {
      const matrix_block columns = block_.latent_columns();
      for (index_t j = 0; j < columns.cols(); ++j)
        for (double& entry : columns.column(j)) entry -= offsets_[j];
      gemm(-1.0, plain, rows.part_columns(1, targets_.num_basis_columns()), plain,
           basis_products(), 1.0, columns);
      add_products(rows.column(0));
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
  matrix_view inside_;              // the sums of the columns, and below them W
  vector_view offsets_;             // what is subtracted from each column
  vector_view logs_;
  matrix_view weighted_;
  vector_view slope_sums_;
  symmetric_view slope_products_;  // of d' / d
};

}  // namespace

void sum_residual_moments(const_vector_view theta, const projected_targets& targets,
                          residual_moments& moments) {
  moment_sums{theta, targets, moments}.run();
}

}  // namespace corvane::model::tanh_warper_detail
