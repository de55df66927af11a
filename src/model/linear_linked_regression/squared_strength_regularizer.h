// SPDX-License-Identifier: BSD-3-Clause
//
// squared_strength_regularizer: the algebra of a penalty whose hyperparameters are
// strengths alone. With terms psi_t of penalty_terms.h, and lambda_tk the hyperparameter of
// kind t that drives weight k,
//   R = sum_k sum_t lambda_tk^2 psi_t(w_k)
//   dR^(m)/dlambda = 2 lambda D    d2R^(m)/dlambda2 = 2 D    D = psi_t^(m)(w_k)
// and all mixed second derivatives are zero. Theta holds the G groups' lambda_0, then their
// lambda_1, and so on. The lambda of a weight that is held fixed is its fixed value.
#pragma once

#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>

#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/hyperparameter_rows.h"
#include "model/linear_linked_regression/regularizer.h"
#include "optimization/variable_mapping.h"

namespace corvane::model {

template <class... Term>
class squared_strength_regularizer : public regularizer {
 public:
  const variable_mapping& mapping() const override { return mapping_; }
  index_t num_hyperparameters() const override { return num_kinds * num_groups(); }

  bool compute_value(const_vector_view theta, const_vector_view w,
                     double& value) const override {
    scoped_allocator scratch;
    const matrix_view lambda = expand(theta, scratch);
    value = 0.0;
    for (index_t k = 0; k < w.size(); ++k)
      value += sum_over_terms([&](const auto& term, index_t kind) {
        return term.value(lambda(k, kind), w[k]);
      });
    return is_finite(value);
  }

  regularizer_status compute_gradient(const_vector_view theta, const_vector_view w,
                                      vector_view r1) const override {
    return write_derivative<1>(theta, w, r1);
  }
  regularizer_status compute_second_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view r2) const override {
    return write_derivative<2>(theta, w, r2);
  }
  regularizer_status compute_third_derivative(const_vector_view theta, const_vector_view w,
                                              vector_view r3) const override {
    return write_derivative<3>(theta, w, r3);
  }
  regularizer_status compute_fourth_derivative(const_vector_view theta, const_vector_view w,
                                               vector_view r4) const override {
    return write_derivative<4>(theta, w, r4);
  }

  regularizer_status compute_gradient_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return build_derivative<1>(theta, w, out);
  }
  regularizer_status compute_gradient_hyperparameter_hessian(
      const_vector_view /*theta*/, const_vector_view w, sparse_matrix& out) const override {
    return build_hessian<1>(w, out);
  }
  regularizer_status compute_second_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return build_derivative<2>(theta, w, out);
  }
  regularizer_status compute_second_derivative_hyperparameter_hessian(
      const_vector_view /*theta*/, const_vector_view w, sparse_matrix& out) const override {
    return build_hessian<2>(w, out);
  }
  regularizer_status compute_third_derivative_hyperparameter_derivative(
      const_vector_view theta, const_vector_view w, sparse_matrix& out) const override {
    return build_derivative<3>(theta, w, out);
  }

  bool has_third_derivative() const override { return has_order(3); }
  bool has_fourth_derivative() const override { return has_order(4); }
  bool has_third_derivative_hyperparameter_derivative() const override {
    return has_order(3);
  }

 protected:
  explicit squared_strength_regularizer(variable_mapping&& mapping, Term... terms)
      : mapping_{std::move(mapping)}, terms_{std::move(terms)...} {}

  template <class Kind>
  const Kind& term() const {
    return std::get<Kind>(terms_);
  }

 private:
  static constexpr auto num_kinds = static_cast<index_t>(sizeof...(Term));

  // Whether some term has a derivative of this order that is not zero everywhere.
  static constexpr bool has_order(int order) {
    return ((Term::highest_order >= order) || ...);
  }

  index_t num_groups() const { return static_cast<index_t>(mapping_.groups().size()); }

  // p by num_kinds: the lambda of every weight
  matrix_view expand(const_vector_view theta, scoped_allocator& scratch) const {
    const matrix_view lambda = scratch.matrix(mapping_.size(), num_kinds);
    for (index_t kind = 0; kind < num_kinds; ++kind)
      mapping_.expand(theta.part(kind * num_groups(), num_groups()), lambda.column(kind));
    return lambda;
  }

  // The sum of what function(term, kind) gives, in the order of kinds.
  template <class Function>
  double sum_over_terms(Function function) const {
    return [&]<std::size_t... kind>(std::index_sequence<kind...>) {
      return (function(std::get<kind>(terms_), static_cast<index_t>(kind)) + ...);
    }
    (std::index_sequence_for<Term...>{});
  }

  // lambda^2 psi^(order)(w) of weight k, summed over the terms
  template <int order>
  double derivative_of_weight(const_matrix_view lambda, index_t k, double w) const {
    return sum_over_terms([&](const auto& term, index_t kind) {
      return lambda(k, kind) * lambda(k, kind) * term.template derivative<order>(w);
    });
  }

  // psi^(order)(w) of one kind
  template <int order>
  double term_derivative(index_t kind, double w) const {
    return sum_over_terms([=](const auto& term, index_t other) {
      return other == kind ? term.template derivative<order>(w) : 0.0;
    });
  }

  // Whether some term has its smoothed form at w.
  bool is_in_some_zone(double w) const {
    return std::apply([w](const auto&... term) { return (term.is_in_zone(w) || ...); },
                      terms_);
  }

  // lambda^2 psi^(order)(w), summed over the terms. If every term's derivative vanishes
  // outside its zone and no weight is in a zone, the result is 0 for all strengths.
  template <int order>
  regularizer_status write_derivative(const_vector_view theta, const_vector_view w,
                                      vector_view out) const {
    if constexpr ((Term::vanishes_outside_zone(order) && ...)) {
      const auto in_zone = [this](double weight) { return is_in_some_zone(weight); };
      if (std::none_of(w.begin(), w.end(), in_zone)) {
        std::fill(out.begin(), out.end(), 0.0);
        return regularizer_status::identically_zero;
      }
    }
    scoped_allocator scratch;
    const matrix_view lambda = expand(theta, scratch);
    for (index_t k = 0; k < w.size(); ++k)
      out[k] = derivative_of_weight<order>(lambda, k, w[k]);
    return status_of(out);
  }

  // Row (kind, group): 2 lambda psi^(order)(w)
  template <int order>
  regularizer_status build_derivative(const_vector_view theta, const_vector_view w,
                                      sparse_matrix& out) const {
    const auto entry = [&](index_t kind, index_t group, index_t k) {
      return 2.0 * theta[kind * num_groups() + group] * term_derivative<order>(kind, w[k]);
    };
    return build_hyperparameter_rows(mapping_, num_kinds, entry, out);
  }

  // The pair of a hyperparameter with itself: 2 psi^(order)(w)
  template <int order>
  regularizer_status build_hessian(const_vector_view w, sparse_matrix& out) const {
    const auto entry = [&](index_t kind, index_t other_kind, index_t /*group*/, index_t k) {
      return kind == other_kind ? 2.0 * term_derivative<order>(kind, w[k]) : 0.0;
    };
    return build_hyperparameter_pair_rows(mapping_, num_kinds, entry, out);
  }

  variable_mapping mapping_;
  std::tuple<Term...> terms_;
};

}  // namespace corvane::model
