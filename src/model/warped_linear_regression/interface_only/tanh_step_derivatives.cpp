// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/interface_only/tanh_step_derivatives.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/compensated_sum.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "common/vector_math.h"
#include "model/warped_linear_regression/likelihood/tanh_step_terms.h"

namespace corvane::model::tanh_warper_detail {

namespace {

// Rows of a block: few enough that the tangents of a block are still in cache when its
// derivatives are taken.
constexpr index_t block_rows = 256;

// entry = factor (entry - mean)
void deviate(vector_view column, double mean, double factor) {
  for (double& entry : column) entry = (entry - mean) * factor;
}

class step_evaluation {
 public:
  step_evaluation(const_vector_view theta, const_vector_view y,
                  const evaluation_outputs& outputs)
      : num_steps_{theta.size() / parameters_per_step},
        theta_{theta},
        y_{y},
        out_{outputs},
        steps_{scope_.take<step_coefficients>(num_steps_)},
        curvatures_{scope_.take<step_curvatures>(num_steps_)},
        pair_sums_{scope_.vector(num_steps_ * pairs_per_step)},
        tanh_{scope_.matrix(y.size(), num_steps_)},
        arguments_{scope_.vector(block_rows)},
        slope_{scope_.vector(block_rows)},
        scaled_slope_gradient_{scope_.matrix(num_gradient_rows(), theta.size())} {
    fill_step_coefficients(theta, steps_);
    for (index_t k = 0; k < num_steps_; ++k)
      curvatures_[k] = make_step_curvatures(triple(k));
    std::fill(pair_sums_.begin(), pair_sums_.end(), 0.0);
  }

  void run() {
    clear_sums();
    for (index_t first = 0; first < y_.size(); first += block_rows)
      visit_block(first, std::min(block_rows, y_.size() - first));
    if (wants_hessian()) finish_log_jacobian_hessian();
    finish_columns();
  }

 private:
  const_vector_view triple(index_t k) const {
    return theta_.part(k * parameters_per_step, parameters_per_step);
  }
  bool wants_jacobian() const { return out_.jacobian.data() != nullptr; }
  bool wants_latent_hessian() const { return out_.latent_hessian.data() != nullptr; }
  bool wants_gradient() const { return out_.log_jacobian_gradient.data() != nullptr; }
  index_t num_gradient_rows() const {
    return wants_gradient() || wants_hessian() ? y_.size() : 0;
  }
  bool wants_hessian() const { return out_.log_jacobian_hessian.data() != nullptr; }

  step_point at(index_t i, index_t k) const {
    return make_step_point(y_[i], steps_[k].position, tanh_(i, k));
  }

  void clear_sums() {
    if (out_.log_jacobian != nullptr) *out_.log_jacobian = 0.0;
    std::fill(out_.log_jacobian_gradient.begin(), out_.log_jacobian_gradient.end(), 0.0);
    if (wants_hessian()) fill_lower(out_.log_jacobian_hessian, 0.0);
  }

  void visit_block(index_t first, index_t count) {
    compute_slopes(first, count);
    if (out_.log_jacobian != nullptr)
      for (const double slope : slope_.part(0, count))
        *out_.log_jacobian += std::log(slope);
    if (wants_jacobian()) fill_jacobian(first, count);
    if (wants_latent_hessian()) fill_latent_hessian(first, count);
    if (num_steps_ > 0 && (wants_gradient() || wants_hessian())) {
      compute_scaled_slope_gradient(first, count);
      if (wants_gradient()) add_log_jacobian_gradient(first, count);
      if (wants_hessian()) add_pair_terms(first, count);
    }
  }

  // d = dz/dy at each target of the block; stores every tanh.
  void compute_slopes(index_t first, index_t count) {
    const vector_view slopes = slope_.part(0, count);
    std::fill(slopes.begin(), slopes.end(), 1.0);
    for (index_t k = 0; k < num_steps_; ++k) {
      const step_coefficients step = steps_[k];
      const const_vector_view y = y_.part(first, count);
      const vector_view terms = tanh_.column(k).part(first, count);
      const vector_view arguments = arguments_.part(0, count);
      for (index_t i = 0; i < count; ++i)
        arguments[i] = (y[i] + step.position) * step.steepness;
      compute_tanh(arguments, terms);
      for (index_t i = 0; i < count; ++i)
        slopes[i] += (1.0 - terms[i] * terms[i]) * step.slope;
    }
  }

  // The raw quantities t, u s, s of each step.
  void fill_jacobian(index_t first, index_t count) const {
    for (index_t k = 0; k < num_steps_; ++k) {
      const index_t column = k * parameters_per_step;
      for (index_t i = first; i < first + count; ++i) {
        index_t j = column;
        for (const double term : raw_gradient(at(i, k))) out_.jacobian(i, j++) = term;
      }
    }
  }

