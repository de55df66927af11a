// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/linked_losses.h"

#include <algorithm>
#include <utility>

#include "common/compensated_sum.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/detail/observation_products.h"

namespace corvane::model::linear_linked_regression_detail {

loss_sums::loss_sums(index_t num_weights)
    : gradient{num_weights}, hessian{num_weights, num_weights} {}

linked_losses::linked_losses(std::shared_ptr<const linear_loss_link> link,
                             const_matrix_view X, const_vector_view y,
                             interruption* interrupt)
    : link_{std::move(link)},
      X_{X},
      y_{y},
      interrupt_{interrupt},
      predictions_{X.rows()},
      first_derivative_{X.rows()},
      second_derivative_{X.rows()},
      last_{X.cols()},
      kept_{X.cols()} {}

void linked_losses::forget() {
  weights_.forget();
  last_.weights.forget();
}

void linked_losses::keep(const_vector_view w) {
  if (kept_.weights.is_at(w)) return;
  if (last_.weights.is_at(w))
    kept_ = last_;
  else
    kept_.weights.forget();
}

// The optimizer requests the value and then the derivatives at the same w: X w is
// computed once for both.
void linked_losses::refresh(const_vector_view w) {
  if (weights_.is_at(w)) return;
  check(interrupt_);
  weights_.move_to(w);
  total_.reset();
  is_differentiated_ = false;
  gemv(1.0, plain, X_, w, 0.0, predictions_);
}

// A link that supports it computes the derivatives in the same pass: they are needed next
// at most points.
bool linked_losses::sum_losses() {
  if (total_) return true;
  scoped_allocator scratch;
  const vector_view losses = scratch.vector(y_.size());
  if (link_->can_compute_jointly()) {
    link_->compute_jointly(y_, predictions_,
                           {losses, first_derivative_, second_derivative_, {}, {}});
    is_differentiated_ = true;
  } else if (!link_->compute_loss(y_, predictions_, losses)) {
    return false;
  }
  total_ = compensated_total(losses);
  return true;
}

bool linked_losses::differentiate_each() {
  if (is_differentiated_) return true;
  if (link_->can_compute_jointly()) return sum_losses();
  is_differentiated_ =
      link_->compute_first_derivative(y_, predictions_, first_derivative_) &&
      link_->compute_second_derivative(y_, predictions_, second_derivative_);
  return is_differentiated_;
}

bool linked_losses::return_to(const_vector_view w) {
  refresh(w);
  return differentiate_each();
}

std::optional<double> linked_losses::total(const_vector_view w) {
  if (kept_.weights.is_at(w)) return kept_.loss;
  refresh(w);
  return sum_losses() ? total_ : std::nullopt;
}

const loss_sums* linked_losses::differentiate(const_vector_view w) {
  if (kept_.weights.is_at(w)) return &kept_;
  if (last_.weights.is_at(w) && weights_.is_at(w)) return &last_;
  refresh(w);
  if (!differentiate_each()) return nullptr;
  last_.weights.forget();  // until the sums are complete
  std::fill(last_.gradient.begin(), last_.gradient.end(), 0.0);
  fill_lower(last_.hessian, 0.0);
  for_each_row_block(X_, interrupt_, [this](const_matrix_block rows, index_t first) {
    const index_t count = rows.rows();
    add_weighted_gram(rows, second_derivative_.view().part(first, count), last_.hessian);
    add_product(rows, first_derivative_.view().part(first, count), last_.gradient);
  });
  // Without a loss the sums are not complete, and not to be kept.
  if (total_) {
    last_.weights.move_to(w);
    last_.loss = *total_;
  }
  return &last_;
}

}  // namespace corvane::model::linear_linked_regression_detail
