// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/class_probabilities.h"

#include <cmath>

#include "common/exponential.h"
#include "common/vector_dispatch.h"

namespace corvane::model {

void compute_class_probabilities(const_vector_view z, vector_view rows) {
  const double* const from = z.data();
  double* const to = rows.data();
  const index_t n = z.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < n; ++i) {
      const double decay = exponential(-std::abs(from[i]));
      const double likelier = 1.0 / (1.0 + decay);
      const double other = decay * likelier;
      to[2 * i] = from[i] > 0.0 ? other : likelier;
      to[2 * i + 1] = from[i] > 0.0 ? likelier : other;
    }
  });
}

// log p = -log(1 + exp(-z)), and -log(1 + exp(z)) = -z - log(1 + exp(-z))
void compute_class_log_probabilities(const_vector_view z, vector_view rows) {
  const double* const from = z.data();
  double* const to = rows.data();
  const index_t n = z.size();
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < n; ++i) {
      const double size = std::abs(from[i]);
      const double likelier = -log_of_one_plus(exponential(-size));
      const double other = likelier - size;
      to[2 * i] = from[i] > 0.0 ? other : likelier;
      to[2 * i + 1] = from[i] > 0.0 ? likelier : other;
    }
  });
}

}  // namespace corvane::model
