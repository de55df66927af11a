// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/likelihood/warped_objective.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "common/finite.h"
#include "common/linear_algebra.h"

namespace corvane::model::warped_linear_regression_detail {

namespace {

const target_warper_descriptor& existing(
    const std::shared_ptr<const target_warper_descriptor>& descriptor) {
  if (descriptor == nullptr) throw std::invalid_argument("no family of warpers was given");
  return *descriptor;
}

}  // namespace

objective::objective(std::shared_ptr<const target_warper_descriptor> descriptor,
                     dense_matrix&& design, dense_vector&& target,
                     std::int64_t num_restarts, interruption* interrupt)
    : remaining_restarts_{num_restarts},
      descriptor_{std::move(descriptor)},
      design_{std::move(design)},
      target_{std::move(target)},
      reflectors_(design_.cols()),
      qr_{.factor = const_matrix_block{design_}, .tau = reflectors_.data()},
      r_factor_{const_matrix_block{design_}.part(0, 0, design_.cols(), design_.cols())},
      moments_{existing(descriptor_).num_parameters(),
               descriptor_->num_steps() * descriptor_->num_pairs_per_step()} {
  if (design_.rows() != target_.size())
    throw std::invalid_argument("feature_matrix and target_vector are mismatched");
  if (design_.cols() >= design_.rows())
    throw std::invalid_argument(
        "number of features must be less than the number of data points");
  factor_design(interrupt);
  check_rank();
  project_targets(interrupt);
}

void objective::factor_design(interruption* interrupt) {
  factor(design_, reflectors_, interrupt);
}

// A column counts as dependent when its part outside the earlier ones is within 2^-52 of
// the largest such part, or is no more than the rounding error of a column in the span of
// the earlier ones: measured, below 8 * 2^-52 of its length for 100 columns, and thus often
// above the first limit.
void objective::check_rank() const {
  const index_t p = design_.cols();
  double largest = -largest_double;
  for (index_t j = 0; j < p; ++j) largest = std::max(largest, std::abs(r_factor_(j, j)));
  const double rounding = 4.0 * (2.0 + std::sqrt(static_cast<double>(p))) * double_epsilon;
  for (index_t j = 0; j < p; ++j) {
    const double outside = std::abs(r_factor_(j, j));
    const double length = norm(r_factor_.column(j).part(0, j + 1));
    if (!(outside / largest > double_epsilon) || !(outside > rounding * length))
      throw std::runtime_error("feature_matrix has linear dependent columns");
  }
}

// Forms the columns of Q that span X: with their rows, one pass over the targets evaluates
// the map and projects it.
void objective::project_targets(interruption* interrupt) {
  const index_t p = design_.cols();
  dense_matrix ones_and_basis(design_.rows(), 1 + p);
  const matrix_block ones = matrix_block{ones_and_basis}.part_columns(0, 1);
  const matrix_block basis = matrix_block{ones_and_basis}.part_columns(1, p);
  fill(ones, 1.0);
  for (index_t j = 0; j < p; ++j) {
    check(interrupt);
    fill(basis.part_columns(j, 1), 0.0);
    basis(j, j) = 1.0;
  }
  apply(qr_, plain, basis, interrupt);
  projected_ = projected_targets{target_, std::move(ones_and_basis), interrupt};
}

// The optimizer evaluates the derivatives at the point of the last value, and both come
// from the same sums. No other state is kept from one point to the next.
void objective::evaluate(const_vector_view x) {
  if (evaluated_.is_at(x)) return;
  evaluated_.forget();  // until the moments are complete
  descriptor_->compute_residual_moments(x, projected_, moments_);
  evaluated_.move_to(x);
}

bool objective::compute_value(const_vector_view x, double& value) {
  evaluate(x);
  return write_value(x, value);
}

bool objective::compute_gradient(const_vector_view x, vector_view gradient) {
  evaluate(x);
  write_gradient(x, gradient);
  return true;
}

bool objective::compute_hessian(const_vector_view x, symmetric_view hessian) {
  evaluate(x);
  write_hessian(x, hessian);
  return true;
}

// (n / 2) log S - L + B
bool objective::write_value(const_vector_view x, double& value) const {
  const auto n = static_cast<double>(target_.size());
  value = n * std::log(moments_.sum_of_squares) * 0.5 - moments_.log_jacobian;
  if (!is_finite(value)) return false;
  descriptor_->boundary().add_value(x, value);
  return true;
}

// (n / S) Jr'r - dL
void objective::write_gradient(const_vector_view x, vector_view gradient) const {
  const double c = static_cast<double>(target_.size()) / moments_.sum_of_squares;
  for (index_t j = 0; j < gradient.size(); ++j)
    gradient[j] = moments_.slope[j] * c - moments_.log_jacobian_gradient[j];
  descriptor_->boundary().add_gradient(x, gradient);
}

// (n / S) (Jr'Jr + r'd2z) - (2 n / S^2) (Jr'r)(Jr'r)' - d2L
void objective::write_hessian(const_vector_view x, symmetric_view hessian) const {
  const double squares = moments_.sum_of_squares;
  const double c = static_cast<double>(target_.size()) / squares;
  const double e = -2.0 * c / squares;
  const const_symmetric_view gram = moments_.gram.view();
  const const_symmetric_view log_jacobian = moments_.log_jacobian_hessian.view();
  for (index_t j = 0; j < hessian.cols(); ++j)
    for (index_t i = j; i < hessian.rows(); ++i)
      hessian(i, j) = e * moments_.slope[i] * moments_.slope[j] + c * gram(i, j);

  const index_t block = descriptor_->num_parameters_per_step();
  index_t pair = 0;
  for (index_t first = 0; first < num_parameters(); first += block)
    for (index_t a = 0; a < block; ++a)
      for (index_t b = a; b < block; ++b)
        hessian(first + b, first + a) += moments_.curvature[pair++] * c;

  for (index_t j = 0; j < hessian.cols(); ++j)
    for (index_t i = j; i < hessian.rows(); ++i) hessian(i, j) -= log_jacobian(i, j);
  descriptor_->boundary().add_hessian(x, hessian);
}

}  // namespace corvane::model::warped_linear_regression_detail
