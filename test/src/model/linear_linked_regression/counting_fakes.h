// SPDX-License-Identifier: BSD-3-Clause
//
// Links, penalties and optimizers that write down how they are called, and fail on request.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"
#include "optimization/trust_region_optimizer.h"

namespace corvane::model {

// The names of operations in the order of their calls.
using call_log = std::vector<std::string>;

// The logistic link, which logs; the operation `failing` returns false.
class logging_link final : public linear_loss_link {
 public:
  explicit logging_link(std::shared_ptr<call_log> log) : log_{std::move(log)} {}
  std::string failing;

  void compute_prediction(const_vector_view z, vector_view out) const override {
    link_.compute_prediction(z, out);
  }
  bool compute_loss(const_vector_view y, const_vector_view z,
                    vector_view out) const override {
    return called("loss") && link_.compute_loss(y, z, out);
  }
  bool compute_first_derivative(const_vector_view y, const_vector_view z,
                                vector_view out) const override {
    return called("l1") && link_.compute_first_derivative(y, z, out);
  }
  bool compute_second_derivative(const_vector_view y, const_vector_view z,
                                 vector_view out) const override {
    return called("l2") && link_.compute_second_derivative(y, z, out);
  }
  bool compute_third_derivative(const_vector_view y, const_vector_view z,
                                vector_view out) const override {
    return called("l3") && link_.compute_third_derivative(y, z, out);
  }
  bool compute_fourth_derivative(const_vector_view y, const_vector_view z,
                                 vector_view out) const override {
    return called("l4") && link_.compute_fourth_derivative(y, z, out);
  }

 private:
  bool called(const std::string& name) const {
    log_->push_back(name);
    return name != failing;
  }
  loss_link_detail::logistic_log_likelihood_loss_link link_;
  std::shared_ptr<call_log> log_;
};

// A penalty that logs; the operation `failing` reports a derivative that is not finite.
class logging_regularizer final : public regularizer {
 public:
  logging_regularizer(std::shared_ptr<call_log> log,
                      std::shared_ptr<const regularizer> inner)
      : log_{std::move(log)}, inner_{std::move(inner)} {}
  std::string failing;

  const variable_mapping& mapping() const override { return inner_->mapping(); }
  index_t num_hyperparameters() const override { return inner_->num_hyperparameters(); }
  void initialize_hyperparameters(vector_view theta) const override {
    inner_->initialize_hyperparameters(theta);
  }
  bool compute_value(const_vector_view theta, const_vector_view w,
                     double& value) const override {
    log_->emplace_back("R");
    return failing != "R" && inner_->compute_value(theta, w, value);
  }
  regularizer_status compute_gradient(const_vector_view theta, const_vector_view w,
                                      vector_view out) const override {
    return forward("r1", &regularizer::compute_gradient, theta, w, out);
  }
  regularizer_status compute_second_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view out) const override {
    return forward("r2", &regularizer::compute_second_derivative, theta, w, out);
  }
  regularizer_status compute_third_derivative(const_vector_view theta, const_vector_view w,
                                              vector_view out) const override {
    return forward("r3", &regularizer::compute_third_derivative, theta, w, out);
  }
  regularizer_status compute_fourth_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view out) const override {
    return forward("r4", &regularizer::compute_fourth_derivative, theta, w, out);
  }
  regularizer_status compute_gradient_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return forward("G1", &regularizer::compute_gradient_hyperparameter_derivative, theta, w,
                   out);
  }
  regularizer_status compute_gradient_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return forward("G2", &regularizer::compute_gradient_hyperparameter_hessian, theta, w,
                   out);
  }
  regularizer_status compute_second_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return forward("D1", &regularizer::compute_second_derivative_hyperparameter_derivative,
                   theta, w, out);
  }
  regularizer_status compute_second_derivative_hyperparameter_hessian(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return forward("D2", &regularizer::compute_second_derivative_hyperparameter_hessian,
                   theta, w, out);
  }
  regularizer_status compute_third_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return forward("T1", &regularizer::compute_third_derivative_hyperparameter_derivative,
                   theta, w, out);
  }
  bool has_third_derivative() const override { return inner_->has_third_derivative(); }
  bool has_fourth_derivative() const override { return inner_->has_fourth_derivative(); }
  bool has_third_derivative_hyperparameter_derivative() const override {
    return inner_->has_third_derivative_hyperparameter_derivative();
  }

 private:
  template <class Output>
  regularizer_status forward(const std::string& name,
                             regularizer_status (regularizer::*compute)(const_vector_view,
                                                                        const_vector_view,
                                                                        Output) const,
                             const_vector_view theta, const_vector_view w,
                             std::type_identity_t<Output> out) const {
    log_->push_back(name);
    if (name == failing) return regularizer_status::not_finite;
    return (*inner_.*compute)(theta, w, out);
  }
  std::shared_ptr<call_log> log_;
  std::shared_ptr<const regularizer> inner_;
};

// Runs another optimizer and keeps the start point of each run. What `alter` does to a
// result is what the caller gets.
class recording_optimizer final : public trust_region_optimizer {
 public:
  recording_optimizer(std::shared_ptr<call_log> log,
                      std::shared_ptr<trust_region_optimizer> inner)
      : log_{std::move(log)}, inner_{std::move(inner)} {}

  std::vector<std::vector<double>> start_points;
  std::function<void(trust_region_result&)> alter;

  trust_region_result optimize(trust_region_optimizer& /*self*/,
                               second_order_objective& objective,
                               const_vector_view x0) override {
    log_->emplace_back("optimize");
    start_points.emplace_back(x0.begin(), x0.end());
    trust_region_result result = corvane::optimize(*inner_, objective, x0);
    if (alter) alter(result);
    return result;
  }
  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override {
    return inner_->step(self, objective, state);
  }
  trust_region_step_searcher& step_searcher() override { return inner_->step_searcher(); }

 private:
  std::shared_ptr<call_log> log_;
  std::shared_ptr<trust_region_optimizer> inner_;
};

}  // namespace corvane::model
