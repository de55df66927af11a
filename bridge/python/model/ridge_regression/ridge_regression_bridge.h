// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regression_bridge: the model behind a Python instance of the ridge type: options,
// the data of the last `fit`, the fitted record, and the members that Python calls.
//
// Every conversion and callback runs Python code, which may call into the same model. So
// what a member works on is held by the member itself, in shared ownership, and is not
// taken from under it when the model's own pointer moves on.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "model/ridge_regression/ridge_regression_model_descriptor.h"
#include "n_array/n_array.h"
#include "python/grouper_bridge.h"
#include "python/optimizer_stack.h"
#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

class ridge_regression_bridge {
 public:
  // `num_groups` of 0 means that the grouping mode decides.
  ridge_regression_bridge(model::ridge_regression_model_options&& options,
                          std::uint64_t num_groups, std::optional<grouper_bridge>&& grouper,
                          optimizer_stack stack);

  // Replaces the stored data; replaces the fitted record on success only.
  void fit(PyObject* arguments, PyObject* keywords);
  python_object predict(PyObject* arguments, PyObject* keywords) const;
  // Ends the process when the stored design and target are mismatched.
  python_object make_objective(PyObject* arguments, PyObject* keywords) const;

  // These raise RuntimeError before the first successful fit.
  python_object weights() const;
  python_object regularization() const;
  python_object regularization_groups() const;
  python_object score() const;
  python_object within_tolerance() const;

 private:
  using fitted_record = std::shared_ptr<const model::ridge_regression_model>;

  void fit_data(const python_object& X, const python_object& y);
  model::ridge_regression_model fit_descriptor(const python_object& X,
                                               const python_object& y,
                                               const dense_matrix& design,
                                               const dense_vector& target) const;
  fitted_record require_fitted() const;

  model::ridge_regression_model_descriptor descriptor_;
  std::uint64_t num_groups_;
  std::optional<grouper_bridge> grouper_;
  optimizer_stack stack_;
  std::shared_ptr<const dense_matrix> design_;
  std::shared_ptr<const dense_vector> target_;
  fitted_record fitted_;
};

}  // namespace corvane::python_bridge
