// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/logistic_log_likelihood_loss_link.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "common/exponential.h"
#include "common/vector_dispatch.h"

namespace corvane::model::loss_link_detail {

namespace {

// For z below -709 exp(-z) overflows, and the quotient is the exact limit 0.
double probability(double z) { return 1.0 / (std::exp(-z) + 1.0); }

// A few samples with what all terms of their losses are made of.
class sample_block {
 public:
  static constexpr index_t capacity = 256;

  sample_block(const double* y, const double* z, index_t size)
      : y_{y}, z_{z}, size_{static_cast<std::size_t>(size)} {
    for (std::size_t i = 0; i < size_; ++i) {
      decay_[i] = exponential(-std::abs(z[i]));
      likelier_[i] = 1.0 / (1.0 + decay_[i]);
    }
  }

  // log(1 + exp(-y z)); exp(-y z) overflows where -y z exceeds log(largest_double).
  void write_loss(double* to) const {
    constexpr double log_of_largest = 709.782712893384;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < size_; ++i) {
      const double wrong = -y_[i] * z_[i];
      const double loss = log_of_one_plus(decay_[i]) + (wrong > 0.0 ? wrong : 0.0);
      // NOLINTNEXTLINE(bugprone-narrowing-conversions): a double stays a double here
      to[i] = wrong > log_of_largest ? infinity : loss;
    }
  }

  // -y (1 - P(y))
  void write_first(double* to) const {
    for (std::size_t i = 0; i < size_; ++i)
      to[i] = -y_[i] * (y_[i] * z_[i] < 0.0 ? likelier_[i] : decay_[i] * likelier_[i]);
  }

  void write_second(double* to) const {
    for (std::size_t i = 0; i < size_; ++i) to[i] = second(i);
  }

  // (1 - 2 p) p (1 - p)
  void write_third(double* to) const {
    for (std::size_t i = 0; i < size_; ++i)
      to[i] = std::copysign((1.0 - decay_[i]) * likelier_[i] * second(i), -z_[i]);
  }

  // p q (p^2 + q^2) - 4 p^2 q^2 = p q (1 - 6 p q), as p + q = 1
  void write_fourth(double* to) const {
    for (std::size_t i = 0; i < size_; ++i) to[i] = second(i) * (1.0 - 6.0 * second(i));
  }

 private:
  // p (1 - p)
  double second(std::size_t i) const { return decay_[i] * likelier_[i] * likelier_[i]; }

  const double* y_;
  const double* z_;
  std::size_t size_;
  std::array<double, capacity> decay_;     // exp(-|z|)
  std::array<double, capacity> likelier_;  // the larger one of p and 1 - p
};

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

void logistic_log_likelihood_loss_link::compute_jointly(const_vector_view y,
                                                        const_vector_view z,
                                                        const loss_terms& out) const {
  run_vectorized([=](auto /*width*/) {
    for (index_t first = 0; first < z.size(); first += sample_block::capacity) {
      const sample_block block{y.data() + first, z.data() + first,
                               std::min(sample_block::capacity, z.size() - first)};
      if (out.loss.size() != 0) block.write_loss(out.loss.data() + first);
      if (out.first.size() != 0) block.write_first(out.first.data() + first);
      if (out.second.size() != 0) block.write_second(out.second.data() + first);
      if (out.third.size() != 0) block.write_third(out.third.data() + first);
      if (out.fourth.size() != 0) block.write_fourth(out.fourth.data() + first);
    }
  });
}

}  // namespace corvane::model::loss_link_detail
