// SPDX-License-Identifier: BSD-3-Clause
//
// linked_losses: the part of the inner problem that theta has no part in, the losses of the
// observations and their sums as functions of the weights w,
//   sum_i l(y_i, z_i),  X' l',  X' diag(l'') X,   z = X w.
// What it has computed at one w serves every later question about that w.
#pragma once

#include <memory>
#include <optional>

#include "common/interruption.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "n_array/n_array.h"
#include "optimization/evaluation_cache.h"

namespace corvane::model::linear_linked_regression_detail {

// At one w, if any.
struct loss_sums {
  explicit loss_sums(index_t num_weights);

  evaluated_point weights;
  double loss = 0.0;
  dense_vector gradient;     // X' l'
  symmetric_matrix hessian;  // X' diag(l'') X
};

class linked_losses {
 public:
  // X (n by p) and y (n) must outlive the object.
  linked_losses(std::shared_ptr<const linear_loss_link> link, const_matrix_view X,
                const_vector_view y, interruption* interrupt = nullptr);

  // Nothing where the link fails.
  std::optional<double> total(const_vector_view w);
  // Null where the link fails. Good until the next call.
  const loss_sums* differentiate(const_vector_view w);

  // Makes w the last point, with its derivatives. False where the link fails.
  bool return_to(const_vector_view w);

  // Forgets the last point.
  void forget();
  // Keeps the sums at w, if w is the last point evaluated, until keep() is called with
  // another point. If w is a different point, none are kept.
  void keep(const_vector_view w);

  // The last point evaluated that was not a kept one. Undefined before the first.
  const_vector_view weights() const { return weights_.x(); }
  // z at that point, and l'(y, z), l''(y, z) if derivatives were computed.
  const_vector_view predictions() const { return predictions_; }
  const_vector_view first_derivative() const { return first_derivative_; }
  const_vector_view second_derivative() const { return second_derivative_; }

 private:
  void refresh(const_vector_view w);
  bool sum_losses();
  bool differentiate_each();

  std::shared_ptr<const linear_loss_link> link_;
  const_matrix_view X_;
  const_vector_view y_;
  interruption* interrupt_;  // checked before each pass over the rows, and within
  evaluated_point weights_;  // what the members below belong to
  dense_vector predictions_;
  std::optional<double> total_;
  bool is_differentiated_ = false;  // whether the two below are filled
  dense_vector first_derivative_;
  dense_vector second_derivative_;

  loss_sums last_;
  loss_sums kept_;
};

}  // namespace corvane::model::linear_linked_regression_detail