  // The raw quantities of the pairs with alpha are those of the Jacobian.
  void fill_latent_hessian(index_t first, index_t count) const {
    for (index_t k = 0; k < num_steps_; ++k) {
      const step_curvatures& factors = curvatures_[k];
      const index_t column = k * pairs_per_step;
      for (index_t i = first; i < first + count; ++i) {
        const step_point p = at(i, k);
        index_t pair = column;
        for (const double term : raw_gradient(p)) out_.latent_hessian(i, pair++) = term;
        for (const double term : raw_curvature(factors, p))
          out_.latent_hessian(i, pair++) = term;
      }
    }
  }

  // G / d, with G the derivatives of d in the parameters: one row per target.
  void compute_scaled_slope_gradient(index_t first, index_t count) const {
    for (index_t k = 0; k < num_steps_; ++k) {
      const step_coefficients step = steps_[k];
      const index_t column = k * parameters_per_step;
      for (index_t i = 0; i < count; ++i) {
        index_t j = column;
        for (const double term : slope_gradient(step, at(first + i, k)))
          scaled_slope_gradient_(first + i, j++) = term / slope_[i];
      }
    }
  }

  void add_log_jacobian_gradient(index_t first, index_t count) const {
    for (index_t j = 0; j < theta_.size(); ++j) {
      double sum = out_.log_jacobian_gradient[j];
      for (const double term : scaled_slope_gradient_.column(j).part(first, count))
        sum += term;
      out_.log_jacobian_gradient[j] = sum;
    }
  }

  // The sums of D / d, with D the second derivatives of d.
  void add_pair_terms(index_t first, index_t count) const {
    for (index_t k = 0; k < num_steps_; ++k) {
      pair_terms sums{};
      for (index_t i = 0; i < count; ++i) {
        const pair_terms terms = slope_hessian(curvatures_[k], at(first + i, k));
        for (std::size_t pair = 0; pair < terms.size(); ++pair)
          sums[pair] += terms[pair] / slope_[i];
      }
      double* packed = pair_sums_.data() + k * pairs_per_step;
      for (const double sum : sums) *packed++ += sum;
    }
  }

  // d2 log d = D / d - (G / d)(G / d)', summed over the targets in one product; the sums of
  // D / d belong to the blocks on the diagonal.
  void finish_log_jacobian_hessian() const {
    if (num_steps_ == 0) return;
    syrk(-1.0, transposed, scaled_slope_gradient_, 1.0, out_.log_jacobian_hessian);
    index_t packed = 0;
    for (index_t k = 0; k < num_steps_; ++k)
      for (index_t a = 0; a < parameters_per_step; ++a)
        for (index_t b = a; b < parameters_per_step; ++b)
          out_.log_jacobian_hessian(k * parameters_per_step + b,
                                    k * parameters_per_step + a) += pair_sums_[packed++];
  }

  // Once every tanh is known, so are the means.
  void finish_columns() const {
    std::copy(y_.begin(), y_.end(), out_.latent.begin());
    for (index_t k = 0; k < num_steps_; ++k) {
      const const_vector_view terms = tanh_.column(k);
      const double mean = mean_of(terms);
      for (index_t i = 0; i < y_.size(); ++i)
        out_.latent[i] += (terms[i] - mean) * steps_[k].height;
      if (wants_jacobian()) finish_derivatives(k, mean);
    }
  }

  void finish_derivatives(index_t k, double mean_t) const {
    const auto jacobian = [&](index_t j) {
      return out_.jacobian.column(k * parameters_per_step + j);
    };
    const step_coefficients& first = steps_[k];
    const double mean_us = mean_of(jacobian(1));
    const double mean_s = mean_of(jacobian(2));
    deviate(jacobian(0), mean_t, first.latent_by_alpha);
    deviate(jacobian(1), mean_us, first.latent_by_beta);
    deviate(jacobian(2), mean_s, first.latent_by_gamma);
    if (!wants_latent_hessian()) return;
    const auto hessian = [&](index_t pair) {
      return out_.latent_hessian.column(k * pairs_per_step + pair);
    };
    const step_curvatures& second = curvatures_[k];
    deviate(hessian(0), mean_t, second.alpha_alpha);
    deviate(hessian(1), mean_us, second.alpha_beta);
    deviate(hessian(2), mean_s, second.alpha_gamma);
    deviate(hessian(3), mean_of(hessian(3)), second.beta_beta);
    deviate(hessian(4), mean_of(hessian(4)), second.beta_gamma);
    deviate(hessian(5), mean_of(hessian(5)), second.gamma_gamma);
  }

  scoped_allocator scope_;
  index_t num_steps_;
  const_vector_view theta_;
  const_vector_view y_;
  evaluation_outputs out_;
  step_coefficients* steps_;
  step_curvatures* curvatures_;
  vector_view pair_sums_;              // of D / d, packed
  matrix_view tanh_;                   // n by K
  vector_view arguments_;              // b (y + c), of one block and step
  vector_view slope_;                  // d, of one block
  matrix_view scaled_slope_gradient_;  // G / d, n by 3 K
};

}  // namespace

void evaluate_steps(const_vector_view theta, const_vector_view y,
                    const evaluation_outputs& outputs) {
  step_evaluation{theta, y, outputs}.run();
}

}  // namespace corvane::model::tanh_warper_detail
