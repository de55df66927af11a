// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

#include <algorithm>
#include <cmath>

namespace corvane::model::loss_link_detail {

namespace {

// For z below -709 exp(-z) overflows, and the quotient is the exact limit 0.
double probability(double z) { return 1.0 / (std::exp(-z) + 1.0); }

}  // namespace

void logistic_log_likelihood_loss_link::compute_prediction(const_vector_view z,
                                                           vector_view out) const {
  std::transform(z.begin(), z.end(), out.begin(), probability);
}

// log(1 + exp(-y z)): log1p keeps the digits of a small exp(-y z)
bool logistic_log_likelihood_loss_link::compute_loss(const_vector_view y,
                                                     const_vector_view z,
                                                     vector_view out) const {
  for (index_t i = 0; i < out.size(); ++i) out[i] = std::log1p(std::exp(-y[i] * z[i]));
  return true;
}

// -y (1 - P(y)), with 1 - P(y) formed directly: it cancels no digits at large y z
bool logistic_log_likelihood_loss_link::compute_first_derivative(const_vector_view y,
                                                                 const_vector_view z,
                                                                 vector_view out) const {
  for (index_t i = 0; i < out.size(); ++i) out[i] = -y[i] / (std::exp(y[i] * z[i]) + 1.0);
  return true;
}

// p (1 - p)
bool logistic_log_likelihood_loss_link::compute_second_derivative(const_vector_view /*y*/,
                                                                  const_vector_view z,
                                                                  vector_view out) const {
  for (index_t i = 0; i < out.size(); ++i) {
    const double p = probability(z[i]);
    out[i] = (1.0 - p) * p;
  }
  return true;
}

// (1 - 2 p) p (1 - p)
bool logistic_log_likelihood_loss_link::compute_third_derivative(const_vector_view /*y*/,
                                                                 const_vector_view z,
                                                                 vector_view out) const {
  for (index_t i = 0; i < out.size(); ++i) {
    const double p = probability(z[i]);
    out[i] = (1.0 - p - p) * (p * (1.0 - p));
  }
  return true;
}

// p q (p^2 + q^2) - 4 p^2 q^2, q = 1 - p
bool logistic_log_likelihood_loss_link::compute_fourth_derivative(const_vector_view /*y*/,
                                                                  const_vector_view z,
                                                                  vector_view out) const {
  for (index_t i = 0; i < out.size(); ++i) {
    const double p = probability(z[i]);
    const double q = 1.0 - p;
    out[i] = p * q * (p * p + q * q) - 4.0 * (p * p) * (q * q);
  }
  return true;
}

}  // namespace corvane::model::loss_link_detail
