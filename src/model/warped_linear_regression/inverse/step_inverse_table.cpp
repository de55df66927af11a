// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/step_inverse_table.h"

#include "common/vector_dispatch.h"

namespace corvane::model::tanh_warper_detail {

step_inverse_table::step_inverse_table(scoped_allocator& scope, double first, double last,
                                       index_t num_cells)
    : first_{first},
      last_{last},
      width_{(last - first) / static_cast<double>(num_cells)},
      num_cells_{num_cells},
      coefficients_{scope.take<double>(num_coefficients * num_cells)} {}

double step_inverse_table::knot(index_t j) const {
  return j == num_cells_ ? last_ : first_ + static_cast<double>(j) * width_;
}

void step_inverse_table::fill(const_vector_view x, const_vector_view slopes) {
  for (index_t cell = 0; cell < num_cells_; ++cell) {
    const double rise = x[cell + 1] - x[cell];
    const double left = width_ / slopes[cell];
    const double right = width_ / slopes[cell + 1];
    double* const c = coefficients_ + num_coefficients * cell;
    c[0] = x[cell];
    c[1] = left;
    c[2] = 3.0 * rise - 2.0 * left - right;
    c[3] = left + right - 2.0 * rise;
  }
}

void step_inverse_table::interpolate(const_vector_view latent, vector_view x) const {
  const double* const v = latent.data();
  double* const out = x.data();
  const index_t count = latent.size();
  const double first = first_;
  const double cells_per_unit = 1.0 / width_;
  const auto last_cell = static_cast<double>(num_cells_ - 1);
  const double* const coefficients = coefficients_;
  run_vectorized([=](auto /*width*/) {
    for (index_t i = 0; i < count; ++i) {
      const double position = (v[i] - first) * cells_per_unit;
      // In this order a NaN becomes 0 and not an index.
      const double from_left = position > 0.0 ? position : 0.0;
      const int cell = static_cast<int>(from_left < last_cell ? from_left : last_cell);
      const double s = position - cell;
      const double* const c = coefficients + num_coefficients * cell;
      out[i] = c[0] + s * (c[1] + s * (c[2] + s * c[3]));
    }
  });
}

}  // namespace corvane::model::tanh_warper_detail
